// The status menu against the real reference service, opened offscreen: its
// two layouts, the lists of each segment with their cache and the no-rebuild
// rule, the clipboard entry, and the upload row acting on a real multipart
// upload (pause, resume, cancel, retry from the records on disk).
#include "api.h"
#include "fileuploadqueue.h"
#include "logcapture.h"
#include "multipartuploadsession.h"
#include "multipartuploadstate.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "referenceserver.h"
#include "remoteitemmenuaction.h"
#include "segmentedcontrol.h"
#include "settingsstore.h"
#include "statusmenu.h"
#include "testfiles.h"
#include "uploadprogressmenuitem.h"

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QMimeData>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QWidgetAction>

namespace {

// What the menu's actions call by name.
class Target : public QObject
{
    Q_OBJECT
public:
    QStringList calls;
public Q_SLOTS:
    void captureScreen() { calls << QStringLiteral("captureScreen"); }
    void uploadClipboard() { calls << QStringLiteral("uploadClipboard"); }
};

QStringList texts(const QList<QAction *> &actions)
{
    QStringList list;
    for (const QAction *action : actions)
        list << action->text();
    return list;
}

QStringList titles(const QList<QAction *> &actions)
{
    QStringList list;
    for (const QAction *action : actions)
        list << StatusMenu::titleOf(action);
    return list;
}

} // namespace

class TestStatusMenu : public QObject
{
    Q_OBJECT
private:
    ReferenceServer server;
    QTemporaryDir dir;
    QString token;
    QString emptyToken;

    // Waits until the queue drains.
    static bool drain(int timeoutMs = 60000)
    {
        bool drained = false;
        QObject observer;
        NotificationCenter::defaultCenter().addObserver(
            &observer, Notifications::BatchUploadCompleteNotification, [&](const Notification &) { drained = true; });
        return QTest::qWaitFor([&] { return drained; }, timeoutMs);
    }

    static void call(const std::function<void(API::Completion)> &request)
    {
        bool done = false;
        request([&](bool success, const QVariant &, const Error &error) {
            QVERIFY2(success, qPrintable(error.toString()));
            done = true;
        });
        QTRY_VERIFY(done);
    }

    // Opens the menu offscreen (aboutToShow runs) and waits for its list.
    static void open(StatusMenu &menu)
    {
        menu.close();
        QSignalSpy loaded(&menu, &StatusMenu::itemsLoaded);
        menu.popup(QPoint(10, 10));
        if (menu.segmentedControl())
            QVERIFY(loaded.wait(10000));
    }

    static QAbstractButton *segmentButton(StatusMenu &menu, int segment)
    {
        return menu.segmentedControl()->findChildren<QAbstractButton *>().value(segment);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        ReferenceServer::Options options;
        options.partSize = 8 * 1024 * 1024;
        QVERIFY2(server.start(options), qPrintable(server.errorString()));
        emptyToken
            = server.addUser(QStringLiteral("e@example.com"), QStringLiteral("secret-pass"), QStringLiteral("empty"));
        token = server.signIn(QStringLiteral("menu"));
        QVERIFY(!token.isEmpty() && !emptyToken.isEmpty());
        qputenv("TESSLY_WEB_DOMAIN", server.webDomain().toUtf8());

        // Three files one after the other (the newest is listed first), a
        // folder and two links.
        const QStringList names { QStringLiteral("notes.txt"),
            QStringLiteral("Q&A with a rather long name that "
                           "goes on and on until it cannot fit.pdf"),
            QStringLiteral("shot.png") };
        for (const QString &name : names) {
            API::instance().uploadFile(QUrl::fromLocalFile(TestFiles::random(dir.path(), name, 3000)), {});
            QVERIFY(drain());
        }
        call([](API::Completion c) { API::instance().createFolderWithName("Holiday", {}, {}, std::move(c)); });
        call([](API::Completion c) { API::instance().createLinkWithURL("https://example.org/a", std::move(c)); });
        call([](API::Completion c) { API::instance().createLinkWithURL("https://www.example.com/b/c", std::move(c)); });
    }

    void init()
    {
        QVERIFY(server.setFaults(QStringLiteral("off")));
        SettingsStore::instance().setToken(token);
        SettingsStore::instance().setDomain(QStringLiteral("menu"));
        SettingsStore::instance().setSelectedMenuSegment(0);
    }

