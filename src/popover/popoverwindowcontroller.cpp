#include "popoverwindowcontroller.h"

#include "api.h"
#include "clipboardwatcher.h"
#include "defaultskeys.h"
#include "dispatch.h"
#include "dropsorter.h"
#include "fileuploadqueue.h"
#include "multipartuploadsession.h"
#include "multipartuploadstate.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "outsideclickmonitor.h"
#include "popoverplacement.h"
#include "popoverwindow.h"
#include "settingsstore.h"
#include "uploadprogressmodel.h"
#include "webpage.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMimeData>
#include <QTimer>

#include <algorithm>

Q_LOGGING_CATEGORY(lcPopoverWindowController, "tessly.popover.popoverwindowcontroller")

namespace {

const QString kFolderMimeType = QStringLiteral("tessly/folder");
// A click on the tray icon while the panel is open first takes the focus
// from it (the monitor closes it), then toggles: that toggle must not open
// it again.
constexpr qint64 kReopenGuardMs = 400;
// The refresh of an opened panel starts after its first paint, or after
// this long where no paint comes.
constexpr int kRefreshAtLatestMs = 50;

// The "items" of a listing answer, or nothing when the answer has none.
std::optional<QVariantList> itemsOf(const QVariant &answer)
{
    const QVariant items = answer.toMap().value(QStringLiteral("items"));
    if (items.typeId() != QMetaType::QVariantList)
        return std::nullopt;
    QVariantList records;
    for (const QVariant &item : items.toList()) {
        if (item.typeId() == QMetaType::QVariantMap)
            records << item;
    }
    return records;
}

int normalisedSegment(int segment)
{
    return segment >= 1 && segment <= 3 ? segment : 0;
}

} // namespace

PopoverWindowController::PopoverWindowController(QObject *applicationController, QObject *parent)
    : QObject(parent)
    , m_applicationController(applicationController)
    , m_uploadActions(new UploadProgressModel(this))
    , m_clipboard(new ClipboardWatcher(this))
{
    connect(m_clipboard, &ClipboardWatcher::usableChanged, this, &PopoverWindowController::clipboardUsableChanged);
    m_loggedIn = !SettingsStore::instance().token().isEmpty();
    m_window = new PopoverWindow(this);
    connect(m_window, &PopoverWindow::paintedAfterShow, this, &PopoverWindowController::refreshShownPanel);
    m_eventMonitor = new OutsideClickMonitor(m_window, this);
    connect(m_eventMonitor, &OutsideClickMonitor::clickedElsewhere, this, &PopoverWindowController::clickedElsewhere);
    setupNotifications();
}

PopoverWindowController::~PopoverWindowController()
{
    NotificationCenter::defaultCenter().removeObserver(this);
    delete m_window;
}

bool PopoverWindowController::isVisible() const
{
    return m_window && m_window->isVisible();
}

bool PopoverWindowController::showsInTaskbar() const
{
    return m_window->showsInTaskbar();
}

void PopoverWindowController::setShowsInTaskbar(bool shows)
{
    m_window->setShowsInTaskbar(shows);
}

// ---- Showing and closing ------------------------------------------------------

void PopoverWindowController::togglePopoverRelativeToView(const QRect &anchor)
{
    if (isVisible()) {
        closePopover();
        return;
    }
    if (m_closedByMonitor.isValid() && m_closedByMonitor.elapsed() < kReopenGuardMs)
        return;
    showPopoverRelativeToView(anchor);
}

void PopoverWindowController::showPopoverRelativeToView(const QRect &anchor)
{
    m_window->placeAt(topLeftForAnchor(anchor));
    m_window->show();
    updateForLoginState();
    SettingsStore &settings = SettingsStore::instance();
    if (!settings.token().isEmpty()) {
        Q_EMIT segmentChanged(selectedSegment());
        m_window->raise();
        m_window->activateWindow();
        updateClipboardMonitorForWindowVisible(true);
        refreshUploadStatus();
        // The account and the list are asked for once the panel is on
        // screen: starting requests keeps the GUI thread busy for a couple
        // of milliseconds that the first paint need not wait for.
        m_refreshPending = true;
        QTimer::singleShot(kRefreshAtLatestMs, this, &PopoverWindowController::refreshShownPanel);
    } else {
        m_window->raise();
        m_window->activateWindow();
    }
    installEventMonitor();
    Q_EMIT visibilityChanged(true);
}

