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

} // namespace FileUrl
