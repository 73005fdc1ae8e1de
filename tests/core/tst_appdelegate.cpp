// The tray application as a user meets it, on the harness's desktop (Xvfb,
// trayer, dunst, a session bus) against the reference service: signing in
// through the browser, a screenshot ending as a link on the clipboard with a
// notification, a sound and the success icon, later `tessly` runs handing
// their URLs and files to this one, drops with and without folder mode, a
// token refused in the middle of a batch, custom domains, a missing profile,
// and bad input that must end in a clear line rather than a crash.
#include "api.h"
#include "appdelegate.h"
#include "clipboardmanager.h"
#include "drophandler.h"
#include "e2e.h"
#include "fileuploadqueue.h"
#include "folderuploader.h"
#include "logcapture.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "popoverwindowcontroller.h"
#include "referenceserver.h"
#include "screengrabber.h"
#include "settingsstore.h"
#include "soundplayer.h"
#include "statusitem.h"
#include "statusmenu.h"
#include "testfiles.h"
#include "welcomewindowcontroller.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMimeData>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>

using Action = std::function<void(AppDelegate &, const QString &dir)>;
Q_DECLARE_METATYPE(Action)

class TestAppDelegate : public QObject
{
    Q_OBJECT

    ReferenceServer m_server;
    QTemporaryDir m_dir;
    QString m_token;
    std::unique_ptr<AppDelegate> m_delegate;
    QList<QUrl> m_opened; // what went to the browser or the mail program
    QStringList m_alerts;
    QList<QUrl> m_clickedNotifications;

    static QString tessly() { return qEnvironmentVariable("TESSLY_BINARY_DIR") + QStringLiteral("/src/app/tessly"); }

    // Runs a program while this process keeps answering (the clipboard, the
    // single-instance socket); its exit code and output.
    static int runBeside(const QString &program, const QStringList &args, QByteArray *output = nullptr)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(program, args);
        const int code = E2E::waitResponsively(process, 90000);
        if (output)
            *output = process.readAllStandardOutput();
        return code;
    }

    QString clipboardAsOthersSeeIt()
    {
        QByteArray text;
        runBeside("xclip", { "-o", "-selection", "clipboard" }, &text);
        return QString::fromUtf8(text);
    }

    void signIn(const QString &token, const QString &domain)
    {
        SettingsStore::instance().setToken(token);
        SettingsStore::instance().setDomain(domain);
    }

    QString file(const QString &name, qint64 size = 2000) { return TestFiles::random(m_dir.path(), name, size); }

    QJsonArray filesOnService(const QString &query = {})
    {
        return m_server.api("GET", QStringLiteral("/v1/files/demo?type=user&count=50") + query, m_token)
            .json()
            .value("items")
            .toArray();
    }

    QString newestName() { return filesOnService().first().toObject().value("name").toString(); }

    QString linkPrefix() const { return QStringLiteral("https://demo.%1/").arg(m_server.webDomain()); }