void PopoverWindowController::refreshShownPanel()
{
    if (!m_refreshPending || !isVisible())
        return;
    m_refreshPending = false;
    fetchMeData();
    loadItems();
}

void PopoverWindowController::closePopover()
{
    updateClipboardMonitorForWindowVisible(false);
    m_window->hide();
    removeEventMonitor();
    Q_EMIT visibilityChanged(false);
}

void PopoverWindowController::showToast(const QString &text)
{
    m_toast = text;
    const quint64 serial = ++m_toastSerial;
    Q_EMIT toastChanged(text);
    Dispatch::after(2.0, this, [this, serial] {
        if (serial != m_toastSerial)
            return;
        m_toast.clear();
        Q_EMIT toastChanged(QString());
    });
}

void PopoverWindowController::updateForLoginState()
{
    const bool loggedIn = !SettingsStore::instance().token().isEmpty();
    if (loggedIn == m_loggedIn)
        return;
    m_loggedIn = loggedIn;
    Q_EMIT loginStateChanged();
}

// ---- Tabs and items -------------------------------------------------------------

int PopoverWindowController::selectedSegment() const
{
    return normalisedSegment(SettingsStore::instance().selectedMenuSegment());
}

QString PopoverWindowController::nounForCurrentSegment() const
{
    switch (SettingsStore::instance().selectedMenuSegment()) {
    case 1:
        return QStringLiteral("folder");
    case 2:
        return QStringLiteral("document");
    case 3:
        return QStringLiteral("link");
    default:
        return QStringLiteral("file");
    }
}

void PopoverWindowController::switchToSegment(int segment)
{
    SettingsStore::instance().setSelectedMenuSegment(segment);
    Q_EMIT segmentChanged(normalisedSegment(segment));
    // The cached list replaces the old one in one step: the rows are built
    // once, not emptied first.
    if (!showCachedItemsForSegment(segment))
        clearFileList();
    loadItems();
}

void PopoverWindowController::tabChanged(int segment)
{
    SettingsStore::instance().setSelectedMenuSegment(segment);
    if (!showCachedItemsForSegment(segment))
        clearFileList();
    loadItems();
}

void PopoverWindowController::setCachedItems(int segment, const QVariantList &items)
{
    switch (normalisedSegment(segment)) {
    case 1:
        m_cachedFolders = items;
        break;
    case 2:
        m_cachedDocuments = items;
        break;
    case 3:
        m_cachedLinks = items;
        break;
    default:
        m_cachedFiles = items;
        break;
    }
}

std::optional<QVariantList> PopoverWindowController::cachedItems(int segment) const
{
    switch (normalisedSegment(segment)) {
    case 1:
        return m_cachedFolders;
    case 2:
        return m_cachedDocuments;
    case 3:
        return m_cachedLinks;
    default:
        return m_cachedFiles;
    }
}

bool PopoverWindowController::showCachedItemsForSegment(int segment)
{
    // Opening the folders tab flashes the cached documents (and the reverse)
    // until the answer arrives: the mapping crosses 1 and 2 on purpose.
    std::optional<QVariantList> cached;
    switch (segment) {
    case 3:
        cached = m_cachedLinks;
        break;
    case 1:
        cached = m_cachedDocuments;
        break;
    case 2:
        cached = m_cachedFolders;
        break;
    default:
        cached = m_cachedFiles;
        break;
    }
    if (!cached)
        return false;
    displayItems(*cached, segment == 3);
    return true;
}

void PopoverWindowController::loadItems()
{
    loadSegment(selectedSegment());
}

