// `tessly upload`, `tessly uploads`, `tessly resume`, `tessly cancel-all`:
// the upload queue from the command line, for scripts and for people.
#include "api.h"
#include "archiver.h"
#include "clipboardmanager.h"
#include "commands.h"
#include "fileuploadqueue.h"
#include "logging.h"
#include "multipartapiclient.h"
#include "multipartuploadstate.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "settingsstore.h"
#include "sharelink.h"
#include "terminalprogress.h"

#include <QClipboard>
#include <QEventLoop>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHash>
#include <QLocale>
#include <QMimeData>

namespace Commands {

namespace {

// What became of one file.
struct Result
{
    bool done = false;
    QString link;
    QString error;
};

bool signedIn(const char *command)
{
    if (!SettingsStore::instance().token().isEmpty())
        return true;
    err() << "tessly " << command << ": not signed in; run `tessly login --token TOKEN` first\n";
    return false;
}

// Makes sure the profile is known (it names the share links), asking the
// service when it is not stored yet.
bool ensureDomain(const char *command)
{
    bool ok = false;
    bool done = false;
    QEventLoop loop;
    API::instance().ensureDomainWithCompletion([&](bool success) {
        ok = success;
        done = true;
        loop.quit();
    });
    if (!done) // a stored profile answers at once
        loop.exec();
    if (!ok)
        err() << "tessly " << command << ": the account's profile is unknown and the service could not tell it\n";
    return ok;
}

// A folder goes as one ZIP archive of it.
QString uploadablePath(const QString &path, QString *error)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        *error = QStringLiteral("no such file");
        return {};
    }
    if (info.isDir()) {
        const QUrl archive = Archiver::zipFiles({ info.absoluteFilePath() });
        if (archive.isEmpty()) {
            *error = QStringLiteral("the folder could not be archived");
            return {};
        }
        return archive.toLocalFile();
    }
    if (!info.isFile() || !info.isReadable()) {
        *error = QStringLiteral("not a readable file");
        return {};
    }
    return info.absoluteFilePath();
}

// `--copy`: the links on the clipboard. On X11 the clipboard lives in the
// process that set it, so it outlives this command only when a clipboard
// manager takes it over (Qt hands it over as the application object goes).
void copyLinks(const QStringList &links)
{
    auto *data = new QMimeData;
    data->setText(links.join(QLatin1Char('\n')));
    QList<QUrl> urls;
    for (const QString &link : links)
        urls << QUrl(link);
    data->setUrls(urls);
    QGuiApplication::clipboard()->setMimeData(data);
    if (ClipboardManager::isRunning())
        err() << "tessly upload: " << (links.size() == 1 ? "the link is" : "the links are") << " on the clipboard\n";
    else
        err() << "tessly upload: no clipboard manager runs, so the clipboard empties when this command ends; "
                 "start one (or use the tray application) to keep "
              << (links.size() == 1 ? "the link" : "the links") << "\n";
}

} // namespace

// Uploads the files through the queue, waits for the batch, then prints one
// line per file in the order given: the share link, or on stderr what went
// wrong. Exit code 0 when every file made it, 1 otherwise.
int uploadFilesAndPrintLinks(const char *command, const QStringList &paths, QStringList *links)
{
    if (!signedIn(command) || !ensureDomain(command))
        return 1;

    QStringList files;
    QHash<QString, QList<Result *>> byPath;
    QList<Result> results(paths.size());
    qint64 totalBytes = 0;
    for (qsizetype i = 0; i < paths.size(); ++i) {
        QString error;
        const QString file = uploadablePath(paths[i], &error);
        files << file;
        if (file.isEmpty()) {
            results[i] = { true, {}, error };
            continue;
        }
        byPath[file].append(&results[i]);
        totalBytes += QFileInfo(file).size();
    }

    QEventLoop loop;
    TerminalProgress progress(totalBytes);
    QObject observer;
    auto &center = NotificationCenter::defaultCenter();
    center.addObserver(&observer, Notifications::BatchUploadProgressNotification, [&](const Notification &note) {
        progress.update(note.objectMap().value(QStringLiteral("overallProgress")).toDouble());
    });
    center.addObserver(&observer, Notifications::UploadCompleteNotification, [&](const Notification &note) {
        const QVariantMap object = note.objectMap();
        if (!object.contains(QStringLiteral("file")))
            return; // the PUT's own announcement; the queue's follows
        QList<Result *> &waiting = byPath[object.value(QStringLiteral("file")).toUrl().toLocalFile()];
        if (waiting.isEmpty())
            return;
        Result *result = waiting.takeFirst();
        const QVariantMap response = object.value(QStringLiteral("response")).toMap();
        result->done = true;
        if (object.value(QStringLiteral("succeeded")).toBool()) {
            result->link = ShareLink::forItem(response);
            if (result->link.isEmpty())
                result->error = QStringLiteral("uploaded, but the service answered without the file's code");
        } else {
            result->error = response.value(QStringLiteral("error")).toString();
            if (result->error.isEmpty())
                result->error = QStringLiteral("the upload failed");
        }
    });
    center.addObserver(
        &observer, Notifications::BatchUploadCompleteNotification, [&](const Notification &) { loop.quit(); });

    int queued = 0;
    for (const QString &file : std::as_const(files)) {
        if (!file.isEmpty()) {
            API::instance().uploadFile(QUrl::fromLocalFile(file), [](bool, const QVariantMap &) {});
            ++queued;
        }
    }
    if (queued > 0)
        loop.exec();
    progress.finish();

    // Archives made for this run go once uploaded; one that failed stays only
    // while an unfinished upload can resume from it.
    for (qsizetype i = 0; i < paths.size(); ++i) {
        const bool archived = !files[i].isEmpty() && QFileInfo(paths[i]).isDir();
        if (archived && (!results[i].link.isEmpty() || !TLMultipartUploadState::stateForFilePath(files[i])))
            Archiver::removeArchive(QUrl::fromLocalFile(files[i]));
    }

    int failures = 0;
    for (qsizetype i = 0; i < paths.size(); ++i) {
        if (!results[i].link.isEmpty()) {
            out() << results[i].link << "\n";
            if (links)
                *links << results[i].link;
        } else {
            ++failures;
            err() << "tessly " << command << ": " << Logging::printable(paths[i]) << ": "
                  << Logging::printable(results[i].error.isEmpty() ? QStringLiteral("not uploaded") : results[i].error)
                  << "\n";
        }
    }
    return failures == 0 ? 0 : 1;
}

