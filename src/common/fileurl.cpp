#include "fileurl.h"

#include <QMimeDatabase>

namespace FileUrl {

QString mimeType(const QString &fileName)
{
    static const QMimeDatabase db; // thread-safe; loading the database once is the costly part
    const QMimeType type = db.mimeTypeForFile(fileName, QMimeDatabase::MatchExtension);
    if (!type.isValid() || type.isDefault())
        return QStringLiteral("application/octet-stream");
    return type.name();
}

QString serviceName(const QString &fileName)
{
    QString name = fileName;
    for (QChar &c : name) {
        const char16_t u = c.unicode();
        if (u < 0x20 || u == 0x7f || (u >= 0x80 && u < 0xa0))
            c = QLatin1Char('_');
    }
    return name;
}

} // namespace FileUrl
