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
#include <QDir>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTcpServer>
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

        // Folders and documents show each other's cache until the answer
        // comes; the rows are built once per new list (and not at all here,
        // where the cache holds the list already shown).
        QSignalSpy loaded(&c, &PopoverWindowController::itemsLoaded);
        QSignalSpy rebuilt(&c, &PopoverWindowController::itemsChanged);
        c.switchToSegment(2);
        QCOMPARE(fieldOf(c.items(), "name"), QStringList { "Holiday" });
        QCOMPARE(rebuilt.size(), 0);
        QTRY_VERIFY(!loaded.isEmpty());
        QCOMPARE(fieldOf(c.items(), "name"), QStringList { "readme.md" });
        QCOMPARE(rebuilt.size(), 1);

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

        // Bad records among good ones: every row shows at once, the good
        // ones as they were, whatever the thumbnails do.
        QList<QUrl> links;
        for (const PopoverFileRowView *row : w->rows())
            links << row->link();
        QTcpServer silent; // accepts and never answers
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        const QString longName = QString(5000, QChar(u'\u05d0')) + QStringLiteral("\n\u202e") + QString(5000, u'x');
        QVariantList records = c.items();
        records << QVariantMap {} << QVariant(QStringLiteral("not a record"))
                << QVariantMap { { "name", 5 }, { "size", "huge" }, { "mimeType", QVariantList {} }, { "item", true },
                       { "viewCount", "many" }, { "code", QVariantMap {} } }
                << QVariantMap { { "name", longName }, { "size", -5000 }, { "mimeType", "image/png" },
                       { "code", "abc" }, { "thumbnailUrl", server.baseUrl().toString() + "/" } }
                << QVariantMap { { "name", "never.png" }, { "size", 1e30 }, { "item", -1e300 },
                       { "thumbnailUrl", QStringLiteral("http://127.0.0.1:%1/t.png").arg(silent.serverPort()) } };
        c.setCachedItems(0, records);
        c.switchToSegment(0);
        QTRY_COMPARE(w->rows().size(), records.size());
        for (int i = 0; i < 3; ++i)
            QCOMPARE(w->rows()[i]->link(), links[i]);
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w));
        QTest::qWait(50); // the rows laid out, the name elided beside the badge
        for (int i = 0; i < 7; ++i)
            QTest::keyClick(w, Qt::Key_Down);
        QCOMPARE(w->selectedRow(), 6);
        // Selected, the row's buttons take the badge's place: the name is
        // shortened to the room left, on one line.
        const PopoverFileRowView *row = w->rows()[6];
        QTRY_VERIFY(row->fontMetrics().horizontalAdvance(row->shownTitle()) <= row->titleRect().width());
        QVERIFY(!row->shownTitle().isEmpty());
        QVERIFY(!row->shownTitle().contains(QLatin1Char('\n')));
        QTest::qWait(300); // the thumbnails answer, or fail
        QCOMPARE(w->rows().size(), records.size());
        w->hide();
        QVERIFY(server.setFaults(QStringLiteral("off")));
        load(c, 0);
        QCOMPARE(w->rows().size(), 3);
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
        // An empty documents tab offers to make one on the web.
        QUrl opened;
        c.setUrlOpener([&](const QUrl &url) { opened = url; });
        load(c, 2);
        QCOMPARE(c.window()->emptyHeading(), QStringLiteral("No documents yet"));
        c.window()->findChild<QPushButton *>(QStringLiteral("emptyStateButton"))->click();
        QCOMPARE(opened.path(), QStringLiteral("/me/documents/new"));

        // A long profile name is shortened; the header keeps its layout.
        SettingsStore::instance().setDomain(QString(300, u'w'));
        c.fetchMeData();
        const auto *profile = c.window()->findChild<QToolButton *>(QStringLiteral("profileButton"));
        QVERIFY(profile->sizeHint().width() < PopoverWindowController::kWidth / 4 * 3);
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

        // A mixed drop loses nothing: the file is uploaded here, each web
        // address and the picture go to the drop rules, the rest is said.
        QMimeData mixed;
        mixed.setUrls({ QUrl::fromLocalFile(TestFiles::random(dir.path(), QStringLiteral("mixed.txt"), 300)),
            QUrl(QStringLiteral("https://example.org/one")), QUrl(QStringLiteral("https://example.org/two")),
            QUrl(QStringLiteral("ftp://example.org/f")) });
        QImage picture(4, 4, QImage::Format_RGB32);
        picture.fill(Qt::red);
        mixed.setImageData(picture);
        handed.clear();
        c.performDrop(&mixed);
        QCOMPARE(handed.size(), 3);
        QCOMPARE(c.toastText(), QStringLiteral("1 dropped item cannot be uploaded"));
        QTRY_COMPARE_WITH_TIMEOUT(fieldOf(c.items(), "name").value(0), QStringLiteral("mixed.txt"), 20000);
    }

    void stripRetriesAnInterruptedUploadByteForByte()
    {
        // (A retried part stalls a moment below: time to pause it.)
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=20000,put.only=parts")));
        const QString path = TestFiles::random(dir.path(), QStringLiteral("big.bin"), 60 * 1024 * 1024);
        {
            auto session = TLMultipartUploadSession::create(QUrl::fromLocalFile(path), {}, {}, QStringLiteral("1"));
            session->startWithProgressHandler({}, {});
            QTRY_COMPARE(session->state(), int(TLMultipartUploadSession::Uploading));
            session->pause();
        }
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=1500,put.max=1,put.only=parts")));

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

        // Paused stays paused through progress and a reopened panel, and the
        // progress reads no records from disk: with their folder unreadable,
        // nothing complains.
        QTRY_VERIFY(std::ranges::any_of(FileUploadQueue::sharedQueue().currentTasks(),
            [](const FileUploadTaskPtr &t) { return t->multipartSession() != nullptr; }));
        c.pauseUploads();
        QCOMPARE(c.uploadStrip().state, 2);
        const QString records = TLMultipartUploadState::storageDirectory();
        QVERIFY(QDir().rename(records, records + QStringLiteral(".away")));
        QVERIFY(QFile(records).open(QIODevice::WriteOnly));
        {
            LogCapture log;
            c.showPopoverRelativeToView(QRect(600, 0, 24, 24));
            for (int i = 0; i < 20; ++i)
                NotificationCenter::defaultCenter().post(
                    QString::fromLatin1(Notifications::BatchUploadProgressNotification));
            QTest::qWait(100);
            QCOMPARE(c.uploadStrip().state, 2);
            QCOMPARE(c.window()->uploadStrip()->statusText(), QStringLiteral("Upload paused"));
            QVERIFY2(!log.containsText(QStringLiteral("multipart")), qPrintable(log.lines().join('\n')));
            c.closePopover();
        }
        QVERIFY(QFile::remove(records));
        QVERIFY(QDir().rename(records + QStringLiteral(".away"), records));
        c.resumeUploads();
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