    void layoutsFollowTheSignInStateOnEachOpening()
    {
        Target target;
        StatusMenu menu(&target);
        SettingsStore::instance().setScreenshotHotkey(QStringLiteral("\u2303\u21e74"));
        SettingsStore::instance().setMarkupHotkey(QString());
        open(menu);
        QList<std::pair<int, QString>> layout;
        for (QAction *action : menu.actions()) {
            if (action->data().toInt() != StatusMenu::ListRowTag)
                layout.append({ action->data().toInt(), action->isSeparator() ? "-" : StatusMenu::titleOf(action) });
        }
        const QList<std::pair<int, QString>> expected { { 100, "" }, { 110, "Stop recording" },
            { 2, "Upload selected file" }, { 3, "Share Screenshot" }, { 4, "Share Screenshot with Markup" },
            { 9, "Record Screen" }, { 5, "Upload from Clipboard" }, { 0, "-" }, { 200, "" },
            { 0, "Open dashboard\u2026" }, { 0, "-" }, { 0, "Settings\u2026" }, { 0, "Quit" } };
        QCOMPARE(layout, expected);
        QVERIFY(!menu.uploadingStatusItem()->isVisible());
        QVERIFY(!menu.recordingStatusItem()->isVisible());
        // While the application records, "Stop recording" shows (also in a
        // menu built meanwhile) and asks for the stop.
        QSignalSpy stops(&menu, &StatusMenu::stopRecordingRequested);
        menu.setRecording(true);
        menu.setup();
        QVERIFY(menu.recordingStatusItem()->isVisible());
        menu.recordingStatusItem()->trigger();
        QCOMPARE(stops.size(), 1);
        menu.setRecording(false);
        QVERIFY(!menu.recordingStatusItem()->isVisible());

        // Shortcuts show the Linux way; a cleared one shows none.
        QCOMPARE(menu.itemWithTag(3)->text(), QStringLiteral("Share Screenshot\tCtrl+Shift+4"));
        QCOMPARE(menu.itemWithTag(4)->text(), QStringLiteral("Share Screenshot with Markup"));
        QCOMPARE(menu.itemWithTag(9)->text(), QStringLiteral("Record Screen\tAlt+Shift+R"));

        // Commands reach the target by name.
        menu.itemWithTag(3)->trigger();
        QCOMPARE(target.calls, QStringList { "captureScreen" });

        SettingsStore::instance().setToken(QString());
        open(menu);
        QCOMPARE(titles(menu.actions()), (QStringList { "Log in\u2026", "Create an account\u2026", "", "Quit" }));
        QVERIFY(!menu.segmentedControl());

        SettingsStore::instance().setToken(token);
        open(menu);
        QCOMPARE(StatusMenu::titleOf(menu.itemWithTag(3)), QStringLiteral("Share Screenshot"));
        QCOMPARE(menu.fileItems().size(), 3);
    }

    void uploadFromClipboardOnlyForFilesOrImages()
    {
        StatusMenu menu(nullptr);
        const auto shownFor = [&](QMimeData *data) {
            QGuiApplication::clipboard()->setMimeData(data);
            open(menu);
            return menu.uploadClipboardItem()->isVisible();
        };
        auto *text = new QMimeData;
        text->setText(QStringLiteral("just words"));
        QVERIFY(!shownFor(text));
        auto *web = new QMimeData;
        web->setUrls({ QUrl(QStringLiteral("https://example.org/")) });
        QVERIFY(!shownFor(web));
        auto *files = new QMimeData;
        files->setUrls({ QUrl::fromLocalFile(dir.filePath(QStringLiteral("notes.txt"))) });
        QVERIFY(shownFor(files));
        auto *image = new QMimeData;
        image->setImageData(QImage(4, 4, QImage::Format_ARGB32));
        QVERIFY(shownFor(image));
    }