void PopoverWindowController::loadSegment(int segment)
{
    QPointer<PopoverWindowController> self(this);
    const auto answered = [self, segment](bool success, const QVariant &result, const Error &) {
        std::optional<QVariantList> items = success ? itemsOf(result) : std::nullopt;
        if (!items) {
            qCInfo(lcPopoverWindowController) << "segment" << segment << "not loaded; the list stays";
            return;
        }
        if (segment == 0)
            items->removeIf([](const QVariant &item) {
                return item.toMap().value(QStringLiteral("mimeType")).toString() == kFolderMimeType;
            });
        Dispatch::main([self, segment, items = *items] {
            if (!self)
                return;
            self->setCachedItems(segment, items);
            self->displayItems(items, segment == 3);
            Q_EMIT self->itemsLoaded(segment);
        });
    };
    API &api = API::instance();
    switch (segment) {
    case 1:
        api.getFolders(answered);
        break;
    case 2:
        api.getDocuments(answered);
        break;
    case 3:
        api.getLinks(answered);
        break;
    default:
        api.getFiles(answered);
        break;
    }
}

void PopoverWindowController::displayItems(const QVariantList &items, bool links)
{
    // An answer that repeats what is shown (the usual refresh after the
    // cached list) leaves the rows as they are.
    if (items == m_items && links == m_showsLinks && m_emptyState == items.isEmpty())
        return;
    m_showsLinks = links;
    m_items = items;
    m_emptyState = items.isEmpty();
    Q_EMIT itemsChanged();
}

void PopoverWindowController::clearFileList()
{
    if (m_items.isEmpty() && !m_emptyState)
        return;
    m_items.clear();
    m_emptyState = false;
    Q_EMIT itemsChanged();
}

void PopoverWindowController::fetchMeData()
{
    if (!m_cachedMeData.isEmpty()) {
        Q_EMIT meDataChanged();
        return;
    }
    QPointer<PopoverWindowController> self(this);
    API::instance().getMe([self](bool success, const QVariant &result, const Error &) {
        if (!success || result.typeId() != QMetaType::QVariantMap)
            return;
        Dispatch::main([self, me = result.toMap()] {
            if (!self)
                return;
            self->m_cachedMeData = me;
            Q_EMIT self->meDataChanged();
        });
    });
}

// ---- Upload strip ---------------------------------------------------------------

PopoverWindowController::PersistedRecords PopoverWindowController::persistedRecords()
{
    if (m_recordsStale) {
        m_recordsStale = false;
        const QList<TLMultipartUploadStatePtr> records = TLMultipartUploadState::loadAllPendingUploads();
        m_records = { int(records.size()), records.isEmpty() ? 0.0f : records.first()->progress() };
        qCDebug(lcPopoverWindowController) << "records of interrupted uploads read:" << m_records.count;
    }
    return m_records;
}

void PopoverWindowController::scheduleUploadRefresh()
{
    // Progress comes many times a second and matters only to a shown strip
    // (opening the panel refreshes it): one refresh per turn of the loop.
    if (m_uploadRefreshPending || !isVisible())
        return;
    m_uploadRefreshPending = true;
    QPointer<PopoverWindowController> self(this);
    Dispatch::main([self] {
        if (!self)
            return;
        self->m_uploadRefreshPending = false;
        self->refreshUploadStatus();
    });
}

void PopoverWindowController::refreshUploadStatus()
{
    FileUploadQueue &queue = FileUploadQueue::sharedQueue();
    const QList<FileUploadTaskPtr> tasks = queue.currentTasks();
    const int queued = queue.queueLength();
    const float progress = queue.progress();
    const double speed = queue.speed();
    const bool multipart = queue.hasMultipartUploads();
    // Paused: every task left is a multipart upload held by its pause (from
    // the strip or from the status menu).
    const bool paused = !tasks.isEmpty() && std::all_of(tasks.begin(), tasks.end(), [](const FileUploadTaskPtr &t) {
        return t->isMultipartUpload() && t->multipartSession() && t->multipartSession()->isPaused();
    });
    // The records change only when an upload fails, the queue drains, or
    // they are retried or cancelled; not with every part's progress.
    const PersistedRecords records = persistedRecords();
    if (queued == 0 && records.count == 0)
        setUploadStrip({});
    else if (queued == 0)
        setUploadStrip({ true, 3, records.firstProgress, 0, true });
    else if (paused)
        setUploadStrip({ true, 2, progress, 0, true });
    else
        setUploadStrip({ true, 1, progress, speed, multipart || records.count > 0 });
}

