#include "pasteboard.h"

#include "capturenaming.h"

#include <QBuffer>
#include <QClipboard>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QLoggingCategory>
#include <QMimeData>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStringDecoder>
#include <QUrl>

Q_LOGGING_CATEGORY(lcPasteboard, "tessly.upload.pasteboard")

namespace {

// NAME_MAX on the file systems the temporary directory lives on.
constexpr int kMaxFileNameBytes = 255;

const QStringList &fileReferenceTypes()
{
    static const QStringList types { QStringLiteral("application/x-kde4-urilist"), QStringLiteral("text/uri-list"),
        QStringLiteral("x-special/gnome-copied-files") };
    return types;
}

// The path extension as the rest of the program reads it from a URL string:
// the text after the last "." of the last path component, nothing for a name
// that only starts with a dot.
QString pathExtension(const QString &path)
{
    QString trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith(QLatin1Char('/')))
        trimmed.chop(1);
    const QString last = trimmed.mid(trimmed.lastIndexOf(QLatin1Char('/')) + 1);
    const qsizetype dot = last.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? last.mid(dot + 1) : QString();
}

QString lastPathComponent(const QString &path)
{
    QString trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith(QLatin1Char('/')))
        trimmed.chop(1);
    return trimmed.mid(trimmed.lastIndexOf(QLatin1Char('/')) + 1);
}

// Lines of a text/uri-list body (RFC 2483): CRLF or LF, "#" comments.
QStringList uriListLines(const QByteArray &body)
{
    QStringList lines;
    for (const QByteArray &raw : body.split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (!line.isEmpty() && !line.startsWith(QLatin1Char('#')))
            lines << line;
    }
    return lines;
}

// Firefox writes text/x-moz-url as UTF-16 "url\ntitle" pairs.
QStringList mozUrlLines(const QByteArray &body)
{
    QString text;
    if (body.startsWith("\xff\xfe") || body.startsWith("\xfe\xff") || (body.size() % 2 == 0 && body.contains('\0'))) {
        QStringDecoder decoder(QStringDecoder::Utf16, QStringDecoder::Flag::ConvertInitialBom);
        text = decoder.decode(body);
    } else {
        text = QString::fromUtf8(body);
    }
    text.remove(QChar(0));
    const QStringList lines = text.split(QLatin1Char('\n'));
    QStringList urls;
    for (qsizetype i = 0; i < lines.size(); i += 2) {
        const QString url = lines.at(i).trimmed();
        if (!url.isEmpty())
            urls << url;
    }
    return urls;
}

QString decodeHtmlEntities(QString text)
{
    static const QRegularExpression numeric(QStringLiteral("&#(x[0-9a-fA-F]+|[0-9]+);"));
    QRegularExpressionMatch match;
    qsizetype from = 0;
    while ((match = numeric.match(text, from)).hasMatch()) {
        const QString digits = match.captured(1);
        bool ok = false;
        const uint code = digits.startsWith(QLatin1Char('x')) ? digits.mid(1).toUInt(&ok, 16) : digits.toUInt(&ok);
        const QString replacement = ok && code > 0 && code <= 0x10FFFF
            ? QString::fromUcs4(reinterpret_cast<const char32_t *>(&code), 1)
            : QString();
        text.replace(match.capturedStart(), match.capturedLength(), replacement);
        from = match.capturedStart() + replacement.size();
    }
    text.replace(QLatin1String("&quot;"), QLatin1String("\""));
    text.replace(QLatin1String("&apos;"), QLatin1String("'"));
    text.replace(QLatin1String("&lt;"), QLatin1String("<"));
    text.replace(QLatin1String("&gt;"), QLatin1String(">"));
    text.replace(QLatin1String("&amp;"), QLatin1String("&"));
    return text;
}

// "data:[<type>][;param][;base64],<payload>" to its type and bytes.
bool decodeDataUrl(const QString &url, QString *mimeType, QByteArray *bytes)
{
    if (!url.startsWith(QLatin1String("data:"), Qt::CaseInsensitive))
        return false;
    const qsizetype comma = url.indexOf(QLatin1Char(','));
    if (comma < 0)
        return false;
    const QStringList params = url.mid(5, comma - 5).split(QLatin1Char(';'));
    *mimeType = params.value(0).trimmed().toLower();
    bool base64 = false;
    for (const QString &param : params.mid(1))
        base64 |= param.trimmed().compare(QLatin1String("base64"), Qt::CaseInsensitive) == 0;

    QByteArray payload = QByteArray::fromPercentEncoding(url.mid(comma + 1).toUtf8());
    if (!base64) {
        *bytes = payload;
        return true;
    }
    payload.removeIf([](char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; });
    auto decoded = QByteArray::fromBase64Encoding(payload, QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return false;
    *bytes = *decoded;
    return true;
}

// The bytes and type behind an <img> source: a data: URL only. A file: URL
// in copied HTML names whatever file the page's author chose (the settings
// file, a key), so it is never read; nor is anything fetched.
bool readImageSource(const QString &source, QString *mimeType, QByteArray *bytes)
{
    return decodeDataUrl(source, mimeType, bytes);
}

bool fitsFileName(const QString &name)
{
    return !name.isEmpty() && !name.contains(QLatin1Char('/')) && !name.contains(QChar(0))
        && name.toUtf8().size() <= kMaxFileNameBytes;
}

} // namespace