public Q_SLOTS:
    void notificationClicked(const QUrl &url) { m_clickedNotifications << url; }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(E2E::underHarness());
        QVERIFY2(m_server.start(), qPrintable(m_server.errorString()));
        qputenv("TESSLY_API_URL", m_server.apiUrl().toUtf8());
        qputenv("TESSLY_WEB_DOMAIN", m_server.webDomain().toUtf8());
        m_token = m_server.addUser("demo@tessly.test", "demo-password", "demo");
        QVERIFY(!m_token.isEmpty());
        API::instance().setPollInterval(0.05);
        QDesktopServices::setUrlHandler("https", this, "notificationClicked");

        signIn(QString(), QString());
        QVERIFY(E2E::waitForSystemTray());
        m_delegate = std::make_unique<AppDelegate>();
        m_delegate->setUrlOpener([this](const QUrl &url) { m_opened << url; });
        m_delegate->setAlertRunner([this](const QString &title, const QString &, const QStringList &) {
            m_alerts << title;
            return 0; // "Create Profile"
        });
        QVERIFY(m_delegate->listenForOtherInstances());
        m_delegate->applicationDidFinishLaunching();
    }

    void cleanupTestCase()
    {
        QDesktopServices::unsetUrlHandler("https");
        m_delegate.reset();
    }

    // The welcome window's link, the service's login page in chromium, the
    // redirect to tessly://login handed to a second `tessly`, which forwards
    // it here: the token is stored and the window closes.
    void signsInThroughTheBrowser()
    {
        WelcomeWindowController *welcome = m_delegate->welcomeWindowController();
        QTRY_VERIFY(welcome->isVisible());
        welcome->navigate(QUrl("https://tessly.cloud/auth/login"));
        QCOMPARE(m_opened.size(), 1);
        const QUrl loginPage = m_opened.takeFirst();
        QCOMPARE(loginPage.toString(), QStringLiteral("http://%1/auth/login?redirectTo=app").arg(m_server.webDomain()));

        const QString node = QStandardPaths::findExecutable("node");
        const QString tests = qEnvironmentVariable("TESSLY_SOURCE_DIR") + QStringLiteral("/tests");
        if (node.isEmpty() || !QDir(tests + QStringLiteral("/node_modules/playwright-core")).exists())
            QSKIP("needs node and playwright-core (npm ci in tests/)");
        QByteArray seen;
        QCOMPARE(runBeside(node,
                     { tests + QStringLiteral("/server/browser-login.mjs"), loginPage.toString(), "demo@tessly.test",
                         "demo-password" },
                     &seen),
            0);
        const QUrl callback(QJsonDocument::fromJson(seen).object().value("location").toString());
        QCOMPARE(callback.scheme(), "tessly");

        int loggedIn = 0;
        NotificationCenter::defaultCenter().addObserver(
            this, QString::fromLatin1(Notifications::UserLoggedIn), [&](const Notification &) { ++loggedIn; });
        QCOMPARE(runBeside(tessly(), { callback.toString() }), 0);
        QTRY_COMPARE(loggedIn, 1);
        NotificationCenter::defaultCenter().removeObserver(this, QString::fromLatin1(Notifications::UserLoggedIn));
        QCOMPARE(SettingsStore::instance().token(), QUrlQuery(callback).queryItemValue("token", QUrl::FullyDecoded));
        QCOMPARE(SettingsStore::instance().domain(), "demo");
        QTRY_VERIFY(!welcome->isVisible());
        m_token = SettingsStore::instance().token();
        // A second later the panel under the icon greets the user.
        QTRY_VERIFY(m_delegate->popoverController()->isVisible());
        m_delegate->popoverController()->closePopover();
    }

    void screenshotEndsAsLinkWithNotificationSoundAndIcon_data()
    {
        QTest::addColumn<QString>("sound");
        QTest::addColumn<QStringList>("played");
        QTest::newRow("default sound") << QString() << QStringList { "complete" };
        QTest::newRow("silenced") << QStringLiteral("None") << QStringList {};
    }

    // The menu's screenshot item, clicked in the tray's menu; the capture tool
    // driven with xdotool.
    void screenshotEndsAsLinkWithNotificationSoundAndIcon()
    {
        QFETCH(QString, sound);
        QFETCH(QStringList, played);
        signIn(m_token, "demo");
        SettingsStore::instance().setSound(sound);
        QSignalSpy links(m_delegate.get(), &AppDelegate::linkCopied);
        QSignalSpy sounds(&SoundPlayer::instance(), &SoundPlayer::played);
        QSignalSpy icons(m_delegate->statusItem(), &StatusItem::imageNameChanged);
        QProcess driver;
        driver.start("sh",
            { "-c",
                E2E::captureToolReadyScript()
                    + QStringLiteral(
                        "xdotool mousemove 100 100 mousedown 1 mousemove 150 140 mousemove 200 180 mouseup 1") });
        // Through the tray as a user goes: a right click on the icon, then a
        // click on the menu's screenshot item.
        const QPoint icon = m_delegate->statusItem()->anchorGeometry().center();
        QCOMPARE(
            runBeside("xdotool", { "mousemove", QString::number(icon.x()), QString::number(icon.y()), "click", "3" }),
            0);
        StatusMenu *menu = m_delegate->statusMenu();
        QTRY_VERIFY(menu->isVisible());
        const QPoint item
            = menu->mapToGlobal(menu->actionGeometry(menu->itemWithTag(StatusMenu::CaptureScreenTag)).center());
        QCOMPARE(
            runBeside("xdotool", { "mousemove", QString::number(item.x()), QString::number(item.y()), "click", "1" }),
            0);
        QTRY_VERIFY(!menu->isVisible());
        QCOMPARE(E2E::waitResponsively(driver, 20000), 0);

        QTRY_COMPARE_WITH_TIMEOUT(links.size(), 1, 30000);
        const QString link = links.first().first().toString();
        QVERIFY2(link.startsWith(linkPrefix()), qPrintable(link));
        QCOMPARE(clipboardAsOthersSeeIt(), link);
        QCOMPARE(sounds.size(), played.size());
        for (int i = 0; i < played.size(); ++i)
            QCOMPARE(sounds.at(i).first().toString(), played.at(i));
        QTRY_VERIFY(icons.contains(QVariantList { "MenuIcon-Success-Alt" }));
        QTRY_COMPARE_WITH_TIMEOUT(m_delegate->statusItem()->imageName(), "MenuIcon", 5000);

        // dunst shows it; its default action opens the link.
        QByteArray shown;
        QTRY_VERIFY_WITH_TIMEOUT(
            (runBeside("dunstctl", { "count", "displayed" }, &shown), shown.trimmed().toInt() >= 1), 5000);
        QCOMPARE(runBeside("dunstctl", { "action", "0" }), 0);
        QTRY_VERIFY(m_clickedNotifications.contains(QUrl(link)));
        runBeside("dunstctl", { "close-all" });
        QByteArray history;
        QTRY_VERIFY((runBeside("dunstctl", { "history" }, &history),
            history.contains("Link copied to clipboard") && history.contains(link.toUtf8())));
        // The file is on the service, named by the screenshot rule.
        QVERIFY(newestName().startsWith("Screen Shot on "));
    }

    // `tessly FILE`, `tessly share URL` and `tessly share FILE FILE` reach
    // this instance and exit at once; `tessly shorten` works on its own; a
    // recording opened in GIF mode is converted first.
    void laterRunsHandOverToThisOne()
    {
        signIn(m_token, "demo");
        SettingsStore::instance().setMultiFileUploadAsFolder(false);
        QSignalSpy links(m_delegate.get(), &AppDelegate::linkCopied);

        QCOMPARE(runBeside(tessly(), { file("opened.txt") }), 0);
        QTRY_COMPARE_WITH_TIMEOUT(links.size(), 1, 20000);
        QVERIFY(links.takeFirst().first().toString().startsWith(linkPrefix()));

        QCOMPARE(runBeside(tessly(), { "share", "https://example.com/a/long/page" }), 0);
        QTRY_COMPARE_WITH_TIMEOUT(links.size(), 1, 20000);
        const QString shortLink = links.takeFirst().first().toString();
        QVERIFY2(shortLink.startsWith(linkPrefix() + QStringLiteral("l/")), qPrintable(shortLink));
        QCOMPARE(QGuiApplication::clipboard()->text(), shortLink);
        QVERIFY(m_opened.isEmpty()); // copied, never opened

        QByteArray printed;
        QCOMPARE(runBeside(tessly(), { "shorten", "https://example.com/other" }, &printed), 0);
        QVERIFY(QString::fromUtf8(printed).trimmed().startsWith(linkPrefix() + QStringLiteral("l/")));

        QCOMPARE(runBeside(tessly(), { "share", file("s1.txt"), file("s2.txt") }), 0);
        QTRY_COMPARE_WITH_TIMEOUT(links.size(), 1, 30000);
        QVERIFY(newestName().endsWith(".zip"));
        QCOMPARE(runBeside(tessly(), { "share", "ftp://example.com/x" }), 1);

        // A recording handed over in GIF mode goes up as a GIF.
        links.clear();
        const QString movie = m_dir.filePath("recording.mp4");
        QCOMPARE(runBeside("ffmpeg",
                     { "-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=10:duration=1", "-pix_fmt",
                         "yuv420p", movie }),
            0);
        ScreenGrabber::instance().setGifCapture(true);
        QCOMPARE(runBeside(tessly(), { movie }), 0);
        QTRY_COMPARE_WITH_TIMEOUT(links.size(), 1, 60000);
        ScreenGrabber::instance().setGifCapture(false);
        const QString gifName = newestName();
        QVERIFY2(gifName.startsWith("Screen Capture on ") && gifName.endsWith(".gif"), qPrintable(gifName));
    }

    void uploadCopyKeepsTheLinkOnlyWithAClipboardManager_data()
    {
        QTest::addColumn<bool>("manager");
        QTest::addColumn<QString>("said");
        QTest::newRow("Xfce's clipboard manager") << true << QStringLiteral("the link is on the clipboard");
        QTest::newRow("none") << false << QStringLiteral("no clipboard manager runs");
    }

    // `tessly upload --copy` owns the clipboard only while it runs: a
    // clipboard manager (xfsettingsd's, the freedesktop protocol) must take
    // the link over as it exits, and without one the command says so.
    void uploadCopyKeepsTheLinkOnlyWithAClipboardManager()
    {
        QFETCH(bool, manager);
        QFETCH(QString, said);
        signIn(m_token, "demo");
        QProcess settingsDaemon;
        if (manager) {
            settingsDaemon.start("xfsettingsd", { "--no-daemon", "--disable-wm-check" });
            QTRY_VERIFY_WITH_TIMEOUT(ClipboardManager::isRunning(), 10000);
        }
        QProcess upload;
        upload.start(tessly(), { "upload", "--copy", file("c.txt") });
        QCOMPARE(E2E::waitResponsively(upload, 30000), 0);
        const QString link = QString::fromUtf8(upload.readAllStandardOutput()).trimmed();
        QVERIFY2(link.startsWith(linkPrefix()), qPrintable(link));
        QVERIFY(QString::fromUtf8(upload.readAllStandardError()).contains(said));
        if (manager)
            QTRY_COMPARE(clipboardAsOthersSeeIt(), link);
        else
            QVERIFY(clipboardAsOthersSeeIt().isEmpty());
        settingsDaemon.terminate();
        settingsDaemon.waitForFinished();
    }

    void droppedFilesWithFolderModeOnAndOff_data()
    {
        QTest::addColumn<bool>("asFolder");
        QTest::newRow("one archive") << false;
        QTest::newRow("a folder") << true;
    }

    void droppedFilesWithFolderModeOnAndOff()
    {
        QFETCH(bool, asFolder);
        signIn(m_token, "demo");
        SettingsStore::instance().setMultiFileUploadAsFolder(asFolder);
        m_opened.clear();
        QSignalSpy links(m_delegate.get(), &AppDelegate::linkCopied);
        const QString tag = asFolder ? QStringLiteral("f") : QStringLiteral("z");
        QMimeData drop;
        drop.setUrls({ QUrl::fromLocalFile(file(tag + QStringLiteral("-c.txt"))),
            QUrl::fromLocalFile(file(tag + QStringLiteral("-A.txt"))),
            QUrl::fromLocalFile(file(tag + QStringLiteral("-b.txt"))) });
        QVERIFY(m_delegate->dropHandler()->draggingEntered(&drop));
        QCOMPARE(m_delegate->statusItem()->imageName(), "MenuIcon-Success-Alt");
        QVERIFY(m_delegate->dropHandler()->performDragOperation(&drop));

        if (!asFolder) {
            QTRY_COMPARE_WITH_TIMEOUT(links.size(), 1, 30000);
            const QJsonObject archive = filesOnService().first().toObject();
            QVERIFY(archive.value("name").toString().endsWith(".zip"));
            QCOMPARE(links.first().first().toString(), linkPrefix() + archive.value("code").toString());
            return;
        }
        // The folder's link opens once its three files are in, in name order;
        // the files' own completions leave the clipboard alone.
        QTRY_COMPARE_WITH_TIMEOUT(m_opened.size(), 1, 30000);
        QVERIFY(!m_delegate->pauseNotifications());
        QCOMPARE(links.size(), 0);
        const QJsonObject folder
            = m_server.api("GET", "/v1/folders/demo?type=user&count=1", m_token).json()["items"][0].toObject();
        QVERIFY(folder.value("name").toString().startsWith("Upload "));
        QCOMPARE(m_opened.first().toString(), linkPrefix() + folder.value("code").toString());
        QMap<int, QString> byOrder;
        for (const QJsonValue &item : filesOnService("&parentItem=demo/" + QString::number(folder["item"].toInteger())))
            byOrder.insert(item["order"].toVariant().toInt(), item["name"].toString());
        QCOMPARE(byOrder.values(), (QStringList { tag + "-A.txt", tag + "-b.txt", tag + "-c.txt" }));
    }

    void customDomainWinsInBothLinkForms()
    {
        const QString token = m_server.addUser("brand@tessly.test", "brand-password", "brand", "share.brand.test");
        QVERIFY(!token.isEmpty());
        signIn(token, "brand");
        QSignalSpy links(m_delegate.get(), &AppDelegate::linkCopied);
        m_delegate->uploadFile(QUrl::fromLocalFile(file("brand.txt")));
        QTRY_COMPARE_WITH_TIMEOUT(links.size(), 1, 20000);
        QVERIFY2(links.first().first().toString().startsWith("https://share.brand.test/"),
            qPrintable(links.first().first().toString()));
        m_delegate->shortenURL(QUrl("https://example.com/brand"), true);
        QTRY_COMPARE_WITH_TIMEOUT(links.size(), 2, 20000);
        QVERIFY2(links.last().first().toString().startsWith("https://share.brand.test/l/"),
            qPrintable(links.last().first().toString()));
        signIn(m_token, "demo");
    }

    void accountWithoutProfileIsAskedToCreateOne()
    {
        // An account without a profile: the admin endpoint, profile left out.
        const auto created = m_server.admin(
            "POST", "/admin/users", { { "email", "new@tessly.test" }, { "password", "new-password" } });
        const QString token = created.json().value("token").toString();
        QVERIFY2(!token.isEmpty(), created.body.constData());
        signIn(token, QString());
        m_opened.clear();
        m_alerts.clear();
        m_delegate->uploadClipboard();
        QTRY_COMPARE(m_alerts, QStringList { "No Profile Found" });
        QCOMPARE(m_opened, QList<QUrl> { QUrl(QStringLiteral("http://%1/get-started").arg(m_server.webDomain())) });
        signIn(m_token, "demo");
    }

    // Half the API requests refused while four files go: the token is gone
    // from both places and the icon shows the failure.
    void refusedTokenMidBatchSignsOut()
    {
        signIn(m_token, "demo");
        QVERIFY(m_server.setFaults("api.401=1/2"));
        QSignalSpy icons(m_delegate->statusItem(), &StatusItem::imageNameChanged);
        for (int i = 0; i < 4; ++i)
            m_delegate->uploadFile(QUrl::fromLocalFile(file(QStringLiteral("batch-%1.bin").arg(i), 100000)));
        QTRY_VERIFY_WITH_TIMEOUT(SettingsStore::instance().token().isEmpty(), 20000);
        QVERIFY(API::instance().token().isEmpty());
        QTRY_VERIFY(icons.contains(QVariantList { "MenuIcon-Error" }));
        // A refusal still on its way would sign the next test out.
        QTRY_COMPARE_WITH_TIMEOUT(FileUploadQueue::sharedQueue().activeLength(), 0, 30000);
        QVERIFY(m_server.setFaults("off"));
        signIn(m_token, "demo");
    }

    void badInputEndsInAClearLine_data()
    {
        QTest::addColumn<Action>("action");
        QTest::addColumn<QString>("said");
        const auto open = [](const char *url) {
            return Action([url](AppDelegate &d, const QString &) { d.openURLs({ QUrl(QString::fromLatin1(url)) }); });
        };
        QTest::newRow("login URL without token")
            << open("tessly://login?domain=demo") << "Login URL without a token; nothing changed";
        QTest::newRow("login URL with empty token")
            << open("tessly://login?token=&domain=demo") << "Login URL without a token; nothing changed";
        QTest::newRow("shareClipboard with empty clipboard") << Action([](AppDelegate &d, const QString &) {
            QGuiApplication::clipboard()->clear();
            d.openURLs({ QUrl("tessly://shareClipboard") });
        }) << "Clipboard does not contain a file or image.";
        QTest::newRow("file gone before upload")
            << Action([](AppDelegate &d, const QString &dir) { d.openFile(dir + QStringLiteral("/gone.png")); })
            << "Not uploaded, no such file:";
        QTest::newRow("answer without code") << Action([](AppDelegate &, const QString &dir) {
            NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::UploadCompleteNotification),
                QVariantMap { { "file", QUrl::fromLocalFile(dir + QStringLiteral("/x")) }, { "succeeded", true },
                    { "response", QVariantMap {} } });
        }) << "handleUploadComplete: missing code ((null)) or domain (demo), skipping clipboard";
        QTest::newRow("folder that links to itself") << Action([](AppDelegate &d, const QString &dir) {
            QDir(dir).mkpath("loop");
            QFile(dir + QStringLiteral("/loop/a.txt")).open(QIODevice::WriteOnly);
            QFile::link(dir + QStringLiteral("/loop"), dir + QStringLiteral("/loop/self"));
            d.uploadDirectory(dir + QStringLiteral("/loop"), false);
        }) << "Skipping symbolic link to a folder";
    }

    void badInputEndsInAClearLine()
    {
        QFETCH(Action, action);
        QFETCH(QString, said);
        signIn(m_token, "demo");
        QTemporaryDir dir;
        LogCapture log;
        action(*m_delegate, dir.path());
        QTRY_VERIFY2_WITH_TIMEOUT(log.containsText(said), qPrintable(log.lines().join('\n')), 10000);
        QCOMPARE(SettingsStore::instance().token(), m_token);
        QTRY_VERIFY_WITH_TIMEOUT(!m_delegate->pauseNotifications(), 30000);
    }

    void folderOfTenThousandEntries()
    {
        QTemporaryDir dir;
        for (int i = 0; i < 10000; ++i)
            QFile(dir.filePath(QStringLiteral("f%1").arg(i, 5, 10, QLatin1Char('0')))).open(QIODevice::WriteOnly);
        QFile(dir.filePath(".hidden")).open(QIODevice::WriteOnly);
        QString error;
        const QStringList entries = FolderUploader::directoryEntries(dir.path(), &error);
        QVERIFY(error.isEmpty());
        QCOMPARE(entries.size(), 10000);
        QCOMPARE(entries.first(), dir.filePath("f00000"));
        QCOMPARE(entries.last(), dir.filePath("f09999"));
        FolderUploader::directoryEntries(dir.filePath("nope"), &error);
        QVERIFY(error.contains("cannot be read"));
    }
};

QTEST_MAIN(TestAppDelegate)
#include "tst_appdelegate.moc"
