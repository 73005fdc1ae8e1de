#include "appdelegate.h"
#include "cloudscreenrecorder.h"

#include "api.h"
#include "archiver.h"
#include "desktopnotifier.h"
#include "dispatch.h"
#include "drawwindowcontroller.h"
#include "drophandler.h"
#include "errorviewcontroller.h"
#include "filegrabber.h"
#include "folderuploader.h"
#include "globalshortcutmonitor.h"
#include "keyequivalent.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "pasteboard.h"
#include "popoverwindowcontroller.h"
#include "processingpopoverviewcontroller.h"
#include "screengrabber.h"
#include "settingsstore.h"
#include "settingswindow.h"
#include "settingswindowcontroller.h"
#include "sharelink.h"
#include "shortcuttable.h"
#include "singleinstance.h"
#include "soundplayer.h"
#include "statusitem.h"
#include "statusmenu.h"
#include "webpage.h"
#include "welcomewindowcontroller.h"

#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QDesktopServices>
#include <QFileInfo>
#include <QImage>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QScreen>

Q_LOGGING_CATEGORY(lcAppDelegate, "tessly.core.appdelegate")

namespace {

AppDelegate *s_appDelegate = nullptr;

// The user actions a later `tessly` run may ask for by name.
const QStringList kActions { QStringLiteral("togglePopover"), QStringLiteral("captureScreen"),
    QStringLiteral("markupScreen"), QStringLiteral("recordScreen"), QStringLiteral("stopRecording"),
    QStringLiteral("uploadSelection"), QStringLiteral("uploadClipboard"), QStringLiteral("openDashboard"),
    QStringLiteral("showSettings"), QStringLiteral("loadFiles") };

QString describe(const QVariant &value)
{
    QString text;
    QDebug(&text).nospace().noquote() << value;
    return text;
}

void postError(const QString &title, const QString &message)
{
    NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::UserVisibleErrorNotification),
        QVariantMap { { QStringLiteral("error"), title }, { QStringLiteral("message"), message },
            { QStringLiteral("hideButton"), true } });
}

} // namespace

AppDelegate::AppDelegate(QObject *parent)
    : QObject(parent)
    , m_dropHandler(new DropHandler(this))
    , m_folderUploader(new FolderUploader(this))
{
    s_appDelegate = this;
}

AppDelegate::~AppDelegate()
{
    NotificationCenter::defaultCenter().removeObserver(this);
    if (s_appDelegate == this)
        s_appDelegate = nullptr;
    delete m_welcomeWindowController;
    delete m_popoverController;
    delete m_statusMenu;
    delete m_errorPopover;
    delete m_processingPopover;
    delete m_settingsWindow;
    delete m_dropHandler;
    delete m_folderUploader;
}

AppDelegate *AppDelegate::appDelegate()
{
    return s_appDelegate;
}

ErrorViewController *AppDelegate::errorView() const
{
    return m_errorPopover;
}

ProcessingPopoverViewController *AppDelegate::processingPopover() const
{
    return m_processingPopover;
}

bool AppDelegate::pauseNotifications() const
{
    return m_folderUploader->pauseNotifications();
}

void AppDelegate::openUrl(const QUrl &url) const
{
    if (m_openUrl)
        m_openUrl(url);
    else
        QDesktopServices::openUrl(url);
}

// ---- Launch ---------------------------------------------------------------

