#include "commandlinearguments.h"

#include "usertemporarydirectory.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcCommandLineArguments, "tessly.app.commandlinearguments")

namespace CommandLineArguments {

namespace {

// A link to `raw` under a name that decodes; the argument unchanged when
// none can be made.
QString aliasFor(const QByteArray &raw, const QString &decoded)
{
    struct stat info;
    if (::stat(raw.constData(), &info) != 0)
        return decoded; // not a file: the command says what it makes of it
    char resolved[PATH_MAX];
    if (!::realpath(raw.constData(), resolved))
        return decoded;
    const QString folder = UserTemporaryDirectory::makeJobFolder(QStringLiteral("argument"));
    QString name = QDir(QDir::cleanPath(decoded)).dirName();
    if (folder.isEmpty() || name.isEmpty() || name == QLatin1String("..") || name == QLatin1String("."))
        return decoded;
    const QString link = folder + name;
    if (::symlink(resolved, QFile::encodeName(link).constData()) != 0) {
        qCWarning(lcCommandLineArguments).noquote()
            << QStringLiteral("No link for an argument that does not decode: %1").arg(qt_error_string(errno));
        return decoded;
    }
    qCInfo(lcCommandLineArguments).noquote() << QStringLiteral("%1 is reached through %2").arg(decoded, link);
    return link;
}

} // namespace

QStringList decode(int argc, const char *const *argv)
{
    QStringList args;
    for (int i = 1; i < argc; ++i) {
        const QByteArray raw(argv[i]);
        const QString decoded = QString::fromLocal8Bit(raw);
        args << (decoded.toLocal8Bit() == raw ? decoded : aliasFor(raw, decoded));
    }
    return args;
}

} // namespace CommandLineArguments
