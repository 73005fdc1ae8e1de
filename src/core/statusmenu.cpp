#include "statusmenu.h"

#include "webpage.h"

#include "api.h"
#include "filemenuitemviewcontroller.h"
#include "fileuploadqueue.h"
#include "keyequivalent.h"
#include "linkmenuitemviewcontroller.h"
#include "menuicons.h"
#include "multipartuploadsession.h"
#include "multipartuploadstate.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "screengrabber.h"
#include "segmentedcontrol.h"
#include "serviceconfig.h"
#include "settingsstore.h"
#include "statusmenumodel.h"
#include "uploadprogressmenuitem.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLoggingCategory>
#include <QMimeData>
#include <QScreen>
#include <QWidgetAction>

Q_LOGGING_CATEGORY(lcStatusMenu, "tessly.core.statusmenu")

namespace {

const QString kLogInTitle = QStringLiteral("Log in\u2026");

// The segment row: 320 by 28 with the switch at 10, 2, 300 by 24.
constexpr int kSegmentRowWidth = 320;
constexpr int kSegmentRowHeight = 28;

QColor menuTextColor()
{
    return QApplication::palette("QMenu").color(QPalette::Text);
}

} // namespace

StatusMenu::StatusMenu(QObject *actionTarget, QWidget *parent)
    : QMenu(parent)
    , m_target(actionTarget)
{
    setToolTipsVisible(true);
    connect(this, &QMenu::aboutToShow, this, &StatusMenu::menuWillOpen);
    observeNotifications();
    setup();
    if (!SettingsStore::instance().token().isEmpty())
        loadItems();
}

StatusMenu::~StatusMenu()
{
    NotificationCenter::defaultCenter().removeObserver(this);
}

void StatusMenu::observeNotifications()
{
    auto &center = NotificationCenter::defaultCenter();
    // Observers are called on the posting thread; rows are touched on ours.
    const auto onMain = [this](void (StatusMenu::*handler)()) {
        return [this, handler](const Notification &) {
            QMetaObject::invokeMethod(
                this, [this, handler] { (this->*handler)(); }, Qt::QueuedConnection);
        };
    };
    center.addObserver(this, Notifications::BatchUploadProgressNotification,
        [this](const Notification &) { scheduleUploadRefresh(); });
    center.addObserver(this, Notifications::BatchUploadCompleteNotification,
        [this](const Notification &) { scheduleUploadRefresh(); });
    center.addObserver(this, Notifications::MultipartUploadFailedNotification,
        [this](const Notification &) { scheduleUploadRefresh(); });
    center.addObserver(
        this, Notifications::ScreenGrabberRecordingDidStartNotification, onMain(&StatusMenu::onRecordingDidStart));
    center.addObserver(
        this, Notifications::ScreenGrabberRecordingDidStopNotification, onMain(&StatusMenu::onRecordingDidStop));
    center.addObserver(this, Notifications::TLNotificationGIFCreationBegan, onMain(&StatusMenu::onEncodingDidStart));
    center.addObserver(this, Notifications::TLNotificationGIFCreationComplete, onMain(&StatusMenu::onEncodingDidStop));
}

QAction *StatusMenu::addCommand(const QString &title, int tag, const char *slot, const QIcon &icon)
{
    QAction *action = addAction(icon, title);
    action->setData(tag);
    const QByteArray method(slot);
    connect(action, &QAction::triggered, this, [this, method] {
        if (!m_target || !QMetaObject::invokeMethod(m_target, method.constData()))
            qCWarning(lcStatusMenu).noquote() << "Nobody handles" << method;
    });
    return action;
}