void AppDelegate::applicationDidFinishLaunching()
{
    // 1.
    m_fileItems.clear();
    m_uploadProgress = 0;

    // 2. The tray icon, its menu and the dashboard. The icon shows first: the
    // tray host embeds it while the rest is built.
    showStatusItem();
    m_statusMenu = new StatusMenu(this);
    m_popoverController = new PopoverWindowController(this);
    m_popoverController->setDirectoryUploader(
        [this](const QString &path, bool launchOnComplete) { uploadDirectory(path, launchOnComplete); });
    m_popoverController->setDataDropHandler(
        [this](const QMimeData *data) { m_dropHandler->performDragOperation(data); });
    m_popoverController->setUrlOpener([this](const QUrl &url) { openUrl(url); });
    m_popoverController->setUploadFileShortcutReader(
        [] { return KeyEquivalent::fromString(SettingsStore::instance().uploadFileHotkey()).keySequence(); });

    // 3. A click toggles the dashboard; the menu is on the right button.
    connect(m_statusItem, &StatusItem::clicked, this, &AppDelegate::togglePopover);
    m_statusItem->setMenu(m_statusMenu);

    // 4. Drops: tray hosts pass none to their icons (neither XEmbed nor
    // StatusNotifierItem carries them), so the dashboard is the drop target;
    // it hands the drops to dropHandler().

    // 5.
    subscribe();
    // 6.
    subscribeGlobalShortcuts();
    // 7. Without "show in taskbar" the application lives in the tray only.
    if (SettingsStore::instance().showDockIcon())
        m_popoverController->setShowsInTaskbar(true);
    // 8.
    m_welcomeWindowController = new WelcomeWindowController;
    m_welcomeWindowController->setUrlOpener([this](const QUrl &url) { openUrl(url); });
    m_screenRecorder = new CloudScreenRecorder(this);
    m_screenRecorder->setStatusButton(m_statusItem);
    connect(m_screenRecorder, &CloudScreenRecorder::recordingChanged, m_popoverController,
        &PopoverWindowController::setRecording);
    connect(m_screenRecorder, &CloudScreenRecorder::recordingChanged, m_statusMenu, &StatusMenu::setRecording);
    connect(
        m_statusMenu, &StatusMenu::stopRecordingRequested, m_screenRecorder, &CloudScreenRecorder::endScreenCapture);
    ScreenGrabber::instance();
    // 9. Later `tessly` runs and the file managers' "Share with Tessly Cloud".
    if (m_singleInstance) {
        m_singleInstance->setHandler([this](const QString &command, const QStringList &arguments) {
            SingleInstance::Answer answer { true, QStringLiteral("accepted") };
            if (command == QLatin1String("open")) {
                Dispatch::main([this, arguments] { openArguments(arguments); });
            } else if (command == QLatin1String("share")) {
                QMimeData data;
                QList<QUrl> urls;
                for (const QString &argument : arguments)
                    urls << (argument.contains(QLatin1String("://"))
                            ? QUrl(argument)
                            : QUrl::fromLocalFile(QFileInfo(argument).absoluteFilePath()));
                data.setUrls(urls);
                const QString error = shareWithTesslyCloud(&data);
                if (!error.isEmpty())
                    answer = { false, error };
            } else if (command == QLatin1String("perform") && arguments.size() == 1 && perform(arguments.first())) {
            } else if (command == QLatin1String("reopen")) {
                Dispatch::main([this] { applicationShouldHandleReopen(false); });
            } else {
                answer = { false, QStringLiteral("unknown request %1").arg(command) };
            }
            return answer;
        });
    }
    // 10. Clicked notifications open their link (the notifier does that).
    DesktopNotifier::instance();
    // 11.
    if (SettingsStore::instance().token().isEmpty()) {
        m_welcomeWindowController->show();
        m_welcomeWindowController->raise();
        m_welcomeWindowController->activateWindow();
    }
}

void AppDelegate::showStatusItem()
{
    if (m_statusItem)
        return;
    m_statusItem = new StatusItem(this);
    m_statusItem->setImageNamed(QStringLiteral("MenuIcon"));
    m_statusItem->show();
}

bool AppDelegate::listenForOtherInstances()
{
    if (!m_singleInstance)
        m_singleInstance = new SingleInstance(this);
    return m_singleInstance->listen();
}

void AppDelegate::subscribe()
{
    auto &center = NotificationCenter::defaultCenter();
    const auto observe = [&](const char *name, void (AppDelegate::*handler)(const Notification &)) {
        QPointer<AppDelegate> self(this);
        center.addObserver(this, QString::fromLatin1(name), [self, handler](const Notification &note) {
            // Handlers may be reached from any thread; they run on the GUI thread.
            Dispatch::main([self, handler, note] {
                if (self)
                    (self.data()->*handler)(note);
            });
        });
    };
    observe(Notifications::BatchUploadProgressNotification, &AppDelegate::handleUploadProgress);
    observe(Notifications::UploadCompleteNotification, &AppDelegate::handleUploadComplete);
    observe(Notifications::BatchUploadCompleteNotification, &AppDelegate::handleBatchUploadComplete);
    observe(Notifications::UserVisibleErrorNotification, &AppDelegate::handleError);
    observe(Notifications::AuthTokenInvalid, &AppDelegate::handleAuthTokenInvalid);
    observe(Notifications::VideoProcessingBeganNotification, &AppDelegate::handleVideoProcessingBegan);
    observe(Notifications::VideoProcessingEndedNotification, &AppDelegate::handleVideoProcessingEnded);
    center.addObserver(this, QString::fromLatin1(Notifications::ShortcutUpdatedNotification),
        [this](const Notification &) { Dispatch::main([this] { subscribeGlobalShortcuts(); }); });
}