void PopoverWindowController::setUploadStrip(const UploadStrip &strip)
{
    if (strip == m_strip)
        return;
    m_strip = strip;
    Q_EMIT uploadStripChanged();
}

void PopoverWindowController::cardClicked()
{
    if (m_strip.state == 3)
        NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::PopoverRetryUploadNotification));
}

void PopoverWindowController::cancelUpload()
{
    NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::PopoverCancelUploadNotification));
}

void PopoverWindowController::pauseUploads()
{
    m_uploadActions->pauseButtonClicked();
    setUploadStrip({ true, 2, m_strip.progress, 0, true });
    refreshUploadStatus();
}

void PopoverWindowController::resumeUploads()
{
    m_uploadActions->resumeButtonClicked();
    setUploadStrip({ true, 1, m_strip.progress, 0, true });
}

void PopoverWindowController::retryPersistedUploads()
{
    for (const TLMultipartUploadStatePtr &record : TLMultipartUploadState::loadAllPendingUploads()) {
        qCInfo(lcPopoverWindowController).noquote() << "retrying the upload of" << record->filePath();
        FileUploadQueue::sharedQueue().addTask(FileUploadTask::create(
            QUrl::fromLocalFile(record->filePath()), record->parentItem(), record->order(), nullptr));
    }
    m_recordsStale = true;
    refreshUploadStatus();
}

// ---- Notifications ----------------------------------------------------------------

void PopoverWindowController::setupNotifications()
{
    auto &center = NotificationCenter::defaultCenter();
    QPointer<PopoverWindowController> self(this);
    const auto onMain = [self](std::function<void(PopoverWindowController &)> fn) {
        return [self, fn](const Notification &) {
            Dispatch::main([self, fn] {
                if (self)
                    fn(*self);
            });
        };
    };
    center.addObserver(this, QString::fromLatin1(Notifications::BatchUploadProgressNotification),
        onMain([](PopoverWindowController &c) { c.scheduleUploadRefresh(); }));
    center.addObserver(this, QString::fromLatin1(Notifications::BatchUploadCompleteNotification),
        onMain([](PopoverWindowController &c) {
            c.m_recordsStale = true;
            if (c.persistedRecords().count == 0)
                c.setUploadStrip({});
            else
                c.setUploadStrip({ true, 3, FileUploadQueue::sharedQueue().progress(), 0, true });
        }));
    center.addObserver(this, QString::fromLatin1(Notifications::ScreenGrabberRecordingDidStartNotification),
        onMain([](PopoverWindowController &c) { c.setRecording(true); }));
    center.addObserver(this, QString::fromLatin1(Notifications::ScreenGrabberRecordingDidStopNotification),
        onMain([](PopoverWindowController &c) { c.setRecording(false); }));
    center.addObserver(this, QString::fromLatin1(Notifications::MultipartUploadFailedNotification),
        onMain([](PopoverWindowController &c) {
            c.m_recordsStale = true;
            c.setUploadStrip({ true, 3, c.persistedRecords().firstProgress, 0, true });
        }));
    center.addObserver(this, QString::fromLatin1(Notifications::PopoverProfileDidChangeNotification),
        onMain([](PopoverWindowController &c) {
            c.m_cachedFiles.reset();
            c.m_cachedDocuments.reset();
            c.m_cachedFolders.reset();
            c.m_cachedLinks.reset();
            c.m_cachedMeData.clear();
            Q_EMIT c.meDataChanged();
            c.loadItems();
            c.fetchMeData();
        }));
    center.addObserver(this, QString::fromLatin1(Notifications::PopoverCancelUploadNotification),
        onMain([](PopoverWindowController &c) {
            // The queue's uploads and the records no task is running: the
            // strip's cancel forgets both, or the failed strip would return.
            c.m_uploadActions->performAbortAllUploads();
            c.m_recordsStale = true;
            c.setUploadStrip({});
        }));
    center.addObserver(this, QString::fromLatin1(Notifications::PopoverRetryUploadNotification),
        onMain([](PopoverWindowController &c) { c.retryPersistedUploads(); }));
}

// ---- Action grid -------------------------------------------------------------------

