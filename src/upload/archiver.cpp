#include "archiver.h"

#include "capturenaming.h"
#include "dispatch.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>

Q_LOGGING_CATEGORY(lcArchiver, "tessly.upload.archiver")

namespace {

const QString kZipTool = QStringLiteral("/usr/bin/zip");

// A generous bound for one zip run: a folder of several gigabytes at -9.
constexpr int kZipTimeoutMs = 60 * 60 * 1000;

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
    const QString archivePath = CaptureNaming::temporaryDirectory() + name;

    // zip adds to an existing archive; a second upload of the same folder
    // must not carry the first one's entries along.
    if (QFileInfo(archivePath).exists() || QFileInfo(archivePath).isSymLink()) {
        qCInfo(lcArchiver).noquote() << QStringLiteral("File exists at path: %1").arg(archivePath);
        QFile existing(archivePath);
        if (!existing.remove())
            qCWarning(lcArchiver).noquote()
                << QStringLiteral("Could not delete existing archive at path: %1").arg(existing.errorString());
    }

    for (const QString &path : paths) {
        const QFileInfo item(QDir::cleanPath(path));
        QString entry = item.fileName();
        if (entry.isEmpty()) {
            qCWarning(lcArchiver).noquote() << QStringLiteral("Cannot archive %1: no file name").arg(path);
            continue;
        }
        // zip would read "-name" as an option; "./-name" is stored as "-name".
        if (entry.startsWith(QLatin1Char('-')))
            entry.prepend(QLatin1String("./"));

        const QStringList arguments { QStringLiteral("-r"), QStringLiteral("-9"), QStringLiteral("-x"),
            QStringLiteral("*.DS_Store"), QStringLiteral("-D"), archivePath, entry };
        QProcess zip;
        zip.setWorkingDirectory(item.absolutePath());
        zip.setProgram(kZipTool);
        zip.setArguments(arguments);
        zip.setStandardInputFile(QProcess::nullDevice());
        zip.start();
        const bool finished = zip.waitForFinished(kZipTimeoutMs);
        qCInfo(lcArchiver).noquote() << QStringLiteral("Archive Task: %1 %2").arg(kZipTool, describe(arguments));

        if (!finished || zip.exitStatus() != QProcess::NormalExit || zip.exitCode() != 0) {
            const QString reason = zip.error() != QProcess::UnknownError
                ? zip.errorString()
                : QStringLiteral("exit code %1: %2")
                      .arg(zip.exitCode())
                      .arg(QString::fromLocal8Bit(zip.readAllStandardError()).trimmed());
            qCWarning(lcArchiver).noquote() << QStringLiteral("zip could not add %1: %2").arg(path, reason);
            if (!finished)
                zip.kill();
        }
    }

    if (!QFileInfo::exists(archivePath))
        return {};
    return QUrl::fromLocalFile(archivePath);
}

void Archiver::zipFiles(const QStringList &paths, std::function<void(const QUrl &archive)> complete)
{
    Dispatch::background([paths, complete = std::move(complete)]() mutable {
        const QUrl archive = zipFiles(paths);
        Dispatch::main([archive, complete = std::move(complete)]() {
            if (complete)
                complete(archive);
        });
    });
}
