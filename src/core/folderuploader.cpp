#include "folderuploader.h"

#include "api.h"
#include "appdelegate.h"
#include "archiver.h"
#include "dispatch.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "popoverwindowcontroller.h"
#include "settingsstore.h"
#include "sharelink.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QPointer>

#include <algorithm>

Q_LOGGING_CATEGORY(lcFolderUploader, "tessly.core.folderuploader")

namespace {

void postUploadFailed()
{
    NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::UserVisibleErrorNotification),
        QVariantMap { { QStringLiteral("error"), QStringLiteral("Upload failed") },
            { QStringLiteral("message"),
                QStringLiteral("Server returned an incomplete response. Please try logging out and back in.") },
            { QStringLiteral("hideButton"), true } });
}

QString debugText(const QVariant &value)
{
    QString text;
    QDebug(&text).nospace() << value;
    return text;
}

} // namespace

FolderUploader::FolderUploader(AppDelegate *delegate)
    : m_delegate(delegate)
{
}

bool FolderUploader::folderFromAnswer(const QVariant &answer, Folder *folder)
{
    const QVariantMap map = answer.toMap();
    QString domain = map.value(QStringLiteral("domain")).toString();
    if (domain.isEmpty())
        domain = SettingsStore::instance().domain();
    const QString code = map.value(QStringLiteral("code")).toString();
    const QString item = map.value(QStringLiteral("item")).toString();
    if (domain.isEmpty() || code.isEmpty() || item.isEmpty()) {
        qCWarning(lcFolderUploader).noquote()
            << QStringLiteral("Failed to create folder: missing domain, code, or item in response: %1")
                   .arg(debugText(answer));
        m_pauseNotifications = false;
        postUploadFailed();
        return false;
    }
    folder->link = ShareLink::forItem(code, domain, map.value(QStringLiteral("customDomain")).toString());
    folder->parentItem = QStringLiteral("%1/%2").arg(domain, item);
    return true;
}

void FolderUploader::uploadInto(const Folder &folder, const QList<QUrl> &files, bool launchOnComplete, int segment)
{
    m_pauseNotifications = true;
    QPointer<AppDelegate> delegate(m_delegate);
    const auto finish = [this, delegate, folder, launchOnComplete, segment](bool) {
        Dispatch::main([this, delegate, folder, launchOnComplete, segment] {
            if (!delegate)
                return;
            if (delegate->popoverController())
                delegate->popoverController()->switchToSegment(segment);
            m_pauseNotifications = false;
            if (launchOnComplete)
                delegate->openUrl(QUrl(folder.link));
            else
                AppDelegate::copyLinkToClipboard(folder.link);
        });
    };
    if (files.isEmpty()) { // an empty folder is still a folder
        qCInfo(lcFolderUploader) << "nothing to upload into" << folder.parentItem;
        finish(true);
        return;
    }
    API::instance().uploadFiles(files, folder.parentItem, finish);
}

void FolderUploader::uploadFilesAsFolder(const QList<QUrl> &fileUrls, bool launchOnComplete)
{
    const QString name = QStringLiteral("Upload %1")
                             .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd 'at' HH.mm.ss")));
    QList<QUrl> files = fileUrls;
    std::sort(files.begin(), files.end(), [](const QUrl &a, const QUrl &b) {
        return QFileInfo(a.path()).fileName().compare(QFileInfo(b.path()).fileName(), Qt::CaseInsensitive) < 0;
    });
    API::instance().createFolderWithName(
        name, {}, 0, [this, files, launchOnComplete](bool success, const QVariant &result, const Error &error) {
            if (!success) {
                qCWarning(lcFolderUploader).noquote()
                    << QStringLiteral("Failed to create folder for multi-file upload: %1")
                           .arg(error.localizedDescription);
                m_pauseNotifications = false;
                return;
            }
            qCInfo(lcFolderUploader).noquote()
                << QStringLiteral("Created folder for multi-file upload: %1").arg(debugText(result));
            Folder folder;
            if (folderFromAnswer(result, &folder))
                uploadInto(folder, files, launchOnComplete, 2);
        });
}

QStringList FolderUploader::directoryEntries(const QString &path, QString *error)
{
    QDir dir(path);
    if (!dir.exists() || !dir.isReadable()) {
        *error = QStringLiteral("The folder \"%1\" cannot be read.").arg(path);
        return {};
    }
    QStringList entries;
    const QFileInfoList infos = dir.entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo &info : infos) {
        if (info.isDir() && info.isSymLink()) {
            qCWarning(lcFolderUploader).noquote() << "Skipping symbolic link to a folder" << info.absoluteFilePath();
            continue;
        }
        entries << info.absoluteFilePath();
    }
    return entries;
}

void FolderUploader::uploadDirectory(const QString &path, bool launchOnComplete)
{
    QString listingError;
    const QStringList entries = directoryEntries(path, &listingError);
    if (!listingError.isEmpty()) {
        qCWarning(lcFolderUploader).noquote()
            << QStringLiteral("Failed to list directory contents: %1").arg(listingError);
        m_pauseNotifications = false;
        return;
    }
    const QFileInfo directory(QDir::cleanPath(path));
    const QString name = directory.completeBaseName().isEmpty() ? directory.fileName() : directory.completeBaseName();
    API::instance().createFolderWithName(
        name, {}, 0, [this, entries, launchOnComplete](bool success, const QVariant &result, const Error &error) {
            if (!success) {
                qCWarning(lcFolderUploader).noquote()
                    << QStringLiteral("Failed to create folder: %1").arg(error.localizedDescription);
                m_pauseNotifications = false;
                return;
            }
            qCInfo(lcFolderUploader).noquote() << QStringLiteral("GOt result %1").arg(debugText(result));
            Folder folder;
            if (!folderFromAnswer(result, &folder))
                return;
            m_pauseNotifications = true; // from the folder's creation on, also while subfolders zip
            // Subfolders are zipped off the GUI thread, each by itself.
            Dispatch::background(
                [this, folder, entries, launchOnComplete, delegate = QPointer<AppDelegate>(m_delegate)] {
                    QList<QUrl> files;
                    for (const QString &entry : entries) {
                        if (QFileInfo(entry).isDir()) {
                            const QUrl archive = Archiver::zipFiles(QStringList { entry });
                            qCInfo(lcFolderUploader).noquote() << QStringLiteral("URL %1").arg(archive.toString());
                            if (!archive.isEmpty())
                                files << archive;
                            else
                                qCWarning(lcFolderUploader).noquote() << "The folder could not be archived:" << entry;
                        } else {
                            files << QUrl::fromLocalFile(entry);
                        }
                    }
                    Dispatch::main([this, folder, files, launchOnComplete, delegate] {
                        if (delegate)
                            uploadInto(folder, files, launchOnComplete, 1);
                    });
                });
        });
}
