// The dashboard panel's controller against the real reference service,
// offscreen: each tab's list with its cache (and the crossed cached-tab
// mapping), failed and empty answers, a profile change dropping the caches,
// rows opened and copied from the keyboard, the action tiles, drops, and the
// upload strip retrying an interrupted upload to a byte-identical file.
#include "api.h"
#include "fileuploadqueue.h"
#include "logcapture.h"
#include "multipartuploadsession.h"
#include "multipartuploadstate.h"
#include "notificationcenter.h"
#include "notificationrecorder.h"
#include "notifications.h"
#include "popoveractiongridview.h"
#include "popoverfilerowview.h"
#include "popoveruploadstripview.h"
#include "popoverwindow.h"
#include "popoverwindowcontroller.h"
#include "referenceserver.h"
#include "settingsstore.h"
#include "testfiles.h"

#include <QApplication>
#include <QClipboard>
#include <QMimeData>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

namespace {

// The application controller's actions, by slot name.
class Target : public QObject
{
    Q_OBJECT
public:
    QStringList calls;
public Q_SLOTS:
    void captureScreen() { calls << QStringLiteral("captureScreen"); }
    void stopRecording() { calls << QStringLiteral("stopRecording"); }
};

QStringList fieldOf(const QVariantList &items, const char *key)
{
    QStringList values;
    for (const QVariant &item : items)
        values << item.toMap().value(QLatin1String(key)).toString();
    return values;
}

} // namespace

class TestPopoverWindowController : public QObject
{
    Q_OBJECT
    ReferenceServer server;
    QTemporaryDir dir;
    QString token;
    Target target;

    static bool drain(int timeoutMs = 120000)
    {
        bool drained = false;
        QObject observer;
        NotificationCenter::defaultCenter().addObserver(
            &observer, Notifications::BatchUploadCompleteNotification, [&](const Notification &) { drained = true; });
        return QTest::qWaitFor([&] { return drained; }, timeoutMs);
    }

    static void load(PopoverWindowController &c, int segment)
    {
        QSignalSpy loaded(&c, &PopoverWindowController::itemsLoaded);
        c.switchToSegment(segment);
        QTRY_VERIFY_WITH_TIMEOUT(!loaded.isEmpty() && loaded.last().first().toInt() == segment, 10000);
    }

    void signIn(const QString &userToken, const QString &profile)
    {
        SettingsStore::instance().setToken(userToken);
        SettingsStore::instance().setDomain(profile);
    }

private Q_SLOTS:
    void initTestCase()
    {
        ReferenceServer::Options options;
        options.partSize = 8 * 1024 * 1024;
        QVERIFY2(server.start(options), qPrintable(server.errorString()));
        token = server.addUser(QStringLiteral("d@example.com"), QStringLiteral("secret-pass"), QStringLiteral("dash"));
        qputenv("TESSLY_API_URL", server.apiUrl().toUtf8());
        qputenv("TESSLY_WEB_DOMAIN", server.webDomain().toUtf8());
        signIn(token, QStringLiteral("dash"));
        for (const char *name : { "notes.txt", "shot.png", "readme.md" }) {
            API::instance().uploadFile(
                QUrl::fromLocalFile(TestFiles::random(dir.path(), QString::fromLatin1(name), 2000)), {});
            QVERIFY(drain());
        }
        bool done = false;
        API::instance().createFolderWithName(
            QStringLiteral("Holiday"), {}, {}, [&](bool, const QVariant &, const Error &) {
                API::instance().createLinkWithURL(QStringLiteral("https://example.org/a"),
                    [&](bool, const QVariant &, const Error &) { done = true; });
            });
        QTRY_VERIFY(done);
    }

    void init()
    {
        QVERIFY(server.setFaults(QStringLiteral("off")));
        signIn(token, QStringLiteral("dash"));
    }