Pasteboard::Pasteboard(const QMimeData *mimeData)
    : m_mimeData(mimeData)
{
}

Pasteboard Pasteboard::general()
{
    auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    return Pasteboard(app ? QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard) : nullptr);
}

QStringList Pasteboard::types() const
{
    return m_mimeData ? m_mimeData->formats() : QStringList();
}

bool Pasteboard::hasImage() const
{
    if (!m_mimeData)
        return false;
    for (const char *type : { "image/gif", "image/jpeg", "image/jpg", "image/png", "image/tiff", "image/bmp" }) {
        if (m_mimeData->hasFormat(QLatin1String(type)))
            return true;
    }
    return m_mimeData->hasImage() || !webArchiveImage().data.isEmpty();
}

bool Pasteboard::hasFilePromise() const
{
    if (!m_mimeData)
        return false;
    for (const QString &type : fileReferenceTypes()) {
        if (m_mimeData->hasFormat(type))
            return true;
    }
    return false;
}

QByteArray Pasteboard::dataOf(const QStringList &types) const
{
    if (!m_mimeData)
        return {};
    for (const QString &type : types) {
        if (!m_mimeData->hasFormat(type))
            continue;
        const QByteArray data = m_mimeData->data(type);
        if (!data.isEmpty())
            return data;
    }
    return {};
}

QByteArray Pasteboard::gifData() const
{
    return dataOf({ QStringLiteral("image/gif") });
}

QByteArray Pasteboard::jpgData() const
{
    // image/jpg is not registered, but some programs offer it all the same.
    return dataOf({ QStringLiteral("image/jpeg"), QStringLiteral("image/jpg") });
}

QByteArray Pasteboard::pngData() const
{
    return dataOf({ QStringLiteral("image/png") });
}

QStringList Pasteboard::htmlImageSources() const
{
    if (!m_mimeData || !m_mimeData->hasHtml())
        return {};
    static const QRegularExpression img(
        QStringLiteral(R"re(<img\b[^>]*?\ssrc\s*=\s*(?:"([^"]*)"|'([^']*)'|([^\s>]+)))re"),
        QRegularExpression::CaseInsensitiveOption);
    QStringList sources;
    auto it = img.globalMatch(m_mimeData->html());
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        for (int group = 1; group <= 3; ++group) {
            if (match.capturedStart(group) >= 0) {
                sources << decodeHtmlEntities(match.captured(group).trimmed());
                break;
            }
        }
    }
    return sources;
}

Pasteboard::WebImage Pasteboard::webArchiveImage() const
{
    static const QList<std::pair<QString, QString>> kinds { { QStringLiteral("image/gif"), QStringLiteral("gif") },
        { QStringLiteral("image/jpeg"), QStringLiteral("jpg") },
        { QStringLiteral("image/png"), QStringLiteral("png") } };
    for (const QString &source : htmlImageSources()) {
        QString mimeType;
        QByteArray bytes;
        if (!readImageSource(source, &mimeType, &bytes) || bytes.isEmpty())
            continue;
        for (const auto &[type, extension] : kinds) {
            if (mimeType == type)
                return { bytes, extension };
        }
    }
    return {};
}

QByteArray Pasteboard::imageDataFromWebArchive() const
{
    return webArchiveImage().data;
}

QString Pasteboard::extensionFromWebArchive() const
{
    return webArchiveImage().extension;
}

