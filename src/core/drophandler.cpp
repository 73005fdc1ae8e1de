#include "drophandler.h"

#include "api.h"
#include "appdelegate.h"
#include "filegrabber.h"
#include "pasteboard.h"
#include "settingsstore.h"
#include "statusitem.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QMimeData>
#include <QPointer>

Q_LOGGING_CATEGORY(lcDropHandler, "tessly.core.drophandler")

DropHandler::DropHandler(AppDelegate *delegate)
    : m_delegate(delegate)
{
}

bool DropHandler::draggingEntered(const QMimeData *data)
{
    if (m_delegate->statusItem())
        m_delegate->statusItem()->setImageNamed(QStringLiteral("MenuIcon-Success-Alt"));
    qCInfo(lcDropHandler).noquote() << "Types:" << (data ? data->formats().join(QStringLiteral(", ")) : QString());
    return true;
}

void DropHandler::draggingExited()
{
    if (m_delegate->statusItem())
        m_delegate->statusItem()->setImageNamed(QStringLiteral("MenuIcon"));
}

bool DropHandler::performDragOperation(const QMimeData *data)
{
    if (!data)
        return true;
    const QStringList types = data->formats();
    qCInfo(lcDropHandler).noquote() << "Pasteboard types:" << types.join(QStringLiteral(", "));
    const QList<QUrl> urls = data->urls();
    QStringList urlTexts;
    for (const QUrl &url : urls)
        urlTexts << url.toString();
    qCInfo(lcDropHandler).noquote() << "All URLS" << urlTexts.join(QStringLiteral(", "));

    if (!urls.isEmpty()) {
        const QString scheme = urls.first().scheme().toLower();
        if (scheme == QLatin1String("http") || scheme == QLatin1String("https")) {
            m_delegate->shortenURL(urls.first(), true);
            return true;
        }
    }

    const QStringList paths = FileGrabber::pathsFromMimeData(data);
    if (paths.isEmpty()) {
        // No file by name: an image, or one file offered by reference.
        const Pasteboard pasteboard(data);
        QString path;
        if (pasteboard.hasImage())
            path = pasteboard.imageDataPath();
        else if (pasteboard.hasFilePromise())
            path = pasteboard.filePromisePath();
        if (path.isEmpty()) {
            qCInfo(lcDropHandler) << "Nothing in the drop to upload";
            return true;
        }
        QPointer<AppDelegate> delegate(m_delegate);
        API::instance().uploadFiles({ QUrl::fromLocalFile(path) }, {}, [delegate](bool) {
            if (delegate)
                delegate->loadFiles();
        });
        return true;
    }

    qCInfo(lcDropHandler).noquote() << "Dropped file URLs:" << paths.join(QStringLiteral(", "));
    if (QFileInfo(paths.first()).isDir()) {
        m_delegate->uploadDirectory(paths.first(), true);
    } else if (paths.size() == 1) {
        m_delegate->uploadFile(QUrl::fromLocalFile(paths.first()));
    } else if (SettingsStore::instance().multiFileUploadAsFolder()) {
        QList<QUrl> files;
        for (const QString &path : paths)
            files << QUrl::fromLocalFile(path);
        m_delegate->uploadFilesAsFolder(files, true);
    } else {
        m_delegate->zipAndUpload(paths, true);
    }
    return true;
}