    void segmentsListTheirItemsAndSwitchFromTheCache()
    {
        StatusMenu menu(nullptr);
        open(menu);
        QCOMPARE(menu.segmentedControl()->selectedSegment(), 0);
        QCOMPARE(titles(menu.fileItems()).size(), 3);
        const auto rows = menu.fileItems();
        QCOMPARE(static_cast<RemoteItemMenuAction *>(rows[0])->name(), QStringLiteral("shot.png"));
        QCOMPARE(static_cast<RemoteItemMenuAction *>(rows[2])->name(), QStringLiteral("notes.txt"));
        // Names are elided in the middle, "&" stays a character, and the
        // size and age follow after a tab.
        const QString longRow = rows[1]->text();
        QVERIFY2(
            longRow.startsWith(QLatin1String("Q&&A with")) && longRow.contains(QChar(0x2026)), qPrintable(longRow));
        QVERIFY2(longRow.endsWith(QStringLiteral("fit.pdf\t3 KB \u00b7 just now")), qPrintable(longRow));
        // The rows sit right below the switch.
        const int switchRow = int(menu.actions().indexOf(menu.segmentedControlMenuItem()));
        QCOMPARE(menu.actions().mid(switchRow + 1, 3), rows);
        QVERIFY(static_cast<RemoteItemMenuAction *>(rows[0])->url().toString().startsWith("https://menu."));

        segmentButton(menu, 2)->click();
        QCOMPARE(SettingsStore::instance().selectedMenuSegment(), 3);
        QTRY_COMPARE(texts(menu.fileItems()), (QStringList { "example.com/b/c\tjust now", "example.org/a\tjust now" }));

        segmentButton(menu, 1)->click();
        QCOMPARE(SettingsStore::instance().selectedMenuSegment(), 2);
        QTRY_COMPARE(texts(menu.fileItems()), QStringList { "Holiday\tjust now" });

        // Back to files: the cached rows are there at once, before any answer.
        segmentButton(menu, 0)->click();
        QCOMPARE(menu.fileItems().size(), 3);
        QCOMPARE(static_cast<RemoteItemMenuAction *>(menu.fileItems()[0])->name(), QStringLiteral("shot.png"));
    }

    void reloadingTheSameItemsKeepsTheRows()
    {
        StatusMenu menu(nullptr);
        open(menu);
        const QList<QAction *> before = menu.fileItems();
        QCOMPARE(before.size(), 3);
        QSignalSpy rebuilt(&menu, &StatusMenu::itemsDisplayed);
        open(menu);
        QCOMPARE(rebuilt.size(), 0);
        QCOMPARE(menu.fileItems(), before);

        // A new file changes the list: rebuilt, newest first.
        API::instance().uploadFile(
            QUrl::fromLocalFile(TestFiles::random(dir.path(), QStringLiteral("new.txt"), 10)), {});
        QVERIFY(drain());
        open(menu);
        QCOMPARE(rebuilt.size(), 1);
        QCOMPARE(menu.fileItems().size(), 4);
        QCOMPARE(static_cast<RemoteItemMenuAction *>(menu.fileItems()[0])->name(), QStringLiteral("new.txt"));

        // A failed request changes nothing.
        QVERIFY(server.setFaults(QStringLiteral("api.500text=1")));
        const QList<QAction *> rows = menu.fileItems();
        menu.close();
        LogCapture log;
        menu.popup(QPoint(10, 10));
        QTRY_VERIFY(log.containsText(QStringLiteral("/v1/files/menu")));
        QTest::qWait(0);
        QCOMPARE(menu.fileItems(), rows);
    }

    // The text comes from the stored segment (every one in
    // tst_statusmenumodel): documents show in the files segment.
    void emptyListSaysWhatIsMissing()
    {
        SettingsStore::instance().setToken(emptyToken);
        SettingsStore::instance().setDomain(QStringLiteral("empty"));
        SettingsStore::instance().setSelectedMenuSegment(1);
        StatusMenu menu(nullptr);
        open(menu);
        QCOMPARE(menu.segmentedControl()->selectedSegment(), 0);
        QCOMPARE(menu.fileItems().size(), 1);
        QCOMPARE(menu.fileItems()[0]->text(), QStringLiteral("No documents yet"));
        QVERIFY(!menu.fileItems()[0]->isEnabled());
        QCOMPARE(menu.fileItems()[0]->data().toInt(), 1);
    }

