// Uploads through the client's queue to the reference service on its
// external S3 back-end, over s3rver (an S3 implementation written by others):
// the presigned URLs the client is handed point at that store, so these runs
// catch a client that assumes the embedded store (its URL shapes, its ETags,
// its answers) rather than S3's. s3rver does not check SigV4 signatures or
// part ETags, so those rules are tested against the embedded store and the
// signing unit tests.
#include "api.h"
#include "logcapture.h"
#include "multipartuploadstate.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "referenceserver.h"
#include "settingsstore.h"
#include "testfiles.h"

#include <QCryptographicHash>
#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr qint64 kMultipartThreshold = 52'428'800;

struct Outcome
{
    bool done = false;
    bool success = false;
    QVariantMap response;
};

} // namespace

class TestS3Upload : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir s3Dir;
    QTemporaryDir dir;
    QProcess s3rver;
    QString s3Endpoint;
    ReferenceServer server;
    QString token;

    // Uploads one file through the queue, as every front end does, and waits
    // for the queue's announcement of that file (the queue reports results
    // only that way).
    static void upload(const QString &path, Outcome &outcome)
    {
        const QUrl url = QUrl::fromLocalFile(path);
        QObject observer;
        NotificationCenter::defaultCenter().addObserver(
            &observer, Notifications::UploadCompleteNotification, [&](const Notification &n) {
                const QVariantMap record = n.objectMap();
                if (record.value(QStringLiteral("file")).toUrl() == url)
                    outcome = { true, record.value(QStringLiteral("succeeded")).toBool(),
                        record.value(QStringLiteral("response")).toMap() };
            });
        API::instance().uploadFile(url, {});
        QVERIFY(QTest::qWaitFor([&] { return outcome.done; }, 50000));
        QVERIFY2(outcome.success, QJsonDocument(QJsonObject::fromVariantMap(outcome.response)).toJson().constData());
    }

    // Follows the share page's download redirect to the store, as a visitor's
    // browser does, and hashes what the store serves.
    void checkStoredBytes(const QString &code, const QString &path)
    {
        QVERIFY(!code.isEmpty());
        const auto redirect = server.request("GET", QStringLiteral("/%1/download").arg(code), {},
            { { "Host", QStringLiteral("s3user.%1").arg(server.webDomain()).toUtf8() } });
        QCOMPARE(redirect.status, 302);
        const QString location = QString::fromUtf8(redirect.headers.value("location"));
        QVERIFY2(location.startsWith(s3Endpoint), qPrintable(location));
        const auto stored = server.request("GET", location);
        QCOMPARE(stored.status, 200);
        QCOMPARE(QCryptographicHash::hash(stored.body, QCryptographicHash::Sha256), TestFiles::sha256(path));
    }

private Q_SLOTS:
    void initTestCase()
    {
        const QString node = QStandardPaths::findExecutable(QStringLiteral("node"));
        const QString tests = qEnvironmentVariable("TESSLY_SOURCE_DIR") + QStringLiteral("/tests");
        if (node.isEmpty() || !QDir(tests + QStringLiteral("/node_modules/s3rver")).exists())
            QSKIP("s3rver is not installed: run npm ci in tests/");
        s3rver.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        s3rver.start(node, { tests + QStringLiteral("/server/s3rver-run.mjs"), s3Dir.path() });
        QVERIFY(s3rver.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(s3rver.canReadLine(), 20000);
        const QByteArray line = s3rver.readLine().trimmed();
        QVERIFY2(line.startsWith("listening on "), line.constData());
        s3Endpoint = QString::fromUtf8(line.mid(13));

        ReferenceServer::Options options;
        options.s3Endpoint = s3Endpoint;
        options.s3Bucket = QStringLiteral("tessly-client");
        options.s3AccessKey = QStringLiteral("S3RVER");
        options.s3SecretKey = QStringLiteral("S3RVER");
        QVERIFY2(server.start(options), qPrintable(server.errorString()));
        token = server.signIn(QStringLiteral("s3user"));
        QVERIFY2(!token.isEmpty(), qPrintable(server.errorString()));
    }

    void cleanupTestCase()
    {
        server.stop();
        if (s3rver.state() == QProcess::Running) {
            s3rver.terminate();
            s3rver.waitForFinished(5000);
        }
    }

    // Under the 50 MiB threshold a file goes in one request; over it, in the
    // service's 5 MiB parts: eleven, the last one short, so the window of four
    // in flight slides twice and the completion lists parts that s3rver
    // answered with its own ETags.
    void uploadLandsInTheStore_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<qint64>("size");
        QTest::addColumn<QString>("route");
        QTest::newRow("one request") << "note.txt" << qint64(300 * 1024 + 7) << "using regular upload";
        QTest::newRow("in parts") << "archive.bin" << kMultipartThreshold + 12'345 << "using multipart upload";
    }

    void uploadLandsInTheStore()
    {
        QFETCH(QString, name);
        QFETCH(qint64, size);
        QFETCH(QString, route);
        const QString path = TestFiles::random(dir.path(), name, size);
        QVERIFY(!path.isEmpty());
        LogCapture log;
        Outcome outcome;
        upload(path, outcome);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(log.containsText(route));
        // The bytes went past the service, and the link is handed out at once:
        // its first visitor may come before anything asked the API about it.
        const QString code = outcome.response.value(QStringLiteral("code")).toString();
        const auto page = server.request(
            "GET", "/" + code, {}, { { "Host", QStringLiteral("s3user.%1").arg(server.webDomain()).toUtf8() } });
        QCOMPARE(page.status, 200);
        bool found = false, answered = false;
        QVariant record;
        API::instance().waitForNewFile(
            code, [&](bool ok, const QVariant &r, bool) { found = ok, record = r, answered = true; });
        QVERIFY(QTest::qWaitFor([&] { return answered; }, 30000));
        QVERIFY(found);
        QCOMPARE(record.toMap().value(QStringLiteral("size")).toLongLong(), size);
        checkStoredBytes(code, path);
        QVERIFY(!TLMultipartUploadState::stateForFilePath(path)); // nothing left to resume
    }

    void abortEndsTheUploadForTheService()
    {
        const ReferenceServer::Multipart upload = server.initiateMultipart(
            token, QStringLiteral("s3user"), QByteArray(kMultipartThreshold, Qt::Uninitialized));
        QCOMPARE(server.abort(upload).status, 204);
        const auto late = server.partUrls(upload, { 1 });
        QCOMPARE(late.status, 404);
        QCOMPARE(late.json()["error"].toString(), QStringLiteral("NoSuchUpload"));
    }
};

QTEST_GUILESS_MAIN(TestS3Upload)
#include "tst_s3upload.moc"
