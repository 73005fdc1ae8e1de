#pragma once

#include <QElapsedTimer>
#include <QKeySequence>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QUrl>
#include <QVariant>

#include <functional>
#include <optional>

class ClipboardWatcher;
class OutsideClickMonitor;
class PopoverWindow;
class QMimeData;
class UploadProgressModel;

// The dashboard panel under the tray icon: where it goes, what it lists and
// when it closes. It loads the selected tab's recent items from the service
// and keeps each tab's last answer, so a tab shows at once and refreshes when
// the answer arrives; it follows the upload queue and the records of
// interrupted uploads for the upload strip, takes drops, and closes when
// another application is clicked (OutsideClickMonitor).
//
// Everything the panel shows is state here; PopoverWindow only draws it, so
// tests drive this class without looking at pixels. Where the panel goes is
// PopoverPlacement's.
//
// Tabs (the stored selectedMenuSegment): 0 files (and any other value),
// 1 folders, 2 documents, 3 links.
class PopoverWindowController : public QObject
{
    Q_OBJECT
public:
    static constexpr int kWidth = 420;
    static constexpr int kHeight = 580;

    // `applicationController` receives the tiles' actions by slot name
    // ("captureScreen", "markupScreen", "recordScreen", "stopRecording",
    // "uploadClipboard", "showSettings", "openDashboard").
    explicit PopoverWindowController(QObject *applicationController, QObject *parent = nullptr);
    ~PopoverWindowController() override;

    // What the application controller does for the panel.
    using DirectoryUploader = std::function<void(const QString &path, bool launchOnComplete)>;
    void setDirectoryUploader(DirectoryUploader uploader) { m_uploadDirectory = std::move(uploader); }
    // Drops that carry no local file (web addresses, images, promised files).
    using DataDropHandler = std::function<void(const QMimeData *data)>;
    void setDataDropHandler(DataDropHandler handler) { m_dropData = std::move(handler); }
    using UrlOpener = std::function<void(const QUrl &url)>;
    void setUrlOpener(UrlOpener opener) { m_openUrl = std::move(opener); }
    // Asks for one file (or folder); calls back with its path, empty when
    // cancelled. A file dialog unless replaced.
    using FileChooser = std::function<void(bool directories, std::function<void(const QString &path)> chosen)>;
    void setFileChooser(FileChooser chooser) { m_chooseFile = std::move(chooser); }

    // The stored "Upload a File" shortcut as menus show it.
    using ShortcutReader = std::function<QKeySequence()>;
    void setUploadFileShortcutReader(ShortcutReader reader) { m_uploadFileShortcut = std::move(reader); }
    QKeySequence uploadFileShortcut() const { return m_uploadFileShortcut ? m_uploadFileShortcut() : QKeySequence(); }

    PopoverWindow *window() const { return m_window; }
    bool isVisible() const;
    // With "show in taskbar" the panel is a normal window listed there.
    bool showsInTaskbar() const;
    void setShowsInTaskbar(bool shows);

    // `anchor`: the tray icon's geometry, or a 1x1 rectangle at the pointer.
    void togglePopoverRelativeToView(const QRect &anchor);
    void showPopoverRelativeToView(const QRect &anchor);
    void closePopover();
    void showToast(const QString &text);
    QString toastText() const { return m_toast; }

    void switchToSegment(int segment);
    void tabChanged(int segment);
    void loadFiles() { loadItems(); }
    void loadItems();
    void fetchMeData();
    void updateForLoginState();
    bool isLoggedIn() const { return m_loggedIn; }
    int selectedSegment() const;
    QString nounForCurrentSegment() const;

    // The list as shown.
    QVariantList items() const { return m_items; }
    bool showsLinks() const { return m_showsLinks; }
    bool showsEmptyState() const { return m_emptyState; }
    std::optional<QVariantList> cachedItems(int segment) const; // the cache the loader fills
    // Fills the cache the loader of `segment` fills, as its answer would.
    void setCachedItems(int segment, const QVariantList &items);
    QVariantMap cachedMeData() const { return m_cachedMeData; }

    // The upload strip.
    struct UploadStrip
    {
        bool visible = false;
        int state = 0; // 1 uploading, 2 paused, 3 failed
        float progress = 0;
        double speed = 0;
        bool multipart = false;
        bool operator==(const UploadStrip &) const = default;
    };
    UploadStrip uploadStrip() const { return m_strip; }
    void refreshUploadStatus();
    // The strip's card: a click retries only when the strip shows a failure.
    void cardClicked();
    void cancelUpload();
    // The strip's pause and resume act on the running multipart uploads.
    void pauseUploads();
    void resumeUploads();

