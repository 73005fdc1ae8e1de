// Fault injection: each PUT fault does what it says, is counted, and can be
// switched at start and at run time. The API faults are seen through the
// client (tst_api), part PUT counts through multipart runs
// (tst_multipartupload), a stall holding its answer through tst_apiupload.
#include "referenceserver.h"

#include <QDir>
#include <QtTest>

class ServerFaultsTest : public QObject
{
    Q_OBJECT

private:
    using Reply = ReferenceServer::Reply;
    ReferenceServer m_server;
    QString m_token;

    QJsonObject presign() { return m_server.presign(m_token, "alice", "a.bin"); }

    bool isStored(const QJsonObject &file)
    {
        return m_server.api("GET", "/v1/files/alice/" + file["code"].toString(), m_token).status == 200;
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(m_server.start(), qPrintable(m_server.errorString()));
        m_token = m_server.addUser("alice@example.com", "alice-pass", "alice");
    }

    void init() { QVERIFY(m_server.setFaults("off")); }

    void putFaultsMisbehaveOnceThenStop_data()
    {
        QTest::addColumn<QString>("faults");
        QTest::addColumn<QString>("counter");
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("etag");
        QTest::addColumn<bool>("stored");
        const auto row = [](const char *name, const QString &extra, int status, bool etag, bool stored) {
            const QString counter = QStringLiteral("put.") + QString::fromLatin1(name);
            QTest::newRow(name) << counter + "=1/1,put.max=1" + extra << counter << status << etag << stored;
        };
        row("500", "", 500, false, false);
        row("noetag", "", 200, false, true);
        row("drop", "", -1, false, false);
        row("stall", ",stall-ms=50", 200, true, true);
    }

    void putFaultsMisbehaveOnceThenStop()
    {
        QFETCH(QString, faults);
        QFETCH(QString, counter);
        QFETCH(int, status);
        QFETCH(bool, etag);
        QFETCH(bool, stored);
        QVERIFY(m_server.setFaults(faults));
        const QJsonObject file = presign();
        const Reply faulty = m_server.request("PUT", file["url"].toString(), QByteArray(200000, 'x'));
        if (status < 0) {
            // The answer breaks off: a transport error, not a retry behind the caller's back.
            QCOMPARE(faulty.error, QNetworkReply::RemoteHostClosedError);
        } else {
            QCOMPARE(faulty.status, status);
        }
        QCOMPARE(faulty.headers.contains("etag"), etag);
        QCOMPARE(isStored(file), stored);
        QCOMPARE(m_server.injected(counter), 1);
        // Nothing half-written is left behind.
        QTRY_COMPARE(QDir(m_server.dataDir() + "/store/tmp").entryList(QDir::Files).size(), 0);

        const QJsonObject next = presign();
        const Reply healthy = m_server.request("PUT", next["url"].toString(), "fine");
        QCOMPARE(healthy.status, 200);
        QVERIFY(healthy.headers.contains("etag"));
        QVERIFY(isStored(next));
    }

    void ratioFromTheCommandLineIsExact()
    {
        ReferenceServer server;
        ReferenceServer::Options options;
        options.faults = "put.500=1/3,put.only=objects";
        QVERIFY2(server.start(options), qPrintable(server.errorString()));
        const QString token = server.addUser("r@example.com", "r-pass", "rita");
        QList<int> statuses;
        for (int i = 0; i < 6; ++i) {
            statuses << server.request("PUT", server.presign(token, "rita", "f")["url"].toString(), "data").status;
        }
        QCOMPARE(statuses, QList<int>({ 200, 200, 500, 200, 200, 500 }));
        QCOMPARE(server.injected("put.500"), 2);
        QCOMPARE(server.faultCounters()["faults"].toString(), options.faults);
    }

    void badFaultListsAreRefusedAndChangeNothing_data()
    {
        QTest::addColumn<QString>("faults");
        QTest::newRow("unknown fault") << "put.explode=1";
        QTest::newRow("share above one") << "put.500=2";
        QTest::newRow("bad ratio") << "api.401=3/2";
        QTest::newRow("not a pair") << "put.500";
        QTest::newRow("bad option") << "put.only=everything";
    }

    void badFaultListsAreRefusedAndChangeNothing()
    {
        QFETCH(QString, faults);
        QVERIFY(m_server.setFaults("api.empty=0"));
        QVERIFY(!m_server.setFaults(faults));
        QVERIFY(!m_server.errorString().isEmpty());
        QCOMPARE(m_server.faultCounters()["faults"].toString(), "api.empty=0");
    }
};

QTEST_GUILESS_MAIN(ServerFaultsTest)
#include "tst_server_faults.moc"