int upload(const QStringList &arguments)
{
    QStringList args = arguments;
    const bool copy = args.removeAll(QStringLiteral("--copy")) > 0;
    if (args.isEmpty())
        return usageError("upload", QStringLiteral("name at least one file (usage: tessly upload FILE...)"));
    for (const QString &arg : args) {
        if (arg.startsWith(QLatin1Char('-')) && arg != QLatin1String("-") && !QFileInfo::exists(arg))
            return usageError(
                "upload", QStringLiteral("unknown option '%1' (a file named so needs ./ before it)").arg(arg));
    }
    if (!copy)
        return uploadFilesAndPrintLinks("upload", args);
    QStringList links;
    const int status = uploadFilesAndPrintLinks("upload", args, &links);
    if (!links.isEmpty())
        copyLinks(links);
    return status;
}

int uploads(const QStringList &args)
{
    if (!args.isEmpty())
        return usageError("uploads", QStringLiteral("takes no arguments"));
    const auto pending = TLMultipartUploadState::loadAllPendingUploads();
    if (pending.isEmpty()) {
        out() << "No unfinished uploads.\n";
        return 0;
    }
    for (const auto &state : pending) {
        const QString when = QLocale().toString(state->lastAttemptAt().toLocalTime(), QLocale::ShortFormat);
        out() << QStringLiteral("%1%  %2/%3 parts  %4  %5%6\n")
                     .arg(double(state->progress()) * 100.0, 5, 'f', 1)
                     .arg(state->completedParts().size())
                     .arg(state->parts().size())
                     .arg(when, Logging::printable(state->filePath()),
                         QFileInfo::exists(state->filePath()) ? QString() : QStringLiteral("  (file missing)"));
    }
    return 0;
}

int resume(const QStringList &args)
{
    if (!args.isEmpty())
        return usageError("resume", QStringLiteral("takes no arguments"));
    QStringList files;
    for (const auto &state : TLMultipartUploadState::loadAllPendingUploads()) {
        if (files.contains(state->filePath()))
            continue; // the newest record of a file is the one that resumes
        if (!QFileInfo::exists(state->filePath())) {
            err() << "tessly resume: " << Logging::printable(state->filePath())
                  << ": the file is gone; `tessly cancel-all` forgets it\n";
            continue;
        }
        files << state->filePath();
    }
    if (files.isEmpty()) {
        out() << "Nothing to resume.\n";
        return 0;
    }
    return uploadFilesAndPrintLinks("resume", files);
}

int cancelAll(const QStringList &args)
{
    if (!args.isEmpty())
        return usageError("cancel-all", QStringLiteral("takes no arguments"));
    FileUploadQueue::sharedQueue().cancelAllUploads();
    const auto pending = TLMultipartUploadState::loadAllPendingUploads();
    int failed = 0;
    for (const auto &state : pending) {
        QEventLoop loop;
        bool ok = false;
        TLMultipartAPIClient::sharedClient().abortMultipartUploadForKey(
            state->key(), state->uploadId(), [&](bool success, const Error &) {
                ok = success;
                QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
            });
        loop.exec();
        // Forgotten either way: an upload the service no longer knows cannot resume.
        TLMultipartUploadState::removeStateForUploadId(state->uploadId());
        if (!ok) {
            ++failed;
            err() << "tessly cancel-all: " << Logging::printable(state->filePath())
                  << ": the service did not confirm the abort\n";
        }
    }
    out() << "Cancelled " << pending.size()
          << (pending.size() == 1 ? " unfinished upload.\n" : " unfinished uploads.\n");
    return failed == 0 ? 0 : 1;
}

} // namespace Commands
