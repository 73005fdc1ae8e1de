// The login page in a real browser: headless chromium fills in the form and is
// sent on to the app's URL scheme with a token that the API accepts.
#include "referenceserver.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QtTest>
#include <QUrlQuery>

class ServerBrowserTest : public QObject
{
    Q_OBJECT

private slots:
    void browserLoginEndsInTheAppScheme()
    {
        const QString node = QStandardPaths::findExecutable("node");
        const QString tests = qEnvironmentVariable("TESSLY_SOURCE_DIR") + "/tests";
        const QString chromium = qEnvironmentVariable("TESSLY_CHROMIUM", "/usr/bin/chromium");
        if (node.isEmpty() || !QDir(tests + "/node_modules/playwright-core").exists() || !QFile::exists(chromium))
            QSKIP("needs node, playwright-core (npm ci in tests/) and chromium");

        ReferenceServer server;
        QVERIFY2(server.start(), qPrintable(server.errorString()));
        QVERIFY(!server.addUser("browser@example.com", "b-pass-1", "browsing").isEmpty());

        QProcess browser;
        browser.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        browser.start(node,
            { tests + "/server/browser-login.mjs", server.baseUrl().toString() + "/auth/login?redirectTo=app",
                "browser@example.com", "b-pass-1" });
        QVERIFY(browser.waitForFinished(90000));
        QCOMPARE(browser.exitCode(), 0);
        const QJsonObject seen = QJsonDocument::fromJson(browser.readAllStandardOutput()).object();
        QCOMPARE(seen["status"].toInt(), 302);
        const QUrl location(seen["location"].toString());
        QCOMPARE(location.scheme(), "tessly");
        const QUrlQuery query(location);
        QCOMPARE(query.queryItemValue("domain"), "browsing");
        const QString token = query.queryItemValue("token", QUrl::FullyDecoded);
        const ReferenceServer::Reply me = server.api("GET", "/v1/users/me", token);
        QCOMPARE(me.status, 200);
        QCOMPARE(me.json()["email"].toString(), "browser@example.com");
    }
};

QTEST_GUILESS_MAIN(ServerBrowserTest)
#include "tst_server_browser.moc"
