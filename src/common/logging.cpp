#include "logging.h"

#include <QRegularExpression>
#include <QtGlobal>

namespace Logging {

static QtMessageHandler s_previous = nullptr;

static void redactingHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const QString safe = redact(message);
    if (s_previous)
        s_previous(type, context, safe);
}

void install()
{
    static bool installed = false;
    if (installed)
        return;
    installed = true;
    qSetMessagePattern(QStringLiteral("%{if-category}%{category}: %{endif}%{message}"));
    s_previous = qInstallMessageHandler(redactingHandler);
}

QString maskSecret(const QString &secret)
{
    if (secret.size() <= 4)
        return QStringLiteral("…");
    return secret.left(4) + QStringLiteral("…");
}

QString redact(const QString &line)
{
    // Cheap test first: nearly every line has none of these.
    static const QStringList markers = { QStringLiteral("Bearer"), QStringLiteral("Signature"), QStringLiteral("token"),
        QStringLiteral("Credential"), QStringLiteral("Token") };
    bool suspicious = false;
    for (const QString &m : markers)
        suspicious = suspicious || line.contains(m, Qt::CaseInsensitive);
    if (!suspicious)
        return line;

    static const QRegularExpression patterns[] = {
        // Authorization header values.
        QRegularExpression(QStringLiteral("(Bearer\\s+)[^\\s\"',;]+"), QRegularExpression::CaseInsensitiveOption),
        // Presigned URL query parameters (SigV4 and V2), and token=... in callback URLs.
        QRegularExpression(
            QStringLiteral("((?:X-Amz-Signature|X-Amz-Credential|X-Amz-Security-Token|Signature|token)=)[^&\\s\"']+"),
            QRegularExpression::CaseInsensitiveOption),
        // "token": "..." in JSON bodies.
        QRegularExpression(QStringLiteral("(\"token\"\\s*:\\s*\")[^\"]*"), QRegularExpression::CaseInsensitiveOption),
    };
    QString out = line;
    for (const QRegularExpression &re : patterns)
        out.replace(re, QStringLiteral("\\1…"));
    return out;
}

} // namespace Logging
