// AppDelegate, continued: what reaches the application from outside. Later
// `tessly` runs hand over login callbacks, "shareClipboard" and files; the
// file managers' share entry hands over a selection.
#include "appdelegate.h"

#include "api.h"
#include "dispatch.h"
#include "filegrabber.h"
#include "loginurl.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "popoverwindowcontroller.h"
#include "screengrabber.h"
#include "settingsstore.h"
#include "statusitem.h"
#include "tlgifconverter.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QMimeData>
#include <QPointer>

Q_DECLARE_LOGGING_CATEGORY(lcAppDelegate)

// ---- URLs and files handed to the application -------------------------------

void AppDelegate::openURLs(const QList<QUrl> &urls)
{
    bool sharedClipboard = false;
    for (const QUrl &url : urls) {
        qCInfo(lcAppDelegate).noquote() << QStringLiteral("Got URL %1").arg(url.toString());
        if (LoginURL::isShareClipboard(url)) {
            uploadClipboard();
            sharedClipboard = true;
        }
    }
    if (sharedClipboard || urls.isEmpty())
        return;

    const QUrl url = urls.first();
    if (!LoginURL::isFileURL(url)) {
        const QString token = LoginURL::getQueryStringParameter(url, QStringLiteral("token"));
        const QString domain = LoginURL::getQueryStringParameter(url, QStringLiteral("domain"));
        if (token.isEmpty()) {
            qCWarning(lcAppDelegate) << "Login URL without a token; nothing changed";
            return;
        }
        SettingsStore::instance().setToken(token);
        if (!domain.isEmpty())
            SettingsStore::instance().setDomain(domain);
        QPointer<AppDelegate> self(this);
        API::instance().ensureDomainWithCompletion([self](bool success) {
            Dispatch::main([self, success] {
                if (!self)
                    return;
                if (!success) {
                    self->promptUserToCreateProfile();
                    return;
                }
                NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::UserLoggedIn));
                Dispatch::after(1.0, self, [self] { self->showFirstRunPopover(); });
            });
        });
        return;
    }

    uploadOpenedFile(url);
}

void AppDelegate::uploadOpenedFile(const QUrl &url)
{
    if (!ScreenGrabber::instance().gifCapture()) {
        uploadFile(url);
        return;
    }
    // A recording handed over while GIF mode is on goes up as a GIF. When the
    // conversion fails the movie itself goes up, so the recording is not lost.
    QPointer<AppDelegate> self(this);
    Dispatch::longRunning([self, url] {
        Error error;
        const QUrl gif
            = TLGIFConverter::instance().convertFileAtPath(url, QStringLiteral("Screen Capture"), 2.0, &error);
        const bool made = QFileInfo(gif.toLocalFile()).size() > 0;
        Dispatch::main([self, url, gif, made, error] {
            if (!self)
                return;
            if (!made)
                qCWarning(lcAppDelegate).noquote()
                    << QStringLiteral("GIF conversion failed (%1); uploading the movie as it is")
                           .arg(error.localizedDescription);
            self->uploadFile(made ? gif : url);
        });
    });
}

void AppDelegate::showFirstRunPopover()
{
    if (!m_popoverController || !m_statusItem)
        return;
    m_popoverController->showPopoverRelativeToView(m_statusItem->anchorGeometry());
    m_popoverController->showToast(QStringLiteral("You are signed in"));
}

void AppDelegate::openArguments(const QStringList &arguments)
{
    QList<QUrl> urls;
    QStringList files;
    for (const QString &argument : arguments) {
        const QUrl url = argument.contains(QLatin1String("://"))
            ? QUrl(argument)
            : QUrl::fromLocalFile(QFileInfo(argument).absoluteFilePath());
        urls << url;
        if (url.isLocalFile())
            files << url.toLocalFile();
    }
    if (files.size() == urls.size() && files.size() > 1)
        openFiles(files);
    else if (files.size() == urls.size() && files.size() == 1)
        openFile(files.first());
    else
        openURLs(urls);
}

bool AppDelegate::openFile(const QString &filename)
{
    qCInfo(lcAppDelegate).noquote() << QStringLiteral("Filename: %1").arg(filename);
    ensureDomainThenPerform([this, filename] { uploadOpenedFile(QUrl::fromLocalFile(filename)); });
    return true;
}

void AppDelegate::openFiles(const QStringList &filenames)
{
    // Names arrive as POSIX paths; ":" is an ordinary character in them.
    ensureDomainThenPerform([this, filenames] {
        uploadPaths(filenames, true);
        qCInfo(lcAppDelegate).noquote() << QStringLiteral("File names: %1").arg(filenames.join(QStringLiteral(", ")));
    });
}

QString AppDelegate::shareWithTesslyCloud(const QMimeData *pasteboard)
{
    const QStringList paths = FileGrabber::pathsFromMimeData(pasteboard);
    if (!paths.isEmpty()) {
        ensureDomainThenPerform([this, paths] { uploadPaths(paths, false); });
        return {};
    }
    for (const QUrl &url : pasteboard ? pasteboard->urls() : QList<QUrl> {}) {
        const QString scheme = url.scheme().toLower();
        if (scheme == QLatin1String("http") || scheme == QLatin1String("https")) {
            shortenURL(url, false);
            return {};
        }
    }
    return QStringLiteral("No supported file or URL found on the pasteboard.");
}

// The steps shared by the selection, opened files and the share entry: a
// folder by the first path, one file, several as a folder or as one ZIP.
void AppDelegate::uploadPaths(const QStringList &paths, bool launchOnComplete)
{
    if (paths.isEmpty())
        return;
    if (QFileInfo(paths.first()).isDir()) {
        uploadDirectory(paths.first(), launchOnComplete);
    } else if (paths.size() == 1) {
        uploadFile(QUrl::fromLocalFile(paths.first()));
    } else if (SettingsStore::instance().multiFileUploadAsFolder()) {
        QList<QUrl> files;
        for (const QString &path : paths)
            files << QUrl::fromLocalFile(path);
        uploadFilesAsFolder(files, launchOnComplete);
    } else {
        zipAndUpload(paths, false);
    }
}
