#pragma once

#include <functional>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QVariant>

class CloudScreenRecorder;
class DrawWindowController;
class DropHandler;
class ErrorViewController;
class FolderUploader;
class PopoverWindowController;
class ProcessingPopoverViewController;
class QMimeData;
class SettingsWindow;
class SingleInstance;
class StatusItem;
class StatusMenu;
class WelcomeWindowController;
struct Notification;

// The tray application's hub. It builds the tray icon, its menu, the
// dashboard and the welcome window at launch, listens to what the upload,
// recording and API layers announce, and carries out every user action that
// starts an upload: screenshots, recordings, the file manager's selection, the
// clipboard, files and URLs handed to the application, items dropped on the
// tray icon. A finished upload's share link goes to the clipboard with a
// sound and a desktop notification, and the tray icon shows progress,
// success and failure.
//
// The user actions are slots, found by name by the status menu and the
// shortcuts. Everything runs on the GUI thread; notification handlers hop
// there first.
class AppDelegate : public QObject
{
    Q_OBJECT
public:
    explicit AppDelegate(QObject *parent = nullptr);
    ~AppDelegate() override;

    // The running application's delegate (the one created last), or null.
    static AppDelegate *appDelegate();

    // The launch steps, in order.
    void applicationDidFinishLaunching();
    // The tray icon alone, which applicationDidFinishLaunching() shows first
    // otherwise: called ahead of it, the tray host can embed the icon while
    // the rest of the launch runs.
    void showStatusItem();
    // The desktop entry was started again with nothing to open.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);
    void applicationWillTerminate() { }

    // Login callbacks, "shareClipboard" and files, as handed to the application.
    void openURLs(const QList<QUrl> &urls);
    // What `tessly ARG...` was given: URLs, or paths of files and folders.
    void openArguments(const QStringList &arguments);
    bool openFile(const QString &filename);
    void openFiles(const QStringList &filenames);
    // The "Share with Tessly Cloud" entry of the file managers and `tessly
    // share`: files (the folder link is copied, never opened) or a web URL
    // (a short link). Returns an error text when the data holds neither.
    QString shareWithTesslyCloud(const QMimeData *pasteboard);

    // Runs one of the user actions by its slot name ("captureScreen", ...),
    // as the desktop entry's actions ask for it; false for any other name.
    bool perform(const QString &action);

    // Answers the requests of later `tessly` runs (see SingleInstance).
    bool listenForOtherInstances();

    void ensureDomainThenPerform(std::function<void()> block);
    void promptUserToCreateProfile();
    void uploadFilesAsFolder(const QList<QUrl> &fileUrls, bool launchOnComplete);
    void uploadDirectory(const QString &path, bool launchOnComplete);
    // One file through the upload queue; the share link follows from the
    // queue's completion notification.
    void uploadFile(const QUrl &fileUrl);
    // A file handed to the application (opened with it, or the recorder's
    // hand-off): converted to a GIF first while the grabber is in GIF mode.
    void uploadOpenedFile(const QUrl &url);
    // Several paths as one ZIP archive, zipped off the GUI thread.
    void zipAndUpload(const QStringList &paths, bool reloadFiles);
    // A short link for a web URL; `changeIcon` for drops.
    void shortenURL(const QUrl &url, bool changeIcon);
    // The link answer of a short-link request (drop and share entry).
    void handleLinkAnswer(bool success, const QVariant &answer);

    bool pauseNotifications() const;

    // (Re)registers the global shortcuts of the settings, as the settings
    // window's "ShortcutUpdatedNotification" asks for.
    void subscribeGlobalShortcuts();
    // The settings window showSettings() opened, while it is open.
    SettingsWindow *settingsWindow() const;

    // Shows an image for a while, then "MenuIcon" again. Every call has its
    // own restore: a later one never cancels an earlier one.
    void showIconFor(const QString &imageName, double seconds);

    StatusItem *statusItem() const { return m_statusItem; }
    StatusMenu *statusMenu() const { return m_statusMenu; }
    PopoverWindowController *popoverController() const { return m_popoverController; }
    WelcomeWindowController *welcomeWindowController() const { return m_welcomeWindowController; }
    DropHandler *dropHandler() const { return m_dropHandler; }
    CloudScreenRecorder *screenRecorder() const { return m_screenRecorder; }
    // The markup window's controller, made the first time markup opens.
    DrawWindowController *drawingWindowController();
    ErrorViewController *errorView() const;
    ProcessingPopoverViewController *processingPopover() const;

    // How links, pages and mail reach the browser and the mail program;
    // QDesktopServices::openUrl unless replaced.
    using UrlOpener = std::function<void(const QUrl &)>;
    void setUrlOpener(UrlOpener opener) { m_openUrl = std::move(opener); }
    void openUrl(const QUrl &url) const;

    // How alerts are put to the user: returns the index of the chosen
    // button. A modal message box unless replaced.
    using AlertRunner = std::function<int(const QString &title, const QString &text, const QStringList &buttons)>;
    void setAlertRunner(AlertRunner runner) { m_runAlert = std::move(runner); }

    // Puts a link on the clipboard as text and as URL.
    static void copyLinkToClipboard(const QString &link);
    // The link-copied sound of the settings.
    static void playSound();

public Q_SLOTS:
    void togglePopover();
    void captureScreen();
    void markupScreen();
    void recordScreen();
    void stopRecording();
    void uploadSelection();
    void uploadClipboard();
    void openDashboard();
    void showSettings();
    void loadFiles();

Q_SIGNALS:
    // A share link was put on the clipboard.
    void linkCopied(const QString &link);

private:
    void subscribe();
    void handleUploadProgress(const Notification &note);
    void handleUploadComplete(const Notification &note);
    void handleBatchUploadComplete(const Notification &note);
    void handleError(const Notification &note);
    void handleAuthTokenInvalid(const Notification &note);
    void handleVideoProcessingBegan(const Notification &note);
    void handleVideoProcessingEnded(const Notification &note);
    void showFirstRunPopover();
    void uploadPaths(const QStringList &paths, bool launchOnComplete);
    void uploadImageFromClipboard();

    StatusItem *m_statusItem = nullptr;
    StatusMenu *m_statusMenu = nullptr;
    PopoverWindowController *m_popoverController = nullptr;
    WelcomeWindowController *m_welcomeWindowController = nullptr;
    DropHandler *m_dropHandler = nullptr;
    FolderUploader *m_folderUploader = nullptr;
    SingleInstance *m_singleInstance = nullptr;
    CloudScreenRecorder *m_screenRecorder = nullptr;
    QPointer<ErrorViewController> m_errorPopover;
    QPointer<ProcessingPopoverViewController> m_processingPopover;
    QPointer<SettingsWindow> m_settingsWindow;
    QPointer<DrawWindowController> m_drawingWindowController;
    QVariantList m_fileItems;
    double m_uploadProgress = 0;
    UrlOpener m_openUrl;
    AlertRunner m_runAlert;
};
