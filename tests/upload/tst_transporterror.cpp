#include "api.h"
#include "logcapture.h"
#include "loopbackpeer.h"
#include "notificationrecorder.h"
#include "notifications.h"
#include "referenceserver.h"
#include "settingsstore.h"
#include "transporterror.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

// Each row of the transport table is produced by a real cause on this
// machine: a closed port, a name that cannot resolve, a peer that hangs up or
// never answers, TLS spoken to a plain port, a self-signed certificate, an
// aborted request, and a network namespace without any network.

namespace {

struct Seen
{
    bool done = false;
    bool success = true;
    Error error;
    QList<QVariantMap> visible;
};

// Sends GET /v1/users/me to `apiUrl` through the client and records the
// completion and the user-visible notifications.
Seen callThroughApi(const QString &apiUrl, int timeoutMs = 60000)
{
    qputenv("TESSLY_API_URL", apiUrl.toUtf8());
    Seen seen;
    NotificationRecorder visible(Notifications::UserVisibleErrorNotification);
    const int previous = API::instance().requestTimeoutMs();
    API::instance().setRequestTimeoutMs(timeoutMs);
    API::instance().getMe([&seen](bool ok, const QVariant &, const Error &error) {
        seen.done = true;
        seen.success = ok;
        seen.error = error;
    });
    (void)QTest::qWaitFor([&seen] { return seen.done; }, 30000);
    API::instance().setRequestTimeoutMs(previous);
    seen.visible = visible.objects();
    return seen;
}

// Child mode: run inside a network namespace with no network at all.
int offlineChild()
{
    const Seen seen = callThroughApi(QStringLiteral("http://api.tessly.example/v1/"));
    QTextStream(stdout) << seen.error.code << "|" << seen.error.localizedDescription << "|"
                        << seen.visible.value(0).value("error").toString() << "|"
                        << seen.visible.value(0).value("message").toString() << "|"
                        << TransportError::machineIsOffline();
    return 0;
}

} // namespace

class TestTransportError : public QObject
{
    Q_OBJECT
    QTemporaryDir m_home;
    ReferenceServer m_plain;

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("XDG_CONFIG_HOME", m_home.path().toLocal8Bit());
        QVERIFY2(m_plain.start(), qPrintable(m_plain.errorString()));
        SettingsStore::instance().setToken(QStringLiteral("tk_transport"));
    }

    void realCausesMapToTheirRows_data()
    {
        QTest::addColumn<QString>("cause");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("message");
        const auto row
            = [](const char *name, const QString &cause, int code, const QString &title = "Connection failed",
                  const QString &message = "Could not connect to the server. Please check your connection.") {
                  QTest::newRow(name) << cause << code << title << message;
              };
        row("closed port", "closed", -1004);
        row("unresolvable name", "dns", -1003, "DNS error", "Could not connect to remote host");
        row("peer hangs up", "drop", -1005);
        row("peer never answers", "silent", -1001, "Network error", "The request timed out.");
        row("TLS to a plain port", "tls-plain", -1200);
        row("self-signed certificate", "self-signed", -1202);
    }

    void realCausesMapToTheirRows()
    {
        QFETCH(QString, cause);
        QFETCH(int, code);
        QFETCH(QString, title);
        QFETCH(QString, message);

        const TransportCause setup(cause, m_plain);
        const QString url = setup.url(QStringLiteral("/v1/"));
        QVERIFY(!url.isEmpty());
        if (cause == QLatin1String("dns") && TransportError::machineIsOffline())
            QSKIP("this machine has no network, so a failed lookup is reported as offline (tested below)");

        LogCapture log;
        const Seen seen = callThroughApi(url, cause == QLatin1String("silent") ? 300 : 60000);
        QVERIFY(!seen.success);
        QCOMPARE(seen.error.domain, QStringLiteral("TesslyURLErrorDomain"));
        QCOMPARE(seen.error.code, code);
        QVERIFY(!seen.error.localizedDescription.isEmpty());
        QCOMPARE(seen.visible.size(), 1);
        QCOMPARE(seen.visible.first().value("error").toString(), title);
        QCOMPARE(seen.visible.first().value("message").toString(), message);
        QCOMPARE(seen.visible.first().value("hideButton"), QVariant(true));
        QVERIFY(log.contains(QStringLiteral("Network error: ") + seen.error.toString()));
        QVERIFY(!log.containsText(QStringLiteral("tk_transport")));
        if (cause == QLatin1String("self-signed"))
            QVERIFY2(seen.error.localizedDescription.contains(QLatin1String("self-signed")),
                qPrintable(seen.error.localizedDescription));
    }

    void abortedRequestIsCancelled()
    {
        LoopbackPeer silent(LoopbackPeer::Mode::Silent);
        QNetworkAccessManager manager;
        QNetworkReply *reply = manager.get(QNetworkRequest(QUrl(silent.apiUrl())));
        QTRY_COMPARE(silent.connections(), 1);
        reply->abort();
        QVERIFY(TransportError::isTransportFailure(reply));
        const Error error = TransportError::fromReply(reply);
        QCOMPARE(error.code, -999);
        QCOMPARE(error.localizedDescription, QStringLiteral("cancelled"));
        delete reply;
    }

    void descriptionsClassifyLikeThePlatformWording()
    {
        // The offline sentence also contains "connect": offline must win.
        const Error offline = TransportError::fromNetworkError(QNetworkReply::NetworkSessionFailedError);
        QVERIFY(offline.localizedDescription.contains(QLatin1String("offline")));
        QVERIFY(offline.localizedDescription.contains(QLatin1String("connect")));
        // Every error Qt can report maps to a code and a sentence.
        for (int e = 1; e < 500; ++e) {
            const Error mapped = TransportError::fromNetworkError(QNetworkReply::NetworkError(e));
            QVERIFY(mapped.code != 0);
            QVERIFY(!mapped.localizedDescription.isEmpty());
        }
    }

    void machineWithoutNetworkIsReportedOffline()
    {
        QProcess child;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("TST_TRANSPORT_OFFLINE_CHILD"), QStringLiteral("1"));
        child.setProcessEnvironment(env);
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        // A new network namespace has only a loopback interface, and it is down.
        child.start(QStringLiteral("unshare"), { QStringLiteral("--net"), QCoreApplication::applicationFilePath() });
        QVERIFY(child.waitForFinished(60000));
        const QByteArray output = child.readAllStandardOutput();
        if (child.exitCode() != 0 || output.isEmpty()) {
            QProcess probe;
            probe.start(QStringLiteral("unshare"), { QStringLiteral("--net"), QStringLiteral("true") });
            if (!probe.waitForFinished(10000) || probe.exitStatus() != QProcess::NormalExit || probe.exitCode() != 0)
                QSKIP("network namespaces are not available here (unshare --net failed)");
            QFAIL("the child without network failed");
        }
        const QStringList fields = QString::fromUtf8(output).split(QLatin1Char('|'));
        QCOMPARE(fields.size(), 5);
        QCOMPARE(fields.at(0), QStringLiteral("-1009"));
        QVERIFY(fields.at(1).contains(QLatin1String("offline")));
        QCOMPARE(fields.at(2), QStringLiteral("No connection"));
        QCOMPARE(fields.at(3), QStringLiteral("Your connection is offline"));
        QCOMPARE(fields.at(4), QStringLiteral("1"));
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsSet("TST_TRANSPORT_OFFLINE_CHILD"))
        return offlineChild();
    TestTransportError test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_transporterror.moc"
