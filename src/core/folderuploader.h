#pragma once

#include <QList>
#include <QString>
#include <QUrl>
#include <QVariant>

class AppDelegate;

// Uploads several files, or a directory's contents, into a new folder on the
// service, so the user gets one link for all of them. While a folder's batch
// runs, the per-file completions stay quiet (pauseNotifications()); at the end
// the folder's link is opened in the browser or copied.
class FolderUploader
{
public:
    explicit FolderUploader(AppDelegate *delegate);

    // "Upload <date> at <time>", the files in name order.
    void uploadFilesAsFolder(const QList<QUrl> &fileUrls, bool launchOnComplete);
    // Named after the directory; its visible entries, each subdirectory as a
    // ZIP of its own. Symbolic links to folders are left out (they may loop).
    void uploadDirectory(const QString &path, bool launchOnComplete);

    bool pauseNotifications() const { return m_pauseNotifications; }

    // The top-level entries of a directory as uploaded: hidden ones skipped,
    // in name order. Empty with *error when it cannot be read.
    static QStringList directoryEntries(const QString &path, QString *error);

private:
    struct Folder
    {
        QString link;
        QString parentItem;
    };
    // The folder from the create answer, or nothing (after saying why).
    bool folderFromAnswer(const QVariant &answer, Folder *folder);
    void uploadInto(const Folder &folder, const QList<QUrl> &files, bool launchOnComplete, int segment);

    AppDelegate *m_delegate;
    bool m_pauseNotifications = false;
};
