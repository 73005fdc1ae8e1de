#pragma once

#include "api.h"
#include "segmentedcontrol.h"
#include "statusmenumodel.h"
#include "uploadprogressmenuitem.h"

#include <QMenu>
#include <QPointer>
#include <QVariantList>
#include <QWidgetAction>

#include <optional>

// The tray icon's context menu: capture and upload commands, the recent items
// of the selected segment ("Files", "Folders", "Links"), the upload and
// recording rows, and the dashboard, settings and quit commands. Signed out,
// it offers "Log in…" and "Create an account…" instead.
//
// Its commands are sent to `actionTarget` by slot name, the way a menu item
// names its action: captureScreen(), markupScreen(), recordScreen(),
// uploadSelection(), uploadClipboard(), openDashboard(), showSettings().
//
// The menu keeps itself current: each time it opens it picks the layout for
// the sign-in state, shows the stored shortcuts, loads the segment's list
// from the service and refreshes the upload row, and it follows the upload,
// recording and GIF notifications while it lives. Lists are cached per
// segment, so switching shows the last list at once while it reloads; a list
// whose items did not change leaves the rows as they are.
class StatusMenu : public QMenu
{
    Q_OBJECT
public:
    // Item tags, kept in each action's data().
    enum Tag {
        ListRowTag = 1,
        UploadSelectionTag = 2,
        CaptureScreenTag = 3,
        MarkupScreenTag = 4,
        UploadClipboardTag = 5,
        RecordScreenTag = 9,
        UploadingStatusTag = 100,
        RecordingStatusTag = 110,
        SegmentRowTag = 200,
    };

    explicit StatusMenu(QObject *actionTarget, QWidget *parent = nullptr);
    ~StatusMenu() override;

    // The layouts.
    void setup();
    void setupNotLoggedIn();
    // What opening the menu does (run on aboutToShow).
    void menuWillOpen();
    void setHotkeys();

    // Lists.
    void loadItems();
    void loadFiles();
    void loadFolders();
    void loadLinks();
    void displayItems(const QVariantList &items);
    void displayLinkItems(const QVariantList &links);
    void clearFileItems();
    void segmentChanged(int menuSegment);
    void switchToSegment(int storedSegment);
    void showCachedItemsForSegment(int storedSegment);

    void refreshUploadStatusItems();
    static QString formattedSpeed(double bytesPerSecond);
    // The clipboard holds file URLs or an image. (Spelled as it always was.)
    static bool cliboardIsValid();

    void login();
    void createAccount();

    QAction *itemWithTag(int tag) const;
    // An action's title without the shortcut column.
    static QString titleOf(const QAction *action);
    QList<QAction *> fileItems() const { return m_fileItems; }
    QAction *uploadClipboardItem() const { return m_uploadClipboardItem; }
    QWidgetAction *uploadingStatusItem() const { return m_uploadingStatusItem; }
    QAction *recordingStatusItem() const { return m_recordingStatusItem; }
    SegmentedControl *segmentedControl() const { return m_segmentedControl; }
    QWidgetAction *segmentedControlMenuItem() const { return m_segmentedControlMenuItem; }
    UploadProgressMenuItem *uploadProgressViewController() const { return m_uploadProgressViewController; }
    QVariantList cachedFiles() const { return m_cachedFiles; }
    QVariantList cachedFolders() const { return m_cachedFolders; }
    QVariantList cachedLinks() const { return m_cachedLinks; }

    // The application's own recorder runs: "Stop recording" shows, and
    // choosing it asks for the stop (the capture tool's recordings are
    // followed through their notifications).
    void setRecording(bool recording);

Q_SIGNALS:
    void stopRecordingRequested();
    // The rows of a list were rebuilt (not emitted when a reload found the
    // same items).
    void itemsDisplayed();
    // A list arrived from the service (and is cached), rebuilt or not.
    void itemsLoaded();

private:
    enum class RowKind { Files, Links };
    void observeNotifications();
    QAction *addCommand(const QString &title, int tag, const char *slot, const QIcon &icon = {});
    void display(const QVariantList &items, RowKind kind);
    API::Completion listCompletion(StatusMenuModel::List list);
    void scheduleUploadRefresh();
    void keepOnScreen();
    void onRecordingDidStart();
    void onRecordingDidStop();
    void onEncodingDidStart();
    void onEncodingDidStop();

    QPointer<QObject> m_target;
    bool m_recording = false; // the application's recorder
    QList<QAction *> m_fileItems;
    QList<QAction *> m_uploadStatusItems;
    QPointer<QAction> m_uploadClipboardItem;
    QPointer<QWidgetAction> m_uploadingStatusItem;
    QPointer<QAction> m_recordingStatusItem;
    QPointer<SegmentedControl> m_segmentedControl;
    QPointer<QWidgetAction> m_segmentedControlMenuItem;
    QPointer<UploadProgressMenuItem> m_uploadProgressViewController;
    QVariantList m_cachedFiles;
    QVariantList m_cachedFolders;
    QVariantList m_cachedLinks;
    // The items the rows show: none when there are no rows, an empty list
    // under the empty-state row (whose text is kept too).
    std::optional<QVariantList> m_shownItems;
    QString m_shownEmptyText;
    bool m_uploadRefreshPending = false;
    bool m_encoding = false;
};