void PopoverWindowController::setRecording(bool recording)
{
    if (m_recording == recording)
        return;
    m_recording = recording;
    Q_EMIT recordingChanged(recording);
}

void PopoverWindowController::performTile(const QString &title)
{
    static const QHash<QString, const char *> kSlots { { QStringLiteral("Region"), "captureScreen" },
        { QStringLiteral("Markup"), "markupScreen" }, { QStringLiteral("Record"), "recordScreen" },
        { QStringLiteral("Stop"), "stopRecording" }, { QStringLiteral("Clipboard"), "uploadClipboard" } };
    const char *slot = kSlots.value(title == QLatin1String("Record") && m_recording ? QStringLiteral("Stop") : title);
    if (!slot || !m_applicationController)
        return;
    // Captures need the screen without the panel on it.
    if (title != QLatin1String("Clipboard"))
        closePopover();
    QMetaObject::invokeMethod(m_applicationController, slot, Qt::QueuedConnection);
}

bool PopoverWindowController::isClipboardUsable() const
{
    return m_clipboard->isUsable();
}

bool PopoverWindowController::isClipboardMonitorRunning() const
{
    return m_clipboard->isRunning();
}

void PopoverWindowController::updateClipboardMonitorForWindowVisible(bool visible)
{
    if (visible)
        m_clipboard->start();
    else
        m_clipboard->stop();
}

void PopoverWindowController::openWebPage(const QString &pathAndQuery)
{
    closePopover();
    openLink(WebPage::url(pathAndQuery));
}

void PopoverWindowController::createDocument()
{
    openWebPage(QStringLiteral("/me/documents/new?domain=%1").arg(SettingsStore::instance().domain()));
}

void PopoverWindowController::createLink()
{
    openWebPage(QStringLiteral("/me/links/new?domain=%1").arg(SettingsStore::instance().domain()));
}

void PopoverWindowController::askForFile(bool directories, std::function<void(const QString &path)> chosen)
{
    // The dialog takes the focus from the panel; the panel stays meanwhile.
    suspendEventMonitor();
    QPointer<PopoverWindowController> self(this);
    const auto answered = [self, chosen = std::move(chosen)](const QString &path) {
        if (!self)
            return;
        self->resumeEventMonitor();
        if (!path.isEmpty())
            chosen(path);
    };
    if (m_chooseFile)
        m_chooseFile(directories, answered);
    else
        m_window->chooseFile(directories, answered);
}

void PopoverWindowController::chooseFileToUpload()
{
    askForFile(false, [](const QString &path) {
        API::instance().uploadFile(QUrl::fromLocalFile(path), [](bool, const QVariantMap &) {});
    });
}

void PopoverWindowController::chooseFolderToUpload()
{
    QPointer<PopoverWindowController> self(this);
    askForFile(true, [self](const QString &path) {
        if (self->m_uploadDirectory)
            self->m_uploadDirectory(path, false);
        Dispatch::after(1.0, self, [self] { self->loadFiles(); });
    });
}

void PopoverWindowController::emptyStateChooseFile()
{
    const bool folders = SettingsStore::instance().selectedMenuSegment() == 1;
    QPointer<PopoverWindowController> self(this);
    askForFile(folders, [self, folders](const QString &path) {
        if (!folders)
            API::instance().uploadFile(QUrl::fromLocalFile(path), [](bool, const QVariantMap &) {});
        else if (self->m_uploadDirectory)
            self->m_uploadDirectory(path, true);
    });
}

void PopoverWindowController::openLink(const QUrl &link)
{
    if (link.isEmpty())
        return;
    if (m_openUrl)
        m_openUrl(link);
    else
        QDesktopServices::openUrl(link);
}

void PopoverWindowController::copyLink(const QUrl &link)
{
    if (link.isEmpty())
        return;
    auto *data = new QMimeData;
    data->setText(link.toString());
    data->setUrls({ link });
    QGuiApplication::clipboard()->setMimeData(data);
    showToast(QStringLiteral("Link copied"));
}

void PopoverWindowController::selectProfile(const QString &name)
{
    if (name.isEmpty() || name == SettingsStore::instance().domain())
        return;
    SettingsStore::instance().setDomain(name);
    NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::PopoverProfileDidChangeNotification));
}