    void tabsLoadAndKeepTheirLastAnswer()
    {
        PopoverWindowController c(&target);
        load(c, 0);
        QCOMPARE(fieldOf(c.items(), "name"), (QStringList { "readme.md", "shot.png", "notes.txt" }));
        load(c, 2);
        QCOMPARE(fieldOf(c.items(), "name"), QStringList { "readme.md" });
        load(c, 3);
        QVERIFY(c.showsLinks());
        QCOMPARE(fieldOf(c.items(), "content"), QStringList { "https://example.org/a" });
        load(c, 1);
        QCOMPARE(fieldOf(c.items(), "name"), QStringList { "Holiday" });

        // Folders and documents show each other's cache until the answer comes.
        QSignalSpy loaded(&c, &PopoverWindowController::itemsLoaded);
        c.switchToSegment(2);
        QCOMPARE(fieldOf(c.items(), "name"), QStringList { "Holiday" });
        QTRY_VERIFY(!loaded.isEmpty());
        QCOMPARE(fieldOf(c.items(), "name"), QStringList { "readme.md" });

        // A failed load leaves the list as it was.
        QVERIFY(server.setFaults(QStringLiteral("api.500text=1")));
        LogCapture log;
        c.switchToSegment(0);
        QTRY_VERIFY(log.containsText(QStringLiteral("segment 0 not loaded")));
        QCOMPARE(fieldOf(c.items(), "name"), (QStringList { "readme.md", "shot.png", "notes.txt" }));

        // The keyboard: down to the second row, Return opens, Ctrl+C copies.
        QList<QUrl> opened;
        c.setUrlOpener([&](const QUrl &url) { opened << url; });
        PopoverWindow *w = c.window();
        QCOMPARE(w->rows().size(), 3);
        QTest::keyClick(w, Qt::Key_Down);
        QTest::keyClick(w, Qt::Key_Down);
        QTest::keyClick(w, Qt::Key_Return);
        const QString link = w->rows()[1]->link().toString();
        QVERIFY2(link.startsWith(QStringLiteral("https://dash.%1/").arg(server.webDomain())), qPrintable(link));
        QCOMPARE(opened, QList<QUrl> { QUrl(link) });
        QTest::keyClick(w, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), link);
        QCOMPARE(c.toastText(), QStringLiteral("Link copied"));
    }

    void profileChangeDropsTheCachesAndEmptyTabsSayIt()
    {
        const QString empty
            = server.addUser(QStringLiteral("e@example.com"), QStringLiteral("secret-pass"), QStringLiteral("void"));
        PopoverWindowController c(&target);
        load(c, 3);
        c.fetchMeData();
        QTRY_COMPARE(c.cachedMeData().value(QStringLiteral("email")).toString(), QStringLiteral("d@example.com"));

        signIn(empty, QStringLiteral("dash"));
        SettingsStore::instance().setSelectedMenuSegment(0);
        QSignalSpy loaded(&c, &PopoverWindowController::itemsLoaded);
        c.selectProfile(QStringLiteral("void"));
        QTRY_VERIFY(!c.cachedItems(3).has_value());
        QTRY_VERIFY(!loaded.isEmpty());
        QVERIFY(c.showsEmptyState());
        QCOMPARE(c.window()->emptyHeading(), QStringLiteral("No files yet"));
        QTRY_COMPARE(c.cachedMeData().value(QStringLiteral("email")).toString(), QStringLiteral("e@example.com"));
    }

    void tilesAndDropsReachTheirTargets()
    {
        PopoverWindowController c(&target);
        target.calls.clear();
        // Recording turns the record tile into a stop control.
        NotificationCenter::defaultCenter().post(
            QString::fromLatin1(Notifications::ScreenGrabberRecordingDidStartNotification));
        QTRY_COMPARE(c.window()->actionGrid()->recordTile()->text(), QStringLiteral("Stop"));
        c.performTile(QStringLiteral("Record"));
        c.performTile(QStringLiteral("Region"));
        QTRY_COMPARE(target.calls, (QStringList { "stopRecording", "captureScreen" }));

        // The clipboard tile follows the clipboard only while the panel shows.
        c.updateClipboardMonitorForWindowVisible(true);
        auto *files = new QMimeData;
        files->setUrls({ QUrl::fromLocalFile(dir.filePath(QStringLiteral("notes.txt"))) });
        QGuiApplication::clipboard()->setMimeData(files);
        QTRY_VERIFY(c.window()->actionGrid()->clipboardTile()->isEnabled());
        QGuiApplication::clipboard()->setText(QStringLiteral("plain words"));
        QTRY_VERIFY(!c.window()->actionGrid()->clipboardTile()->isEnabled());
        c.updateClipboardMonitorForWindowVisible(false);
        QVERIFY(!c.isClipboardMonitorRunning());

        // A dropped file is uploaded and listed; a web address goes to the
        // application's drop rules.
        QList<QStringList> handed;
        c.setDataDropHandler([&](const QMimeData *data) { handed << data->formats(); });
        load(c, 0);
        QMimeData drop;
        drop.setUrls({ QUrl::fromLocalFile(TestFiles::random(dir.path(), QStringLiteral("dropped.txt"), 500)) });
        c.draggingEntered();
        QVERIFY(c.isDragOver());
        c.performDrop(&drop);
        QVERIFY(!c.isDragOver());
        QTRY_COMPARE_WITH_TIMEOUT(fieldOf(c.items(), "name").value(0), QStringLiteral("dropped.txt"), 20000);
        QMimeData web;
        web.setUrls({ QUrl(QStringLiteral("https://example.org/page")) });
        c.performDrop(&web);
        QCOMPARE(handed.size(), 1);
    }

    void stripRetriesAnInterruptedUploadByteForByte()
    {
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=20000,put.only=parts")));
        const QString path = TestFiles::random(dir.path(), QStringLiteral("big.bin"), 60 * 1024 * 1024);
        {
            auto session = TLMultipartUploadSession::create(QUrl::fromLocalFile(path), {}, {}, QStringLiteral("1"));
            session->startWithProgressHandler({}, {});
            QTRY_COMPARE(session->state(), int(TLMultipartUploadSession::Uploading));
            session->pause();
        }
        QVERIFY(server.setFaults(QStringLiteral("off")));

        PopoverWindowController c(&target);
        c.refreshUploadStatus();
        QTRY_VERIFY(c.uploadStrip().visible);
        QCOMPARE(c.uploadStrip().state, 3);
        QCOMPARE(c.window()->uploadStrip()->statusText(), QStringLiteral("Upload failed – click to retry"));

        NotificationRecorder retries(QString::fromLatin1(Notifications::PopoverRetryUploadNotification));
        c.cardClicked();
        QCOMPARE(retries.seen().size(), 1);
        QTRY_COMPARE(c.uploadStrip().state, 1);
        c.cardClicked(); // while uploading: nothing
        QCOMPARE(retries.seen().size(), 1);
        QVERIFY(drain());
        QTRY_VERIFY(!c.uploadStrip().visible);
        QVERIFY(TLMultipartUploadState::loadAllPendingUploads().isEmpty());

        load(c, 0);
        const QVariantMap uploaded = c.items().first().toMap();
        QCOMPARE(uploaded.value(QStringLiteral("name")).toString(), QStringLiteral("big.bin"));
        QCOMPARE(server.shareDownloadSha256(QStringLiteral("dash"), uploaded.value(QStringLiteral("code")).toString()),
            TestFiles::sha256(path));
    }
};

QTEST_MAIN(TestPopoverWindowController)
#include "tst_popoverwindowcontroller.moc"
