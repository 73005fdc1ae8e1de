#include "privateexecutables.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace PrivateExecutables {

namespace {

QString existingFile(const QString &dir, const QString &name)
{
    if (dir.isEmpty() || name.isEmpty() || name.contains(QLatin1Char('/')))
        return {};
    const QFileInfo info(QDir(dir).filePath(name));
    return info.exists() && !info.isDir() ? info.absoluteFilePath() : QString();
}

// Beside the program when installed, then the build tree's.
QStringList shippedDirectories()
{
    const QDir program(QCoreApplication::applicationDirPath());
    return { QDir::cleanPath(program.filePath(QStringLiteral("../" TESSLY_LIBEXEC_DIR))),
        QStringLiteral(TESSLY_BUILD_LIBEXEC_DIR) };
}

QString firstExisting(const QStringList &dirs, const QString &name)
{
    for (const QString &dir : dirs) {
        const QString path = existingFile(dir, name);
        if (!path.isEmpty())
            return path;
    }
    return {};
}

} // namespace

QStringList executableDirectories()
{
    if (qEnvironmentVariableIsSet("TESSLY_LIBEXEC"))
        return { qEnvironmentVariable("TESSLY_LIBEXEC") };
    return shippedDirectories();
}

QString resourcesDirectory()
{
    return QDir::cleanPath(QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("../share/tessly")));
}

QString auxiliaryExecutable(const QString &name)
{
    return firstExisting(executableDirectories(), name);
}

QString privateModule(const QString &name)
{
    return firstExisting(shippedDirectories(), name);
}

QString resource(const QString &name)
{
    return existingFile(resourcesDirectory(), name);
}

} // namespace PrivateExecutables
