#include "logging.h"

#include <QRegularExpression>

#include <algorithm>
#include <QtGlobal>

namespace Logging {

static QtMessageHandler s_previous = nullptr;

static void redactingHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const QString safe = loggedLine(redact(message));
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

namespace {

bool isDirectionOverride(char16_t u)
{
    return (u >= 0x202a && u <= 0x202e) || (u >= 0x2066 && u <= 0x2069);
}

bool isControl(char16_t u)
{
    return u < 0x20 || u == 0x7f || (u >= 0x80 && u < 0xa0);
}

QString escaped(const QString &text, bool keepLayout)
{
    const auto kept = [keepLayout](char16_t u) { return keepLayout && (u == '\n' || u == '\t' || u == '\\'); };
    const auto needsEscape
        = [&kept](char16_t u) { return !kept(u) && (isControl(u) || u == '\\' || isDirectionOverride(u)); };
    if (std::none_of(text.cbegin(), text.cend(), [&](QChar c) { return needsEscape(c.unicode()); }))
        return text;
    QString shown;
    shown.reserve(text.size() + 8);
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (!needsEscape(u))
            shown += c;
        else if (isDirectionOverride(u))
            shown += QLatin1String("\\u") + QString::number(u, 16).toUpper();
        else
            shown += QLatin1String("\\x") + QString::number(u, 16).toUpper().rightJustified(2, QLatin1Char('0'));
    }
    return shown;
}

} // namespace

QString printable(const QString &text)
{
    return escaped(text, false);
}

QString loggedLine(const QString &line)
{
    return escaped(line, true);
}

} // namespace Logging