void AppDelegate::subscribeGlobalShortcuts()
{
    ShortcutTable::subscribe(GlobalShortcutMonitor::sharedMonitor(), this);
}

bool AppDelegate::applicationShouldHandleReopen(bool hasVisibleWindows)
{
    if (hasVisibleWindows)
        return true;
    if (m_popoverController && m_statusItem)
        m_popoverController->showPopoverRelativeToView(m_statusItem->anchorGeometry());
    return true;
}

// ---- Profile guard ----------------------------------------------------------

bool AppDelegate::perform(const QString &action)
{
    if (!kActions.contains(action))
        return false;
    QMetaObject::invokeMethod(this, action.toLatin1().constData(), Qt::QueuedConnection);
    return true;
}

void AppDelegate::ensureDomainThenPerform(std::function<void()> block)
{
    if (!SettingsStore::instance().domain().isEmpty()) {
        block();
        return;
    }
    QPointer<AppDelegate> self(this);
    API::instance().ensureDomainWithCompletion([self, block = std::move(block)](bool success) {
        Dispatch::main([self, block, success] {
            if (!self)
                return;
            if (success)
                block();
            else
                self->promptUserToCreateProfile();
        });
    });
}

void AppDelegate::promptUserToCreateProfile()
{
    const QString title = QStringLiteral("No Profile Found");
    const QString text = QStringLiteral(
        "Your account doesn't have a profile yet. You need to create one before you can upload files.");
    const QStringList buttons { QStringLiteral("Create Profile"), QStringLiteral("Cancel") };
    int chosen = 1;
    if (m_runAlert) {
        chosen = m_runAlert(title, text, buttons);
    } else {
        QMessageBox box(QMessageBox::Information, title, title);
        box.setInformativeText(text);
        box.setWindowTitle(QStringLiteral("Tessly Cloud"));
        box.setStyleSheet(QStringLiteral("QLabel#qt_msgbox_informativelabel { min-width: 340px; }"));
        QPushButton *create = box.addButton(buttons[0], QMessageBox::AcceptRole);
        box.addButton(buttons[1], QMessageBox::RejectRole);
        box.setDefaultButton(create);
        box.exec();
        chosen = box.clickedButton() == create ? 0 : 1;
    }
    if (chosen == 0)
        openUrl(WebPage::url(QStringLiteral("/get-started")));
}

// ---- Uploads ------------------------------------------------------------------

void AppDelegate::uploadFile(const QUrl &fileUrl)
{
    const QFileInfo file(fileUrl.toLocalFile());
    if (!file.isFile()) {
        qCWarning(lcAppDelegate).noquote() << "Not uploaded, no such file:" << fileUrl.toLocalFile();
        postError(
            QStringLiteral("Upload failed"), QStringLiteral("The file \"%1\" no longer exists.").arg(file.fileName()));
        return;
    }
    API::instance().uploadFile(fileUrl, [](bool, const QVariantMap &) {});
}

void AppDelegate::zipAndUpload(const QStringList &paths, bool reloadFiles)
{
    QPointer<AppDelegate> self(this);
    Archiver::zipFiles(paths, [self, reloadFiles, count = paths.size()](const QUrl &archive) {
        if (!self)
            return;
        if (archive.isEmpty()) {
            qCWarning(lcAppDelegate) << "The" << count << "files could not be archived; nothing uploaded";
            postError(QStringLiteral("Upload failed"), QStringLiteral("The files could not be archived."));
            return;
        }
        self->uploadFile(archive);
        if (reloadFiles)
            self->loadFiles();
    });
}

void AppDelegate::uploadFilesAsFolder(const QList<QUrl> &fileUrls, bool launchOnComplete)
{
    m_folderUploader->uploadFilesAsFolder(fileUrls, launchOnComplete);
}

