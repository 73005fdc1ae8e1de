#include "capturenaming.h"

#include "usertemporarydirectory.h"

#include <QLocale>

namespace CaptureNaming {

QString dateString(const QDateTime &at)
{
    return QLocale::c().toString(at, QStringLiteral("yyyy-MM-dd"));
}

QString timeString(const QDateTime &at)
{
    return QLocale::c().toString(at, QStringLiteral("HH-mm-ss"));
}

QString nameForFile(const QString &name, const QString &extension, const QDateTime &at)
{
    return QStringLiteral("%1 on %2 at %3.%4").arg(name, dateString(at), timeString(at), extension);
}

QString nameForFile(const QString &name, const QString &extension, bool useCurrentTimestamp)
{
    if (useCurrentTimestamp)
        return nameForFile(name, extension, QDateTime::currentDateTime());
    return QStringLiteral("%1.%2").arg(name, extension);
}

QString temporaryDirectory()
{
    return UserTemporaryDirectory::path();
}

QString captureTemporaryFilePath(const QString &name)
{
    return temporaryDirectory() + nameForFile(name, QStringLiteral("png"), true);
}

QString captureTemporaryFilePathVideo(const QString &name)
{
    return temporaryDirectory() + nameForFile(name, QStringLiteral("mov"), true);
}

} // namespace CaptureNaming