void StatusMenu::setup()
{
    clear();
    m_fileItems.clear();
    m_uploadStatusItems.clear();
    m_shownItems.reset();
    const QColor iconColor = menuTextColor();

    m_uploadProgressViewController = new UploadProgressMenuItem;
    m_uploadingStatusItem = new QWidgetAction(this);
    m_uploadingStatusItem->setDefaultWidget(m_uploadProgressViewController);
    m_uploadingStatusItem->setData(UploadingStatusTag);
    m_uploadingStatusItem->setVisible(false);
    addAction(m_uploadingStatusItem);
    m_uploadStatusItems << m_uploadingStatusItem;

    m_recordingStatusItem = addAction(MenuIcons::themed(QStringLiteral("media-playback-stop"), iconColor),
        QStringLiteral("Stop recording"), &ScreenGrabber::instance(), &ScreenGrabber::endRecording);
    connect(m_recordingStatusItem, &QAction::triggered, this, [this] {
        if (m_recording)
            Q_EMIT stopRecordingRequested();
    });
    m_recordingStatusItem->setData(RecordingStatusTag);
    m_recordingStatusItem->setVisible(false);
    m_uploadStatusItems << m_recordingStatusItem;
    if (m_encoding)
        onEncodingDidStart();
    else if (m_recording || ScreenGrabber::instance().isRecording())
        onRecordingDidStart();

    addCommand(QStringLiteral("Upload selected file"), UploadSelectionTag, "uploadSelection",
        MenuIcons::themed(QStringLiteral("system-file-manager"), iconColor));
    addCommand(QStringLiteral("Share Screenshot"), CaptureScreenTag, "captureScreen",
        MenuIcons::themed(QStringLiteral("applets-screenshooter"), iconColor));
    addCommand(QStringLiteral("Share Screenshot with Markup"), MarkupScreenTag, "markupScreen",
        MenuIcons::themed(QStringLiteral("document-edit"), iconColor));
    addCommand(QStringLiteral("Record Screen"), RecordScreenTag, "recordScreen",
        MenuIcons::themed(QStringLiteral("media-record"), iconColor));
    m_uploadClipboardItem = addCommand(QStringLiteral("Upload from Clipboard"), UploadClipboardTag, "uploadClipboard",
        MenuIcons::themed(QStringLiteral("edit-paste"), iconColor));
    addSeparator();

    auto *row = new QWidget;
    row->setFixedHeight(kSegmentRowHeight);
    row->setMinimumWidth(kSegmentRowWidth);
    auto *rowLayout = new QHBoxLayout(row);
    rowLayout->setContentsMargins(10, 2, 10, 2);
    m_segmentedControl
        = new SegmentedControl({ QStringLiteral("Files"), QStringLiteral("Folders"), QStringLiteral("Links") }, row);
    m_segmentedControl->setSelectedSegment(
        StatusMenuModel::menuSegmentForStoredSegment(SettingsStore::instance().selectedMenuSegment()));
    rowLayout->addWidget(m_segmentedControl);
    connect(m_segmentedControl, &SegmentedControl::segmentChanged, this, &StatusMenu::segmentChanged);
    m_segmentedControlMenuItem = new QWidgetAction(this);
    m_segmentedControlMenuItem->setDefaultWidget(row);
    m_segmentedControlMenuItem->setData(SegmentRowTag);
    addAction(m_segmentedControlMenuItem);

    addCommand(QStringLiteral("Open dashboard\u2026"), 0, "openDashboard");
    addSeparator();
    addCommand(QStringLiteral("Settings\u2026"), 0, "showSettings");
    addAction(QStringLiteral("Quit"), qApp, &QCoreApplication::quit);
    setHotkeys();
}

void StatusMenu::setupNotLoggedIn()
{
    clear();
    m_fileItems.clear();
    m_uploadStatusItems.clear();
    m_shownItems.reset();
    addAction(kLogInTitle, this, &StatusMenu::login);
    addAction(QStringLiteral("Create an account\u2026"), this, &StatusMenu::createAccount);
    addSeparator();
    addAction(QStringLiteral("Quit"), qApp, &QCoreApplication::quit);
}

void StatusMenu::menuWillOpen()
{
    if (SettingsStore::instance().token().isEmpty()) {
        setupNotLoggedIn();
        return;
    }
    const QList<QAction *> items = actions();
    if (items.isEmpty() || items.first()->text() == kLogInTitle)
        setup();
    setHotkeys();
    m_segmentedControl->setSelectedSegment(
        StatusMenuModel::menuSegmentForStoredSegment(SettingsStore::instance().selectedMenuSegment()));
    loadItems();
    refreshUploadStatusItems();
    if (m_uploadClipboardItem)
        m_uploadClipboardItem->setVisible(cliboardIsValid());
}

void StatusMenu::setHotkeys()
{
    SettingsStore &settings = SettingsStore::instance();
    const QList<std::pair<int, QString>> hotkeys { { UploadSelectionTag, settings.uploadFileHotkey() },
        { CaptureScreenTag, settings.screenshotHotkey() }, { MarkupScreenTag, settings.markupHotkey() },
        { RecordScreenTag, settings.recordScreenHotKey() }, { UploadClipboardTag, settings.clipboardHotKey() } };
    for (const auto &[tag, stored] : hotkeys) {
        QAction *action = itemWithTag(tag);
        if (!action)
            continue;
        const QString shortcut = KeyEquivalent::fromString(stored).displayText();
        const QString title = titleOf(action);
        action->setText(shortcut.isEmpty() ? title : title + QLatin1Char('\t') + shortcut);
    }
}

QAction *StatusMenu::itemWithTag(int tag) const
{
    for (QAction *action : actions()) {
        if (action->data().toInt() == tag && !action->isSeparator())
            return action;
    }
    return nullptr;
}

QString StatusMenu::titleOf(const QAction *action)
{
    return action->text().section(QLatin1Char('\t'), 0, 0);
}