QByteArray Pasteboard::defaultData() const
{
    QImage image;
    for (const char *type : { "image/tiff", "image/bmp", "image/x-bmp" }) {
        const QByteArray data = dataOf({ QLatin1String(type) });
        if (!data.isEmpty() && image.loadFromData(data))
            break;
    }
    if (image.isNull() && m_mimeData && m_mimeData->hasImage())
        image = qvariant_cast<QImage>(m_mimeData->imageData());
    if (image.isNull()) {
        qCInfo(lcPasteboard).noquote() << "Image data unavailable in drag operation.";
        return {};
    }
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

QStringList Pasteboard::offeredUrls() const
{
    if (!m_mimeData)
        return {};
    QStringList urls;
    if (m_mimeData->hasFormat(QStringLiteral("text/uri-list")))
        urls << uriListLines(m_mimeData->data(QStringLiteral("text/uri-list")));
    if (m_mimeData->hasFormat(QStringLiteral("text/x-moz-url")))
        urls << mozUrlLines(m_mimeData->data(QStringLiteral("text/x-moz-url")));
    // Chromium offers a copied image as its bytes plus <img src="…">.
    urls << htmlImageSources();
    // A data: URL is the image itself, not a name for it.
    urls.removeIf([](const QString &url) { return url.startsWith(QLatin1String("data:"), Qt::CaseInsensitive); });
    return urls;
}

QString Pasteboard::imageURL() const
{
    for (const QString &url : offeredUrls()) {
        const QString extension = pathExtension(url);
        if (extension.startsWith(QLatin1String("png")) || extension.startsWith(QLatin1String("gif"))
            || extension.startsWith(QLatin1String("jpg")))
            return url;
    }
    return {};
}

QString Pasteboard::fileNameFromClipboardOrDefaultForExtension(const QString &extension) const
{
    const QString url = imageURL();
    if (!url.isEmpty()) {
        QString name = lastPathComponent(url);
        const qsizetype query = name.indexOf(QLatin1Char('?'));
        if (query >= 0)
            name.truncate(query);
        // "my%20cat.png" is saved as "my cat.png", unless decoding would make
        // a name no file can have ("%2F").
        const QString decoded = QUrl::fromPercentEncoding(name.toUtf8());
        if (fitsFileName(decoded))
            name = decoded;
        if (fitsFileName(name) && !pathExtension(name).isEmpty())
            return name;
    }
    const QDateTime now = QDateTime::currentDateTime();
    return QStringLiteral("Image upload at %1 %2.%3")
        .arg(CaptureNaming::dateString(now), CaptureNaming::timeString(now), extension);
}

QString Pasteboard::imageDataPath() const
{
    for (const QString &type : types())
        qCInfo(lcPasteboard).noquote() << QStringLiteral("%1 %2").arg(type).arg(m_mimeData->data(type).size());

    QByteArray data;
    QString extension;
    if (!(data = gifData()).isEmpty()) {
        extension = QStringLiteral("gif");
    } else if (!(data = jpgData()).isEmpty()) {
        extension = QStringLiteral("jpg");
    } else if (!(data = pngData()).isEmpty()) {
        extension = QStringLiteral("png");
    } else if (const WebImage web = webArchiveImage(); !web.data.isEmpty()) {
        data = web.data;
        extension = web.extension;
    } else {
        data = defaultData();
        extension = QStringLiteral("png");
    }
    qCInfo(lcPasteboard).noquote() << QStringLiteral("Got default data: %1").arg(extension);

    const QString path = CaptureNaming::temporaryDirectory() + fileNameFromClipboardOrDefaultForExtension(extension);
    if (data.isEmpty())
        return path;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit()) {
        qCWarning(lcPasteboard).noquote()
            << QStringLiteral("Could not write clipboard image to %1: %2").arg(path, file.errorString());
        return {};
    }
    return path;
}

QString Pasteboard::filePromisePath() const
{
    if (!m_mimeData)
        return {};
    QString reference;
    for (const QString &type : fileReferenceTypes()) {
        if (!m_mimeData->hasFormat(type))
            continue;
        QStringList lines = uriListLines(m_mimeData->data(type));
        // GNOME's form starts with the operation: "copy" or "cut".
        if (type.startsWith(QLatin1String("x-special/")) && !lines.isEmpty())
            lines.removeFirst();
        if (!lines.isEmpty()) {
            reference = lines.first();
            break;
        }
    }
    if (reference.isEmpty())
        return {};

    const QUrl url(reference);
    const QFileInfo source(url.isLocalFile() ? url.toLocalFile() : QString());
    if (!source.isFile()) {
        qCWarning(lcPasteboard).noquote() << QStringLiteral("Not a local file: %1").arg(reference);
        return {};
    }
    const QString path = CaptureNaming::temporaryDirectory() + source.fileName();
    if (QFileInfo(path).canonicalFilePath() == source.canonicalFilePath())
        return path;

    QFile in(source.filePath());
    QSaveFile out(path);
    bool ok = in.open(QIODevice::ReadOnly) && out.open(QIODevice::WriteOnly);
    while (ok && !in.atEnd()) {
        const QByteArray chunk = in.read(1 << 20);
        ok = !chunk.isEmpty() && out.write(chunk) == chunk.size();
    }
    if (!ok || !out.commit()) {
        const QString reason = in.error() != QFile::NoError ? in.errorString() : out.errorString();
        qCWarning(lcPasteboard).noquote()
            << QStringLiteral("Could not copy %1 to %2: %3").arg(source.filePath(), path, reason);
        return {};
    }
    return path;
}
