// The application controller's pure decisions, without a desktop: what a
// callback URL carries, which files a file manager put on the clipboard,
// where a welcome-page link goes, and the support mail. (The sound table is
// tst_settingswindowcontroller's, through the sound setting.)
#include "errorviewcontroller.h"
#include "filegrabber.h"
#include "logcapture.h"
#include "loginurl.h"
#include "welcomewindowcontroller.h"

#include <QApplication>
#include <QMimeData>
#include <QTest>
#include <QUrlQuery>

class TestAppController : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        qputenv("TESSLY_WEB_DOMAIN", "tessly.test");
        qputenv("TESSLY_API_URL", "https://api.tessly.test/v1/");
        qputenv("TESSLY_SUPPORT_EMAIL", "help@tessly.test");
    }

    void queryParameters_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("token");
        QTest::addColumn<bool>("tokenIsNull");
        QTest::addColumn<QString>("domain");
        QTest::newRow("both") << "tessly://login?token=abc%2B1&domain=demo"
                              << "abc+1" << false << "demo";
        QTest::newRow("first of two wins") << "tessly://login?token=A&token=B"
                                           << "A" << false << QString();
        QTest::newRow("empty value") << "tessly://login?token=&domain=d"
                                     << "" << false << "d";
        QTest::newRow("missing key") << "tessly://login?domain=d" << QString() << true << "d";
        QTest::newRow("no query at all") << "tessly://login"
                                         << "" << false << "";
    }

    void queryParameters()
    {
        QFETCH(QString, url);
        QFETCH(QString, token);
        QFETCH(bool, tokenIsNull);
        QFETCH(QString, domain);
        const QString got = LoginURL::getQueryStringParameter(QUrl(url), QStringLiteral("token"));
        QCOMPARE(got, token);
        QCOMPARE(got.isNull(), tokenIsNull);
        QCOMPARE(LoginURL::getQueryStringParameter(QUrl(url), QStringLiteral("domain")), domain);
        QVERIFY(LoginURL::isShareClipboard(QUrl(QStringLiteral("tessly://shareClipboard"))));
        QVERIFY(!LoginURL::isShareClipboard(QUrl(url)));
    }

    void fileManagerClipboards_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QStringList>("paths");
        const QStringList two { QStringLiteral("/home/u/a b.png"), QStringLiteral("/home/u/Dir") };
        QTest::newRow("nautilus") << "x-special/gnome-copied-files"
                                  << QByteArray("copy\nfile:///home/u/a%20b.png\nfile:///home/u/Dir") << two;
        QTest::newRow("uri-list with CRLF and a comment")
            << "text/uri-list" << QByteArray("# from dolphin\r\nfile:///home/u/a%20b.png\r\nfile:///home/u/Dir\r\n")
            << two;
        QTest::newRow("kde form") << "application/x-kde4-urilist"
                                  << QByteArray("file:///home/u/a%20b.png\nfile:///home/u/Dir\n") << two;
        QTest::newRow("remote and repeated entries dropped")
            << "text/uri-list" << QByteArray("https://example.com/x.png\nfile:///tmp/x\nfile:///tmp/x\n")
            << QStringList { QStringLiteral("/tmp/x") };
        QTest::newRow("cut with nothing after it")
            << "x-special/gnome-copied-files" << QByteArray("cut") << QStringList {};
    }

    void fileManagerClipboards()
    {
        QFETCH(QString, format);
        QFETCH(QByteArray, data);
        QFETCH(QStringList, paths);
        QMimeData mime;
        mime.setData(format, data);
        QCOMPARE(FileGrabber::pathsFromMimeData(&mime), paths);
    }

    void welcomeLinks_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<bool>("staysInWindow");
        QTest::addColumn<QString>("opened");
        const QString login = QStringLiteral("https://tessly.test/auth/login?redirectTo=app");
        QTest::newRow("login page elsewhere") << "https://other.example/login" << false << login;
        QTest::newRow("login in the query") << "https://help.example/?next=/login" << false << login;
        QTest::newRow("plain web link") << "https://help.example/start" << false << "https://help.example/start";
        QTest::newRow("page of the bundle") << "qrc:/welcome/more.html" << true << "qrc:/welcome/more.html";
        QTest::newRow("local file") << "file:///usr/share/doc/x.html" << true << "file:///usr/share/doc/x.html";
    }

    void welcomeLinks()
    {
        QFETCH(QString, link);
        QFETCH(bool, staysInWindow);
        QFETCH(QString, opened);
        const auto decision = WelcomeWindowController::decidePolicyForNavigation(QUrl(link));
        QCOMPARE(decision.policy == WelcomeWindowController::Policy::Allow, staysInWindow);
        QCOMPARE(decision.url.toString(), opened);
    }

    void welcomePageShipsAndMissingPageIsSaid()
    {
        WelcomeWindowController shipped;
        QVERIFY(shipped.webview()->toPlainText().contains(QStringLiteral("Welcome to Tessly Cloud")));
        QList<QUrl> opened;
        shipped.setUrlOpener([&](const QUrl &url) { opened << url; });
        shipped.navigate(QUrl(QStringLiteral("https://tessly.cloud/auth/login")));
        QCOMPARE(opened, QList<QUrl> { QUrl(QStringLiteral("https://tessly.test/auth/login?redirectTo=app")) });

        LogCapture log;
        WelcomeWindowController missing(QStringLiteral(":/welcome/no-such-page.html"));
        QVERIFY(missing.webview()->toPlainText().isEmpty());
        QVERIFY(log.containsText(QStringLiteral("Error: HTML file not found in bundle.")));
    }

    void errorReportMail()
    {
        ErrorViewController view;
        view.setError({ { QStringLiteral("error"), QStringLiteral("Upload failed") },
            { QStringLiteral("message"), QStringLiteral("It broke") },
            { QStringLiteral("data"), QStringLiteral("status 500 & more") } });
        QVERIFY(!view.errorButton()->isHidden());
        const QUrl mail = view.reportUrl();
        QCOMPARE(mail.scheme(), QStringLiteral("mailto"));
        QCOMPARE(mail.path(), QStringLiteral("help@tessly.test"));
        const QUrlQuery query(mail);
        QCOMPARE(
            query.queryItemValue(QStringLiteral("subject"), QUrl::FullyDecoded), QStringLiteral("Error Linux App"));
        QCOMPARE(query.queryItemValue(QStringLiteral("body"), QUrl::FullyDecoded),
            QStringLiteral("Error Data\n====\n\nstatus 500 & more"));
        view.setError(
            { { QStringLiteral("error"), QStringLiteral("No file") }, { QStringLiteral("hideButton"), true } });
        QVERIFY(view.errorButton()->isHidden());
    }
};

QTEST_MAIN(TestAppController)
#include "tst_appcontroller.moc"
