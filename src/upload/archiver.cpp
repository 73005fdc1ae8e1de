#include "archiver.h"

#include "capturenaming.h"
#include "dispatch.h"
#include "usertemporarydirectory.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>

#include <csignal>
#include <sys/prctl.h>

Q_LOGGING_CATEGORY(lcArchiver, "tessly.upload.archiver")

namespace {

const QString kZipTool = QStringLiteral("/usr/bin/zip");

// A generous bound for one zip run: a folder of several gigabytes at -9.
constexpr int kZipTimeoutMs = 60 * 60 * 1000;

// The last lines zip wrote, enough to say why it stopped.
QString lastMessage(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    constexpr qint64 kTail = 2048;
    if (file.size() > kTail)
        file.seek(file.size() - kTail);
    return QString::fromLocal8Bit(file.read(kTail)).trimmed();
}

QString describe(const QStringList &arguments)
{
    QStringList quoted;
    for (const QString &argument : arguments)
        quoted << QLatin1Char('"') + argument + QLatin1Char('"');
    return QLatin1Char('(') + quoted.join(QLatin1String(", ")) + QLatin1Char(')');
}

} // namespace

QString Archiver::captureTemporaryFilePathWithName(const QString &name)
{
    return CaptureNaming::nameForFile(name, QStringLiteral("zip"), true);
}

QUrl Archiver::zipFiles(const QStringList &paths)
{
    if (paths.isEmpty()) {
        qCWarning(lcArchiver).noquote() << "Nothing to archive";
        return {};
    }

    const QString name = paths.size() < 2 ? QFileInfo(QDir::cleanPath(paths.first())).fileName() + ".zip"
                                          : captureTemporaryFilePathWithName(QStringLiteral("Archive"));
    // Every archive gets a new private folder: nobody else can plant a file
    // under its name, and two folders of the same name ("one/src",
    // "two/src") never end up in one archive.
    const QString folder = UserTemporaryDirectory::makeJobFolder(QStringLiteral("archive"));
    if (folder.isEmpty()) {
        qCWarning(lcArchiver).noquote() << QStringLiteral("No private folder to write %1 in").arg(name);
        return {};
    }
    const QString archivePath = folder + name;
    // zip's messages go to a file: a pipe nobody reads would stall it, one
    // read whole could grow without bound.
    const QString messagesPath = folder + QStringLiteral(".zip-messages");

    bool failed = false;
    for (const QString &path : paths) {
        const QFileInfo item(QDir::cleanPath(path));
        QString entry = item.fileName();
        if (entry.isEmpty()) {
            qCWarning(lcArchiver).noquote() << QStringLiteral("Cannot archive %1: no file name").arg(path);
            failed = true;
            break;
        }
        // zip would read "-name" as an option; "./-name" is stored as "-name".
        if (entry.startsWith(QLatin1Char('-')))
            entry.prepend(QLatin1String("./"));
        // A folder given as a link is the folder the user means: the slash
        // has zip follow that one link, and only that one.
        if (item.isSymLink() && item.isDir())
            entry.append(QLatin1Char('/'));

        // -y stores symbolic links as links: following them would pack what
        // they point at (the settings file, a loop without end).
        const QStringList arguments { QStringLiteral("-r"), QStringLiteral("-9"), QStringLiteral("-y"),
            QStringLiteral("-x"), QStringLiteral("*.DS_Store"), QStringLiteral("-D"), archivePath, entry };
        QProcess zip;
        zip.setWorkingDirectory(item.absolutePath());
        zip.setProgram(kZipTool);
        zip.setArguments(arguments);
        zip.setStandardInputFile(QProcess::nullDevice());
        zip.setStandardOutputFile(QProcess::nullDevice());
        zip.setStandardErrorFile(messagesPath);
        // zip ends with us, also when we are killed.
        zip.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
        zip.start();
        const bool finished = zip.waitForFinished(kZipTimeoutMs);
        qCInfo(lcArchiver).noquote() << QStringLiteral("Archive Task: %1 %2").arg(kZipTool, describe(arguments));

        if (!finished || zip.exitStatus() != QProcess::NormalExit || zip.exitCode() != 0) {
            if (!finished)
                zip.kill();
            const QString reason = zip.error() != QProcess::UnknownError
                ? zip.errorString()
                : QStringLiteral("exit code %1: %2").arg(zip.exitCode()).arg(lastMessage(messagesPath));
            qCWarning(lcArchiver).noquote() << QStringLiteral("zip could not add %1: %2").arg(path, reason);
            failed = true;
            break;
        }
    }
    QFile::remove(messagesPath);

    // A partial archive is no archive of what the user chose.
    if (failed || !QFileInfo(archivePath).isFile()) {
        removeArchive(QUrl::fromLocalFile(archivePath));
        return {};
    }
    return QUrl::fromLocalFile(archivePath);
}

void Archiver::removeArchive(const QUrl &archive)
{
    const QFileInfo info(archive.toLocalFile());
    QFile::remove(info.filePath());
    // Its folder was made for it alone; rmdir leaves one that is not empty.
    QDir().rmdir(info.absolutePath());
}

void Archiver::zipFiles(const QStringList &paths, std::function<void(const QUrl &archive)> complete)
{
    Dispatch::longRunning([paths, complete = std::move(complete)]() mutable {
        const QUrl archive = zipFiles(paths);
        Dispatch::main([archive, complete = std::move(complete)]() {
            if (complete)
                complete(archive);
        });
    });
}