void AppDelegate::uploadDirectory(const QString &path, bool launchOnComplete)
{
    m_folderUploader->uploadDirectory(path, launchOnComplete);
}

void AppDelegate::shortenURL(const QUrl &url, bool changeIcon)
{
    QPointer<AppDelegate> self(this);
    ensureDomainThenPerform([self, url, changeIcon] {
        qCInfo(lcAppDelegate).noquote() << QStringLiteral("Uploading URL %1").arg(url.toString());
        API::instance().createLinkWithURL(
            url.toString(), [self, changeIcon](bool success, const QVariant &result, const Error &) {
                qCInfo(lcAppDelegate).noquote() << QStringLiteral("Result %1").arg(describe(result));
                Dispatch::main([self, success, result, changeIcon] {
                    if (!self)
                        return;
                    self->handleLinkAnswer(success, result);
                    if (changeIcon)
                        self->showIconFor(QStringLiteral("MenuIcon-Success-Alt"), 2.0);
                });
            });
    });
}

void AppDelegate::handleLinkAnswer(bool success, const QVariant &answer)
{
    if (!success || answer.typeId() != QMetaType::QVariantMap) {
        qCWarning(lcAppDelegate).noquote() << "No short link made:" << describe(answer);
        return;
    }
    const QVariantMap map = answer.toMap();
    QString domain = map.value(QStringLiteral("domain")).toString();
    if (domain.isEmpty())
        domain = SettingsStore::instance().domain();
    const QString link = ShareLink::forShortLink(
        map.value(QStringLiteral("slug")).toString(), domain, map.value(QStringLiteral("customDomain")).toString());
    if (link.isEmpty()) {
        qCWarning(lcAppDelegate).noquote() << "Short link answer without slug or profile:" << describe(answer);
        return;
    }
    copyLinkToClipboard(link);
    playSound();
    if (m_popoverController)
        m_popoverController->switchToSegment(3);
    Q_EMIT linkCopied(link);
}

void AppDelegate::copyLinkToClipboard(const QString &link)
{
    auto *data = new QMimeData;
    data->setText(link);
    data->setUrls({ QUrl(link) });
    QGuiApplication::clipboard()->setMimeData(data);
}

void AppDelegate::playSound()
{
    SoundPlayer::instance().playNamed(SettingsStore::instance().sound());
}

// ---- User actions -------------------------------------------------------------

void AppDelegate::togglePopover()
{
    if (m_popoverController && m_statusItem)
        m_popoverController->togglePopoverRelativeToView(m_statusItem->anchorGeometry());
}

void AppDelegate::captureScreen()
{
    ensureDomainThenPerform([this] {
        const QUrl file = ScreenGrabber::captureScreen(QStringLiteral("Screen Shot"));
        qCInfo(lcAppDelegate).noquote() << QStringLiteral("File %1").arg(file.toString());
        if (!file.isEmpty())
            uploadFile(file);
    });
}

void AppDelegate::markupScreen()
{
    const QUrl file = ScreenGrabber::captureScreen(QStringLiteral("Markup"));
    if (file.isEmpty())
        return;
    QScreen *screen = QGuiApplication::screenAt(QCursor::pos());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    qCInfo(lcAppDelegate).noquote() << QStringLiteral("Current Scren %1").arg(screen ? screen->name() : QString());
    QString error;
    if (!drawingWindowController()->showImageFile(
            file.toLocalFile(), screen ? screen->devicePixelRatio() : 1.0, &error))
        postError(QStringLiteral("Markup failed"), error);
}

DrawWindowController *AppDelegate::drawingWindowController()
{
    if (!m_drawingWindowController)
        m_drawingWindowController = new DrawWindowController(this);
    return m_drawingWindowController;
}

void AppDelegate::recordScreen()
{
    QPointer<AppDelegate> self(this);
    ensureDomainThenPerform([self] {
        if (!self || !self->m_screenRecorder)
            return;
        self->m_screenRecorder->beginRecordingWithFormat(0, {}, [self](bool success, const QUrl &file, double) {
            if (!self || !success || file.isEmpty())
                return;
            qCInfo(lcAppDelegate).noquote() << QStringLiteral("Got video %1").arg(file.toString());
            self->uploadFile(file);
        });
    });
}

