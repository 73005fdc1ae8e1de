#include "usertemporarydirectory.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcUserTemporaryDirectory, "tessly.common.usertemporarydirectory")

namespace UserTemporaryDirectory {

namespace {

// A folder (not a link to one) that belongs to this user and that nobody
// else may enter or write to.
bool isPrivateFolder(const QByteArray &path)
{
    struct stat st
    {
    };
    return !path.isEmpty() && ::lstat(path.constData(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == ::getuid()
        && (st.st_mode & 077) == 0;
}

QString withSlash(QString path)
{
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    return path;
}

// mkdtemp under `parent`; the folder is made with mode 0700.
QString makeFolder(const QString &parent, const QString &prefix)
{
    QByteArray pattern = QFile::encodeName(withSlash(parent) + prefix + QStringLiteral("-XXXXXX"));
    if (!::mkdtemp(pattern.data())) {
        qCWarning(lcUserTemporaryDirectory).noquote() << QStringLiteral("Could not make a private folder in %1: %2")
                                                             .arg(parent, QString::fromLocal8Bit(std::strerror(errno)));
        return {};
    }
    return withSlash(QFile::decodeName(pattern));
}

QString g_path;

void removeIfEmpty()
{
    // Files still in it may be on the clipboard or waiting for a resume; an
    // empty folder is just litter.
    if (!g_path.isEmpty())
        ::rmdir(QFile::encodeName(g_path).constData());
}

} // namespace

QString create()
{
    const QByteArray runtime = qgetenv("XDG_RUNTIME_DIR");
    if (QDir::isAbsolutePath(QFile::decodeName(runtime)) && isPrivateFolder(runtime))
        return makeFolder(QFile::decodeName(runtime), QStringLiteral("tessly"));
    // QDir::tempPath() is empty when TMPDIR names a folder that does not exist.
    QString parent = QDir::tempPath();
    if (parent.isEmpty() || !QFileInfo(parent).isDir())
        parent = QStringLiteral("/tmp");
    return makeFolder(parent, QStringLiteral("tessly"));
}

QString path()
{
    static std::once_flag once;
    std::call_once(once, [] {
        g_path = create();
        if (g_path.isEmpty()) {
            qCCritical(lcUserTemporaryDirectory)
                << "No private temporary folder: files that need one cannot be written";
            g_path = QStringLiteral("/nonexistent/tessly-no-private-folder/");
            return;
        }
        std::atexit(removeIfEmpty);
    });
    return g_path;
}

QString makeJobFolder(const QString &prefix)
{
    return makeFolder(path(), prefix);
}

} // namespace UserTemporaryDirectory