void StatusMenu::loadItems()
{
    switch (StatusMenuModel::listForStoredSegment(SettingsStore::instance().selectedMenuSegment())) {
    case StatusMenuModel::List::Folders:
        loadFolders();
        break;
    case StatusMenuModel::List::Links:
        loadLinks();
        break;
    case StatusMenuModel::List::Files:
        loadFiles();
        break;
    }
}

API::Completion StatusMenu::listCompletion(StatusMenuModel::List list)
{
    QPointer<StatusMenu> self(this);
    return [self, list](bool success, const QVariant &result, const Error &) {
        if (!self || !success)
            return; // a failed request changes nothing
        QVariantList &cache = list == StatusMenuModel::List::Files ? self->m_cachedFiles
            : list == StatusMenuModel::List::Folders               ? self->m_cachedFolders
                                                                   : self->m_cachedLinks;
        cache = list == StatusMenuModel::List::Files ? StatusMenuModel::filesFromAnswer(result)
                                                     : StatusMenuModel::itemsFromAnswer(result);
        // An answer for a list the menu no longer shows is only cached.
        const int stored = SettingsStore::instance().selectedMenuSegment();
        if (StatusMenuModel::listForStoredSegment(stored) == list)
            self->display(cache, list == StatusMenuModel::List::Links ? RowKind::Links : RowKind::Files);
        Q_EMIT self->itemsLoaded();
    };
}

void StatusMenu::loadFiles()
{
    API::instance().getFiles(listCompletion(StatusMenuModel::List::Files));
}

void StatusMenu::loadFolders()
{
    API::instance().getFolders(listCompletion(StatusMenuModel::List::Folders));
}

void StatusMenu::loadLinks()
{
    API::instance().getLinks(listCompletion(StatusMenuModel::List::Links));
}

void StatusMenu::displayItems(const QVariantList &items)
{
    display(items, RowKind::Files);
}

void StatusMenu::displayLinkItems(const QVariantList &links)
{
    display(links, RowKind::Links);
}

void StatusMenu::display(const QVariantList &items, RowKind kind)
{
    const QString emptyText
        = StatusMenuModel::emptyTextForStoredSegment(SettingsStore::instance().selectedMenuSegment());
    if (m_shownItems && StatusMenuModel::sameItems(*m_shownItems, items)
        && (!items.isEmpty() || emptyText == m_shownEmptyText))
        return;
    if (!m_segmentedControlMenuItem)
        return; // signed out: no list
    clearFileItems();
    const QList<QAction *> all = actions();
    const qsizetype segmentRow = all.indexOf(m_segmentedControlMenuItem.data());
    QAction *before = segmentRow + 1 < all.size() ? all[segmentRow + 1] : nullptr;
    if (items.isEmpty()) {
        auto *empty = new QAction(emptyText, this);
        empty->setEnabled(false);
        empty->setData(ListRowTag);
        insertAction(before, empty);
        m_fileItems << empty;
    } else {
        // Each row goes just below the switch, last item first, so that the
        // rows end up in the list's order.
        for (auto it = items.crbegin(); it != items.crend(); ++it) {
            QAction *row = kind == RowKind::Links
                ? static_cast<QAction *>(new LinkMenuItemViewController(it->toMap(), this))
                : new FileMenuItemViewController(it->toMap(), this);
            insertAction(before, row);
            before = row;
            m_fileItems.prepend(row);
        }
    }
    m_shownItems = items;
    m_shownEmptyText = emptyText;
    keepOnScreen();
    Q_EMIT itemsDisplayed();
}

void StatusMenu::clearFileItems()
{
    for (QAction *action : actions()) {
        if (action->data().toInt() == ListRowTag) {
            removeAction(action);
            action->deleteLater();
        }
    }
    m_fileItems.clear();
    m_shownItems.reset();
}

void StatusMenu::segmentChanged(int menuSegment)
{
    const int stored = StatusMenuModel::storedSegmentForMenuSegment(menuSegment);
    SettingsStore::instance().setSelectedMenuSegment(stored);
    clearFileItems();
    showCachedItemsForSegment(stored);
    loadItems();
}

void StatusMenu::switchToSegment(int storedSegment)
{
    if (m_segmentedControl)
        m_segmentedControl->setSelectedSegment(StatusMenuModel::menuSegmentForStoredSegment(storedSegment));
    SettingsStore::instance().setSelectedMenuSegment(storedSegment);
    clearFileItems();
    showCachedItemsForSegment(storedSegment);
    loadItems();
}

void StatusMenu::showCachedItemsForSegment(int storedSegment)
{
    switch (StatusMenuModel::listForStoredSegment(storedSegment)) {
    case StatusMenuModel::List::Links:
        if (!m_cachedLinks.isEmpty())
            displayLinkItems(m_cachedLinks);
        break;
    case StatusMenuModel::List::Folders:
        if (!m_cachedFolders.isEmpty())
            displayItems(m_cachedFolders);
        break;
    case StatusMenuModel::List::Files:
        if (!m_cachedFiles.isEmpty())
            displayItems(m_cachedFiles);
        break;
    }
}