    // The action grid.
    bool isRecording() const { return m_recording; }
    void setRecording(bool recording);
    bool isClipboardUsable() const;
    bool isClipboardMonitorRunning() const;
    void updateClipboardMonitorForWindowVisible(bool visible);
    // "Region", "Markup", "Record" (or "Stop"), "Clipboard".
    void performTile(const QString &title);
    // The "More" menu's entries.
    void createDocument();
    void createLink();
    void chooseFileToUpload();
    void chooseFolderToUpload();
    void emptyStateChooseFile();
    void openLink(const QUrl &link);
    void copyLink(const QUrl &link);
    // The header's profile menu: another profile becomes the stored one.
    void selectProfile(const QString &name);
    // The signed-out layout's "Sign In": the service's sign-in page.
    void signIn();
    // One of the application controller's actions, by slot name.
    void performApplicationAction(const char *slot);
    // The phone-app card.
    bool isPromoDismissed() const;
    void dismissPromo();
    void openPhoneAppPage();

    // Drops onto the panel.
    void draggingEntered();
    void draggingExited();
    bool isDragOver() const { return m_dragEnteredDuringClick; }
    void performDrop(const QMimeData *data);
    void popoverContentViewDidReceiveDroppedURLs(const QList<QUrl> &urls);

    // The outside-click monitor.
    void installEventMonitor();
    void removeEventMonitor();
    void suspendEventMonitor();
    void resumeEventMonitor();
    bool hasEventMonitor() const;

    // The panel's frame by the placement rule (PopoverPlacement), and its
    // top-left corner in Qt's global coordinates for an anchor there.
    static QRectF popoverFrame(const QRectF &buttonRect, const QRectF &visibleFrame);
    static QPoint topLeftForAnchor(const QRect &anchor);

Q_SIGNALS:
    void itemsChanged();
    // An answer of `segment` arrived and is shown.
    void itemsLoaded(int segment);
    void meDataChanged();
    void loginStateChanged();
    void segmentChanged(int segment);
    void uploadStripChanged();
    void recordingChanged(bool recording);
    void clipboardUsableChanged(bool usable);
    void dragOverChanged(bool over);
    void toastChanged(const QString &text);
    void visibilityChanged(bool visible);

private:
    void setupNotifications();
    // The account and the list of the opened panel, asked for once.
    void refreshShownPanel();
    void loadSegment(int segment);
    void displayItems(const QVariantList &items, bool links);
    // False when the segment has no cache yet.
    bool showCachedItemsForSegment(int segment);
    void clearFileList();
    void setUploadStrip(const UploadStrip &strip);
    void scheduleUploadRefresh();
    struct PersistedRecords
    {
        int count = 0;
        float firstProgress = 0; // the most recent record's
    };
    // The records on disk, read again only after something may have changed them.
    PersistedRecords persistedRecords();
    void retryPersistedUploads();
    void clickedElsewhere();
    void openWebPage(const QString &pathAndQuery);
    // The file chooser with the outside-click monitor held; `chosen` only
    // for an answer with a path, while this controller lives.
    void askForFile(bool directories, std::function<void(const QString &path)> chosen);

    QPointer<QObject> m_applicationController;
    UploadProgressModel *m_uploadActions;
    ClipboardWatcher *m_clipboard;
    PopoverWindow *m_window = nullptr;
    DirectoryUploader m_uploadDirectory;
    DataDropHandler m_dropData;
    UrlOpener m_openUrl;
    FileChooser m_chooseFile;
    ShortcutReader m_uploadFileShortcut;

    std::optional<QVariantList> m_cachedFiles;
    std::optional<QVariantList> m_cachedFolders;
    std::optional<QVariantList> m_cachedDocuments;
    std::optional<QVariantList> m_cachedLinks;
    QVariantMap m_cachedMeData;
    QVariantList m_items;
    bool m_showsLinks = false;
    bool m_refreshPending = false;
    bool m_emptyState = false;
    bool m_loggedIn = false;
    QString m_toast;
    quint64 m_toastSerial = 0;

    UploadStrip m_strip;
    PersistedRecords m_records;
    bool m_recordsStale = true;
    bool m_uploadRefreshPending = false;
    bool m_recording = false;

    bool m_dragEnteredDuringClick = false;
    OutsideClickMonitor *m_eventMonitor = nullptr;
    QElapsedTimer m_closedByMonitor;
};