void PopoverWindowController::signIn()
{
    openWebPage(QStringLiteral("/auth/login?redirectTo=app"));
}

void PopoverWindowController::performApplicationAction(const char *slot)
{
    if (!m_applicationController)
        return;
    closePopover();
    QMetaObject::invokeMethod(m_applicationController, slot, Qt::QueuedConnection);
}

bool PopoverWindowController::isPromoDismissed() const
{
    return SettingsStore::instance().boolForKey(QString::fromLatin1(DefaultsKeys::IosPromoDismissed));
}

void PopoverWindowController::dismissPromo()
{
    SettingsStore::instance().setBool(true, QString::fromLatin1(DefaultsKeys::IosPromoDismissed));
    Q_EMIT loginStateChanged();
}

void PopoverWindowController::openPhoneAppPage()
{
    openWebPage(QStringLiteral("/apps"));
}

// ---- Drops ---------------------------------------------------------------------------

void PopoverWindowController::draggingEntered()
{
    m_dragEnteredDuringClick = true;
    m_eventMonitor->dragEntered();
    suspendEventMonitor();
    Q_EMIT dragOverChanged(true);
}

void PopoverWindowController::draggingExited()
{
    if (!m_dragEnteredDuringClick)
        return;
    m_dragEnteredDuringClick = false;
    resumeEventMonitor();
    Q_EMIT dragOverChanged(false);
}

void PopoverWindowController::performDrop(const QMimeData *data)
{
    const auto [files, unusable] = DropSorter::sort(data, [this](const QMimeData &part) {
        if (m_dropData)
            m_dropData(&part);
    });
    if (!unusable.isEmpty()) {
        qCInfo(lcPopoverWindowController).noquote()
            << "dropped addresses that cannot be uploaded:" << unusable.join(QStringLiteral(", "));
        showToast(unusable.size() == 1 ? QStringLiteral("1 dropped item cannot be uploaded")
                                       : QStringLiteral("%1 dropped items cannot be uploaded").arg(unusable.size()));
    }
    if (!files.isEmpty()) {
        popoverContentViewDidReceiveDroppedURLs(files);
        return;
    }
    draggingExited();
}

void PopoverWindowController::popoverContentViewDidReceiveDroppedURLs(const QList<QUrl> &urls)
{
    if (urls.isEmpty())
        return;
    if (QFileInfo(urls.first().toLocalFile()).isDir()) {
        if (m_uploadDirectory)
            m_uploadDirectory(urls.first().toLocalFile(), false);
    } else {
        for (const QUrl &url : urls)
            API::instance().uploadFile(url, [](bool, const QVariantMap &) {});
    }
    refreshUploadStatus();
    draggingExited();
    m_dragEnteredDuringClick = false;
    Dispatch::after(2.0, this, [this] { loadFiles(); });
}

// ---- Outside clicks -------------------------------------------------------------------

void PopoverWindowController::installEventMonitor()
{
    m_eventMonitor->install();
}

void PopoverWindowController::removeEventMonitor()
{
    m_eventMonitor->remove();
}

void PopoverWindowController::suspendEventMonitor()
{
    m_eventMonitor->suspend();
}

void PopoverWindowController::resumeEventMonitor()
{
    m_eventMonitor->resume();
}

bool PopoverWindowController::hasEventMonitor() const
{
    return m_eventMonitor->isInstalled();
}

void PopoverWindowController::clickedElsewhere()
{
    if (!isVisible())
        return;
    qCDebug(lcPopoverWindowController) << "clicked elsewhere; closing";
    closePopover();
    m_closedByMonitor.start();
}

// ---- Placement ---------------------------------------------------------------------------

QRectF PopoverWindowController::popoverFrame(const QRectF &buttonRect, const QRectF &visibleFrame)
{
    return PopoverPlacement::frame(QSizeF(kWidth, kHeight), buttonRect, visibleFrame);
}

QPoint PopoverWindowController::topLeftForAnchor(const QRect &anchor)
{
    return PopoverPlacement::topLeftForAnchor(QSizeF(kWidth, kHeight), anchor);
}
