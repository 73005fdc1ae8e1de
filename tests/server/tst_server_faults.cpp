// Fault injection: each kind does what it says, is counted, can be switched
// at start and at run time, and part PUT counts show which parts were resent.
#include "referenceserver.h"

#include <QDir>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QtTest>

class ServerFaultsTest : public QObject
{
    Q_OBJECT

private:
    using Reply = ReferenceServer::Reply;
    ReferenceServer m_server;
    QString m_token;

    QJsonObject presign()
    {
        return m_server
            .api("POST", "/v1/files/alice", m_token, { { "name", "a.bin" }, { "mimeType", "application/x-a" } })
            .json();
    }

    bool isStored(const QJsonObject &file)
    {
        return m_server.api("GET", "/v1/files/alice/" + file["code"].toString(), m_token).status == 200;
    }

    int injected(const QString &name) { return m_server.faultCounters()["injected"].toObject()[name].toInt(); }

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
        QTest::newRow("500") << "put.500=1/1,put.max=1"
                             << "put.500" << 500 << false << false;
        QTest::newRow("no etag") << "put.noetag=1/1,put.max=1"
                                 << "put.noetag" << 200 << false << true;
        QTest::newRow("drop") << "put.drop=1/1,put.max=1"
                              << "put.drop" << -1 << false << false;
        QTest::newRow("stall") << "put.stall=1/1,put.max=1,stall-ms=50"
                               << "put.stall" << 200 << true << true;
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
        QCOMPARE(injected(counter), 1);
        // Nothing half-written is left behind.
        QTRY_COMPARE(QDir(m_server.dataDir() + "/store/tmp").entryList(QDir::Files).size(), 0);

        const QJsonObject next = presign();
        const Reply healthy = m_server.request("PUT", next["url"].toString(), "fine");
        QCOMPARE(healthy.status, 200);
        QVERIFY(healthy.headers.contains("etag"));
        QVERIFY(isStored(next));
    }

    // A stalled PUT is stored and then held: the fault has fired and the
    // file is there while its answer has not come yet.
    void stalledPutIsAnsweredOnlyAfterTheStall()
    {
        const int before = injected("put.stall");
        QVERIFY(m_server.setFaults("put.stall=1/1,put.max=1,stall-ms=10000"));
        const QJsonObject file = presign();
        QNetworkAccessManager network;
        std::unique_ptr<QNetworkReply> reply(network.put(QNetworkRequest(QUrl(file["url"].toString())), "held"));
        QTRY_COMPARE(injected("put.stall"), before + 1);
        QTRY_VERIFY(isStored(file));
        QVERIFY(!reply->isFinished());
        QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), 30000);
        QCOMPARE(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), 200);
        QVERIFY(reply->hasRawHeader("ETag"));
    }

    void apiFaults_data()
    {
        QTest::addColumn<QString>("faults");
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("json");
        QTest::newRow("500 with JSON") << "api.500json=1/1,api.max=1" << 500 << true;
        QTest::newRow("500 without JSON") << "api.500text=1/1,api.max=1" << 500 << false;
        QTest::newRow("401") << "api.401=1/1,api.max=1" << 401 << true;
        QTest::newRow("empty 200") << "api.empty=1/1,api.max=1" << 200 << false;
    }

    void apiFaults()
    {
        QFETCH(QString, faults);
        QFETCH(int, status);
        QFETCH(bool, json);
        QVERIFY(m_server.setFaults(faults));
        const Reply faulty = m_server.api("GET", "/v1/users/me", m_token);
        QCOMPARE(faulty.status, status);
        QCOMPARE(!QJsonDocument::fromJson(faulty.body).isNull(), json);
        const Reply healthy = m_server.api("GET", "/v1/users/me", m_token);
        QCOMPARE(healthy.status, 200);
        QCOMPARE(healthy.json()["email"].toString(), "alice@example.com");
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
            const QString url = server.api("POST", "/v1/files/rita", token, { { "name", "f" }, { "mimeType", "a/b" } })
                                    .json()["url"]
                                    .toString();
            statuses << server.request("PUT", url, "data").status;
        }
        QCOMPARE(statuses, QList<int>({ 200, 200, 500, 200, 200, 500 }));
        QCOMPARE(server.faultCounters()["injected"].toObject()["put.500"].toInt(), 2);
        QCOMPARE(server.faultCounters()["faults"].toString(), options.faults);
    }

    void partCountsShowWhichPartsWereSentAgain()
    {
        const QByteArray bytes(3 * 1024, 'p');
        const QJsonObject init = m_server
                                     .api("POST", "/v1/files/alice", m_token,
                                         { { "name", "big" }, { "mimeType", "application/octet-stream" },
                                             { "size", double(bytes.size()) }, { "type", "multipart" } })
                                     .json();
        // A 5 MiB part size makes this a single part; ask with three small ones instead.
        const QString uploadId = init["uploadId"].toString();
        const QJsonArray parts
            = m_server
                  .api("POST", "/v1/files/alice/parts", m_token,
                      { { "key", init["key"] }, { "uploadId", uploadId }, { "partNumbers", QJsonArray { 1 } } })
                  .json()["parts"]
                  .toArray();
        const QString url = parts[0].toObject()["url"].toString();
        QVERIFY(m_server.setFaults("put.500=1/1,put.max=2,put.only=parts"));
        QCOMPARE(m_server.request("PUT", url, bytes).status, 500);
        QCOMPARE(m_server.request("PUT", url, bytes).status, 500);
        QCOMPARE(m_server.request("PUT", url, bytes).status, 200);
        QCOMPARE(m_server.partPutCounts(uploadId), (QMap<int, int> { { 1, 3 } }));
        QCOMPARE(m_server.partStoredCounts(uploadId), (QMap<int, int> { { 1, 1 } }));
        QVERIFY(m_server.partPutCounts("unknown").isEmpty());
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