void AppDelegate::stopRecording()
{
    if (m_screenRecorder)
        m_screenRecorder->endScreenCapture();
}

void AppDelegate::uploadSelection()
{
    ensureDomainThenPerform([this] {
        QPointer<AppDelegate> self(this);
        FileGrabber::selectedPaths([self](const QStringList &paths) {
            if (!self || paths.isEmpty())
                return;
            qCInfo(lcAppDelegate).noquote()
                << QStringLiteral("Selected Paths %1").arg(paths.join(QStringLiteral(", ")));
            if (paths.first().isEmpty()) {
                postError(QStringLiteral("No file"), QStringLiteral("Please select a file in the file manager"));
                return;
            }
            self->uploadPaths(paths, true);
        });
    });
}

void AppDelegate::uploadClipboard()
{
    ensureDomainThenPerform(
        [this] {
            const QMimeData *data = QGuiApplication::clipboard()->mimeData();
            qCInfo(lcAppDelegate).noquote()
                << QStringLiteral("Types %1").arg(data ? data->formats().join(QStringLiteral(", ")) : QString());
            const QStringList paths = FileGrabber::pathsFromMimeData(data);
            if (!paths.isEmpty()) {
                qCInfo(lcAppDelegate).noquote()
                    << QStringLiteral("File Paths %1").arg(paths.join(QStringLiteral(", ")));
                if (QFileInfo(paths.first()).isDir()) {
                    uploadDirectory(paths.first(), true);
                    return;
                }
                qCInfo(lcAppDelegate).noquote() << QStringLiteral("File PAths array is not dir %1").arg(paths.first());
                uploadFile(QUrl::fromLocalFile(paths.first()));
                loadFiles();
                return;
            }
            const QImage image = data && data->hasImage() ? qvariant_cast<QImage>(data->imageData()) : QImage();
            if (!image.isNull()) {
                const QString path = ScreenGrabber::captureTemporaryFilePath(QStringLiteral("Clipboard Image"));
                if (image.save(path, "PNG")) {
                    uploadFile(QUrl::fromLocalFile(path));
                    loadFiles();
                } else {
                    qCWarning(lcAppDelegate).noquote() << "The clipboard image could not be written to" << path;
                }
                return;
            }
            qCInfo(lcAppDelegate).noquote() << "Clipboard does not contain a file or image.";
        });
}

void AppDelegate::openDashboard()
{
    openUrl(WebPage::url(QStringLiteral("/me?domain=%1").arg(SettingsStore::instance().domain())));
}

SettingsWindow *AppDelegate::settingsWindow() const
{
    return m_settingsWindow;
}

void AppDelegate::showSettings()
{
    // A new window each time, reading every value afresh.
    if (m_settingsWindow)
        m_settingsWindow->close();
    auto *controller = new SettingsWindowController;
    controller->setUrlOpener([this](const QUrl &url) { openUrl(url); });
    controller->setAlertRunner(m_runAlert);
    QPointer<PopoverWindowController> panel(m_popoverController);
    // Listed in the taskbar: the dashboard is a normal window instead of a popup.
    controller->setTaskbarPresence([panel] { return panel && panel->showsInTaskbar(); },
        [panel](bool shown) {
            if (panel)
                panel->setShowsInTaskbar(shown);
        });
    m_settingsWindow = new SettingsWindow(controller);
    controller->setParent(m_settingsWindow);
    m_settingsWindow->show();
    m_settingsWindow->raise();
    m_settingsWindow->activateWindow();
}

void AppDelegate::loadFiles()
{
    if (m_popoverController)
        m_popoverController->loadFiles();
}

// ---- Notification handlers ------------------------------------------------------

void AppDelegate::showIconFor(const QString &imageName, double seconds)
{
    if (!m_statusItem)
        return;
    m_statusItem->setImageNamed(imageName);
    QPointer<StatusItem> item(m_statusItem);
    Dispatch::after(seconds, m_statusItem, [item] {
        if (item)
            item->setImageNamed(QStringLiteral("MenuIcon"));
    });
}

void AppDelegate::handleUploadProgress(const Notification &note)
{
    const double p = note.objectMap().value(QStringLiteral("overallProgress")).toDouble();
    m_uploadProgress = p;
    const int frame = qBound(1, int(p * 10) + 1, 9);
    if (m_statusItem)
        m_statusItem->setImageNamed(QStringLiteral("MenuIcon-%1").arg(frame));
}

