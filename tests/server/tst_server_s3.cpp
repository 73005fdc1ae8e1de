// External S3 mode against s3rver, an S3 implementation written by others,
// started here on loopback: the service creates and completes multipart
// uploads there and hands out presigned URLs that s3rver accepts. s3rver does
// not check SigV4 signatures or part ETags and cannot abort uploads, so those
// rules are tested against the embedded store and the signing unit tests.
#include "referenceserver.h"

#include <QCryptographicHash>
#include <QDir>
#include <QJsonArray>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {
constexpr qint64 kMinPart = 5 * 1024 * 1024; // S3's smallest part but the last
}

class ServerS3Test : public QObject
{
    Q_OBJECT

private:
    using Reply = ReferenceServer::Reply;
    QTemporaryDir m_s3Dir;
    QProcess m_s3rver;
    ReferenceServer m_server;
    QString m_token;

    QJsonObject initiate(qint64 size)
    {
        return m_server
            .api("POST", "/v1/files/alice", m_token,
                { { "name", "big.bin" }, { "mimeType", "application/octet-stream" }, { "size", double(size) },
                    { "type", "multipart" } })
            .json();
    }

    QString partUrl(const QJsonObject &upload, int number)
    {
        return m_server
            .api("POST", "/v1/files/alice/parts", m_token,
                { { "key", upload["key"] }, { "uploadId", upload["uploadId"] },
                    { "partNumbers", QJsonArray { number } } })
            .json()["parts"][0]
            .toObject()["url"]
            .toString();
    }

private slots:
    void initTestCase()
    {
        const QString node = QStandardPaths::findExecutable("node");
        const QString tests = qEnvironmentVariable("TESSLY_SOURCE_DIR") + "/tests";
        if (node.isEmpty() || !QDir(tests + "/node_modules/s3rver").exists())
            QSKIP("s3rver is not installed: run npm ci in tests/");
        m_s3rver.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_s3rver.start(node, { tests + "/server/s3rver-run.mjs", m_s3Dir.path() });
        QVERIFY(m_s3rver.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(m_s3rver.canReadLine(), 20000);
        const QByteArray line = m_s3rver.readLine().trimmed();
        QVERIFY2(line.startsWith("listening on "), line.constData());

        ReferenceServer::Options options;
        options.s3Endpoint = QString::fromUtf8(line.mid(13));
        options.s3Bucket = "tessly-test";
        options.s3AccessKey = "S3RVER";
        options.s3SecretKey = "S3RVER";
        QVERIFY2(m_server.start(options), qPrintable(m_server.errorString()));
        m_token = m_server.addUser("alice@example.com", "alice-pass", "alice");
        QVERIFY(!m_token.isEmpty());
    }

    void cleanupTestCase()
    {
        m_server.stop();
        if (m_s3rver.state() == QProcess::Running) {
            m_s3rver.terminate();
            m_s3rver.waitForFinished(5000);
        }
    }

    void singlePutGoesStraightToTheStore()
    {
        const QJsonObject file
            = m_server.api("POST", "/v1/files/alice", m_token, { { "name", "a.png" }, { "mimeType", "image/png" } })
                  .json();
        QVERIFY(!file["url"].toString().startsWith(m_server.baseUrl().toString()));
        const QString one = "/v1/files/alice/" + file["code"].toString();
        QCOMPARE(m_server.api("GET", one, m_token).status, 404);
        const QByteArray bytes = "png bytes from the client";
        const Reply put = m_server.request("PUT", file["url"].toString(), bytes, { { "Content-Type", "image/png" } });
        QCOMPARE(put.status, 200);
        QCOMPARE(
            put.headers.value("etag"), '"' + QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex() + '"');
        const Reply stored = m_server.api("GET", one, m_token);
        QCOMPARE(stored.status, 200);
        QCOMPARE(stored.json()["size"].toInt(), bytes.size());

        const Reply download = m_server.request("GET", "/" + file["code"].toString() + "/download", {},
            { { "Host", "alice." + m_server.webDomain().toUtf8() } });
        QCOMPARE(download.status, 302);
        QCOMPARE(m_server.request("GET", QString::fromUtf8(download.headers.value("location"))).body, bytes);
    }

    void sharePageFindsAFileNobodyAskedTheApiAbout()
    {
        // A link is handed out as soon as the PUT ends; the first visitor may
        // come before anything asks the API about the file.
        const QJsonObject file
            = m_server.api("POST", "/v1/files/alice", m_token, { { "name", "b.txt" }, { "mimeType", "text/plain" } })
                  .json();
        const QByteArray bytes = "shared at once";
        QCOMPARE(
            m_server.request("PUT", file["url"].toString(), bytes, { { "Content-Type", "text/plain" } }).status, 200);
        const Reply page = m_server.request(
            "GET", "/" + file["code"].toString(), {}, { { "Host", "alice." + m_server.webDomain().toUtf8() } });
        QCOMPARE(page.status, 200);
    }

    void multipartUploadCompletesInTheStore()
    {
        QByteArray bytes(kMinPart + 4321, Qt::Uninitialized);
        for (qsizetype i = 0; i < bytes.size(); ++i)
            bytes[i] = char(i * 7 % 251);
        const QJsonObject upload = initiate(bytes.size());
        QCOMPARE(upload["partSize"].toInteger(), kMinPart);
        QByteArray etags[2];
        for (int n = 1; n <= 2; ++n) {
            const Reply put = m_server.request("PUT", partUrl(upload, n), bytes.mid((n - 1) * kMinPart, kMinPart),
                { { "Content-Type", "application/octet-stream" } });
            QCOMPARE(put.status, 200);
            etags[n - 1] = put.headers.value("etag");
            QVERIFY(!etags[n - 1].isEmpty());
        }
        QJsonArray parts { QJsonObject { { "partNumber", 1 }, { "etag", QString(etags[0]) } },
            QJsonObject { { "partNumber", 2 }, { "etag", QString(etags[1]) } } };
        QJsonObject body { { "key", upload["key"] }, { "uploadId", upload["uploadId"] }, { "parts", parts } };
        const Reply done = m_server.api("POST", "/v1/files/alice/complete", m_token, body);
        QCOMPARE(done.status, 200);
        QCOMPARE(done.json()["size"].toInteger(), bytes.size());
        QVERIFY2(!done.json()["etag"].toString().isEmpty(), done.body.constData());
        QCOMPARE(m_server.api("GET", "/v1/files/alice/" + upload["code"].toString(), m_token).status, 200);
        const Reply download = m_server.request("GET", "/" + upload["code"].toString() + "/download", {},
            { { "Host", "alice." + m_server.webDomain().toUtf8() } });
        QCOMPARE(m_server.request("GET", QString::fromUtf8(download.headers.value("location"))).body, bytes);
    }

    void abortEndsTheUploadForTheService()
    {
        const QJsonObject upload = initiate(kMinPart * 2);
        const QJsonObject ids { { "key", upload["key"] }, { "uploadId", upload["uploadId"] } };
        QCOMPARE(m_server.api("POST", "/v1/files/alice/abort", m_token, ids).status, 204);
        QJsonObject more = ids;
        more.insert("partNumbers", QJsonArray { 1 });
        const Reply late = m_server.api("POST", "/v1/files/alice/parts", m_token, more);
        QCOMPARE(late.status, 404);
        QCOMPARE(late.json()["error"].toString(), "NoSuchUpload");
    }
};

QTEST_GUILESS_MAIN(ServerS3Test)
#include "tst_server_s3.moc"