void StatusMenu::scheduleUploadRefresh()
{
    // Progress comes many times a second: one refresh per turn of the loop.
    if (m_uploadRefreshPending)
        return;
    m_uploadRefreshPending = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_uploadRefreshPending = false;
            refreshUploadStatusItems();
        },
        Qt::QueuedConnection);
}

void StatusMenu::refreshUploadStatusItems()
{
    qCInfo(lcStatusMenu).noquote() << "refreshUploadStatusItems";
    if (!m_uploadingStatusItem || !m_uploadProgressViewController)
        return;
    FileUploadQueue &queue = FileUploadQueue::sharedQueue();
    StatusMenuModel::UploadSnapshot snapshot;
    snapshot.queueLength = queue.queueLength();
    snapshot.progress = queue.progress();
    snapshot.speed = queue.speed();
    snapshot.hasMultipartUploads = queue.hasMultipartUploads();
    const QList<FileUploadTaskPtr> tasks = queue.currentTasks();
    snapshot.allPaused = !tasks.isEmpty() && std::all_of(tasks.begin(), tasks.end(), [](const FileUploadTaskPtr &t) {
        return t->isMultipartUpload() && t->multipartSession() && t->multipartSession()->isPaused();
    });
    if (snapshot.queueLength == 0) {
        // Only an idle queue needs the records read from disk.
        const QList<TLMultipartUploadStatePtr> persisted = TLMultipartUploadState::loadAllPendingUploads();
        snapshot.persistedCount = int(persisted.size());
        if (!persisted.isEmpty())
            snapshot.firstPersistedProgress = persisted.first()->progress();
    }
    const StatusMenuModel::UploadRow row = StatusMenuModel::uploadRow(snapshot);
    if (row.visible)
        m_uploadProgressViewController->updateWithProgress(row.progress, row.speed, row.state, row.hasMultipartUploads);
    m_uploadingStatusItem->setVisible(row.visible);
    m_uploadProgressViewController->update();
    keepOnScreen();
}

void StatusMenu::keepOnScreen()
{
    // Rows that arrive while the menu is open make it grow from where it was
    // placed, which under a tray in a screen's corner is past the edge.
    if (!isVisible() || !screen())
        return;
    const QRect area = screen()->availableGeometry();
    QRect frame(pos(), sizeHint());
    if (frame.right() > area.right())
        frame.moveRight(area.right());
    if (frame.bottom() > area.bottom())
        frame.moveBottom(area.bottom());
    if (frame.left() < area.left())
        frame.moveLeft(area.left());
    if (frame.top() < area.top())
        frame.moveTop(area.top());
    if (frame != geometry())
        setGeometry(frame);
}

QString StatusMenu::formattedSpeed(double bytesPerSecond)
{
    return StatusMenuModel::formattedSpeed(bytesPerSecond);
}

bool StatusMenu::cliboardIsValid()
{
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    if (!data)
        return false;
    if (data->hasImage() || data->hasFormat(QStringLiteral("x-special/gnome-copied-files")))
        return true;
    const QList<QUrl> urls = data->urls();
    return std::any_of(urls.begin(), urls.end(), [](const QUrl &url) { return url.isLocalFile(); });
}

void StatusMenu::login()
{
    QDesktopServices::openUrl(WebPage::url(QStringLiteral("/auth/login?redirectTo=app")));
}

void StatusMenu::createAccount()
{
    QDesktopServices::openUrl(WebPage::url(QStringLiteral("/get-started")));
}

void StatusMenu::setRecording(bool recording)
{
    m_recording = recording;
    if (recording)
        onRecordingDidStart();
    else if (!ScreenGrabber::instance().isRecording())
        onRecordingDidStop();
}

void StatusMenu::onRecordingDidStart()
{
    if (m_recordingStatusItem)
        m_recordingStatusItem->setVisible(true);
}

void StatusMenu::onRecordingDidStop()
{
    if (m_recordingStatusItem)
        m_recordingStatusItem->setVisible(false);
}

void StatusMenu::onEncodingDidStart()
{
    m_encoding = true;
    if (!m_recordingStatusItem)
        return;
    m_recordingStatusItem->setVisible(true);
    m_recordingStatusItem->setText(QStringLiteral("Encoding gif..."));
    m_recordingStatusItem->setEnabled(false);
}

void StatusMenu::onEncodingDidStop()
{
    m_encoding = false;
    if (!m_recordingStatusItem)
        return;
    m_recordingStatusItem->setVisible(false);
    m_recordingStatusItem->setText(QStringLiteral("Stop recording"));
    m_recordingStatusItem->setEnabled(true);
}