    void uploadRowPausesResumesAndCancelsARealMultipartUpload()
    {
        // Parts are held at the store, so the upload is still running
        // whenever the row acts on it.
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=20000,put.only=parts")));
        const QString path = TestFiles::random(dir.path(), QStringLiteral("movie.mov"), 60 * 1024 * 1024);
        StatusMenu menu(nullptr);
        open(menu);
        UploadProgressMenuItem *row = menu.uploadProgressViewController();
        UploadProgressModel *model = row->model();

        API::instance().uploadFile(QUrl::fromLocalFile(path), {});
        FileUploadTaskPtr task;
        QTRY_VERIFY((task = FileUploadQueue::sharedQueue().currentTasks().value(0)) && task->multipartSession()
            && task->multipartSession()->state() == TLMultipartUploadSession::Uploading);
        menu.refreshUploadStatusItems();
        QVERIFY(menu.uploadingStatusItem()->isVisible());
        QCOMPARE(model->uploadState(), 1);
        QVERIFY(model->statusText().startsWith(QLatin1String("Uploading at ")));
        QVERIFY(!row->pauseButton()->isHidden());

        LogCapture log;
        row->pauseButton()->click();
        QVERIFY(log.contains(QStringLiteral("[UploadProgressMenuItem] Pause button clicked")));
        QVERIFY(task->multipartSession()->isPaused());
        QVERIFY(TLMultipartUploadState::stateForFilePath(path));
        QCOMPARE(model->statusText(), QStringLiteral("Upload paused"));
        QVERIFY(!row->resumeButton()->isHidden() && row->pauseButton()->isHidden());
        // Opening the menu again keeps showing it paused.
        open(menu);
        QCOMPARE(model->uploadState(), 2);

        row->resumeButton()->click();
        QVERIFY(!task->multipartSession()->isPaused());
        QCOMPARE(model->statusText(), QStringLiteral("Resuming upload..."));

        UploadProgressModel::CancelPrompt asked;
        model->setConfirmCancel([&](const UploadProgressModel::CancelPrompt &prompt, std::function<void()> accept) {
            asked = prompt;
            accept();
        });
        row->cancelButton()->click();
        // The running upload and its record are one upload, counted once.
        QCOMPARE(asked.message, QStringLiteral("Cancel 1 Upload?"));
        QVERIFY(FileUploadQueue::sharedQueue().currentTasks().isEmpty());
        QVERIFY(TLMultipartUploadState::loadAllPendingUploads().isEmpty());
        QVERIFY(log.contains(QStringLiteral("[UploadProgressMenuItem] Persisted uploads remaining: 0")));
        QTRY_VERIFY(!menu.uploadingStatusItem()->isVisible());
    }

    void retryResumesTheRecordsOnDisk()
    {
        // A paused upload whose session is gone leaves its record behind, as
        // after a restart; a second record's file has been deleted.
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=20000,put.only=parts")));
        const QString path = TestFiles::random(dir.path(), QStringLiteral("big.bin"), 60 * 1024 * 1024);
        {
            auto session = TLMultipartUploadSession::create(QUrl::fromLocalFile(path), {}, {}, QStringLiteral("1"));
            session->startWithProgressHandler({}, {});
            QTRY_COMPARE(session->state(), int(TLMultipartUploadSession::Uploading));
            session->pause();
        }
        QVERIFY(TLMultipartUploadState::stateForFilePath(path));
        TLMultipartUploadState gone(QStringLiteral("gone-upload"), QStringLiteral("k"), dir.filePath("gone.bin"),
            QStringLiteral("application/octet-stream"), 60 * 1024 * 1024, 8 * 1024 * 1024);
        TLMultipartUploadState::saveState(gone);
        QVERIFY(server.setFaults(QStringLiteral("off")));

        StatusMenu menu(nullptr);
        open(menu);
        UploadProgressMenuItem *row = menu.uploadProgressViewController();
        QVERIFY(menu.uploadingStatusItem()->isVisible());
        QCOMPARE(row->model()->uploadState(), 3);
        QVERIFY(!row->retryButton()->isHidden());

        LogCapture log;
        row->retryButton()->click();
        QVERIFY(log.contains(QStringLiteral("[UploadProgressMenuItem] File no longer exists, removing state: %1")
                                 .arg(dir.filePath("gone.bin"))));
        QVERIFY(!TLMultipartUploadState::stateForUploadId(QStringLiteral("gone-upload")));
        QCOMPARE(row->model()->statusText(), QStringLiteral("Retrying upload..."));
        QVERIFY(drain(120000));
        QVERIFY(log.contains(QStringLiteral("FileUploadTask - found existing multipart state, resuming")));
        QVERIFY(TLMultipartUploadState::loadAllPendingUploads().isEmpty());
        QTRY_VERIFY(!menu.uploadingStatusItem()->isVisible());
    }
};

QTEST_MAIN(TestStatusMenu)
#include "tst_statusmenu.moc"