void AppDelegate::handleUploadComplete(const Notification &note)
{
    if (pauseNotifications())
        return;
    const QVariantMap object = note.objectMap();
    // The PUT announces its end too; the queue's announcement (with the
    // file) follows and is the one that counts.
    if (!object.contains(QStringLiteral("file")))
        return;
    if (!object.value(QStringLiteral("succeeded")).toBool()) {
        qCInfo(lcAppDelegate).noquote() << "Upload failed, no link:"
                                        << object.value(QStringLiteral("file")).toUrl().toLocalFile();
        return;
    }
    const QVariantMap response = object.value(QStringLiteral("response")).toMap();
    const QString code = response.value(QStringLiteral("code")).toString();
    const QString customDomain = response.value(QStringLiteral("customDomain")).toString();
    const QString domain = SettingsStore::instance().domain();
    qCInfo(lcAppDelegate).noquote() << QStringLiteral("Code %1 %2").arg(code, describe(object));
    if (code.isEmpty() || domain.isEmpty()) {
        qCWarning(lcAppDelegate).noquote()
            << QStringLiteral("handleUploadComplete: missing code (%1) or domain (%2), skipping clipboard")
                   .arg(code.isEmpty() ? QStringLiteral("(null)") : code,
                       domain.isEmpty() ? QStringLiteral("(null)") : domain);
        return;
    }
    const QString link = ShareLink::forItem(code, domain, customDomain);
    copyLinkToClipboard(link);
    qCInfo(lcAppDelegate).noquote() << QStringLiteral("Link %1").arg(link);
    if (m_popoverController && m_popoverController->isVisible())
        m_popoverController->showToast(QStringLiteral("Link copied"));
    else
        DesktopNotifier::instance().notify(QStringLiteral("Link copied to clipboard"), link, QUrl(link));
    playSound();
    Q_EMIT linkCopied(link);
    QPointer<AppDelegate> self(this);
    API::instance().waitForNewFile(code, [self](bool found, const QVariant &, bool) {
        if (!found)
            return;
        Dispatch::main([self] {
            if (self && self->m_popoverController)
                self->m_popoverController->switchToSegment(0);
        });
    });
}

void AppDelegate::handleBatchUploadComplete(const Notification &)
{
    showIconFor(QStringLiteral("MenuIcon-Success-Alt"), 2.0);
}

void AppDelegate::handleError(const Notification &note)
{
    qCWarning(lcAppDelegate).noquote() << QStringLiteral("Error %1").arg(describe(note.object));
    showIconFor(QStringLiteral("MenuIcon-Error"), 4.0);
    if (!m_errorPopover) {
        m_errorPopover = new ErrorViewController;
        m_errorPopover->setAttribute(Qt::WA_DeleteOnClose);
        m_errorPopover->setUrlOpener([this](const QUrl &url) { openUrl(url); });
    }
    m_errorPopover->setError(note.objectMap());
    if (m_statusItem)
        m_errorPopover->showAnchoredTo(m_statusItem->anchorGeometry());
}

void AppDelegate::handleAuthTokenInvalid(const Notification &)
{
    qCWarning(lcAppDelegate) << "The service refused the token; sign in again";
    SettingsStore::instance().setToken(QString());
    API::instance().setToken(QString());
    showIconFor(QStringLiteral("MenuIcon-Error"), 4.0);
}

void AppDelegate::handleVideoProcessingBegan(const Notification &note)
{
    QString message = note.userInfo.value(QString::fromLatin1(Notifications::VideoProcessingMessageKey)).toString();
    if (message.isEmpty())
        message = QStringLiteral("Processing video...");
    if (m_processingPopover) {
        m_processingPopover->close();
        m_processingPopover->deleteLater();
    }
    m_processingPopover = new ProcessingPopoverViewController(message);
    m_processingPopover->showAnchoredTo(m_statusItem ? m_statusItem->anchorGeometry() : QRect());
}

void AppDelegate::handleVideoProcessingEnded(const Notification &)
{
    if (m_processingPopover) {
        m_processingPopover->close();
        m_processingPopover->deleteLater();
        m_processingPopover = nullptr;
    }
}
