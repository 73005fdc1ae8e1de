// The single-request upload against the real reference service: presign, the
// streamed PUT and what it reports, many PUTs at once, cancelling them, and
// the video thumbnail helper.
#include "api.h"
#include "capturenaming.h"
#include "dispatch.h"
#include "logcapture.h"
#include "loopbackpeer.h"
#include "notificationrecorder.h"
#include "notifications.h"
#include "referenceserver.h"
#include "settingsstore.h"
#include "testfiles.h"

#include <QCryptographicHash>
#include <QFile>
#include <QImage>
#include <QLoggingCategory>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <memory>

namespace {

struct Presign
{
    bool done = false;
    bool success = false;
    QVariantMap response;
    Error error;
};

struct Put
{
    bool done = false;
    bool success = false;
    bool onMainThread = false;
    QVariantMap response;
};

bool isMainThread()
{
    return QThread::currentThread() == QCoreApplication::instance()->thread();
}

// The signature of a presigned URL, which must never reach a log line.
QString signatureOf(const QString &url)
{
    const QString query = QUrl(url).query(QUrl::FullyEncoded);
    for (const QString &item : query.split(QLatin1Char('&'))) {
        if (item.contains(QLatin1String("Signature=")))
            return item.section(QLatin1Char('='), 1);
    }
    return {};
}

} // namespace

class TestApiUpload : public QObject
{
    Q_OBJECT
private:
    ReferenceServer server;
    QTemporaryDir dir;
    QString token;

    // The stored object, fetched the way a visitor of the share link does.
    QByteArray downloadedHash(const QString &code) { return server.shareDownloadSha256("alice", code); }

    static void presign(const QString &path, const QString &parent, const QVariant &order, Presign &out)
    {
        API::instance().requestUploadURLForFile(QUrl::fromLocalFile(path), parent, order,
            [&out](bool success, const QVariantMap &response, const Error &error) {
                out = { true, success, response, error };
            });
        QTRY_VERIFY_WITH_TIMEOUT(out.done, 20000);
    }

    static void startPut(const QVariantMap &presigned, const QString &path, const QString &taskId, Put &out)
    {
        API::instance().uploadFileToS3(QUrl(presigned.value(QStringLiteral("url")).toString()),
            QUrl::fromLocalFile(path), presigned, taskId, [&out](bool success, const QVariantMap &response) {
                out = { true, success, isMainThread(), response };
            });
    }

    // Presign and PUT one file to the service.
    void upload(const QString &path, Presign &presigned, Put &put, int timeoutMs = 30000)
    {
        presign(path, QString(), QVariant(), presigned);
        QVERIFY2(presigned.success, qPrintable(presigned.error.toString()));
        startPut(presigned.response, path, QStringLiteral("7"), put);
        QTRY_VERIFY_WITH_TIMEOUT(put.done, timeoutMs);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        QVERIFY2(server.start(), qPrintable(server.errorString()));
        token = server.signIn(QStringLiteral("alice"));
        QVERIFY2(!token.isEmpty(), qPrintable(server.errorString()));
    }

    void init()
    {
        qputenv("TESSLY_API_URL", server.apiUrl().toUtf8());
        QVERIFY(server.setFaults(QStringLiteral("off")));
    }

    void fileArrivesWholeWithItsRecord()
    {
        const QString path = TestFiles::random(dir.path(), QStringLiteral("Screen Shot.png"), 3 * 1024 * 1024 + 17);
        LogCapture log;
        NotificationRecorder progress(Notifications::UploadProgressNotification);
        NotificationRecorder complete(Notifications::UploadCompleteNotification);

        Presign presigned;
        presign(path, QString(), 3, presigned);
        QVERIFY2(presigned.success, qPrintable(presigned.error.toString()));
        const QString url = presigned.response.value(QStringLiteral("url")).toString();
        const QString code = presigned.response.value(QStringLiteral("code")).toString();
        QVERIFY(!url.isEmpty() && !code.isEmpty());
        QVERIFY(log.contains(QStringLiteral("Endpoint %1v1/files/alice").arg(server.baseUrl().toString() + '/')));

        Put put;
        startPut(presigned.response, path, QStringLiteral("4242"), put);
        QVERIFY(!put.done); // never inside the call
        QTRY_VERIFY_WITH_TIMEOUT(put.done, 30000);
        QVERIFY(put.success);
        QVERIFY(put.onMainThread);
        QCOMPARE(put.response, presigned.response);
        QVERIFY(log.contains(QStringLiteral("✅ S3 PUT succeeded for Screen Shot.png")));
        QVERIFY(!log.containsText(QStringLiteral("S3 PUT failed")));
        QCOMPARE(complete.objects(), QList<QVariantMap> { presigned.response }); // the record itself, no wrapper

        QCOMPARE(downloadedHash(code), TestFiles::sha256(path));
        const auto record = server.api("GET", QStringLiteral("/v1/files/alice/%1").arg(code), token);
        QCOMPARE(record.status, 200);
        QCOMPARE(record.json().value("order").toString(), QStringLiteral("3"));
        QCOMPARE(record.json().value("mimeType").toString(), QStringLiteral("image/png"));
        QCOMPARE(record.json().value("name").toString(), QStringLiteral("Screen Shot.png"));

        // One notification per callback that sent bytes: the increments add
        // up to the file, the fraction only grows and ends at 1.
        const auto reports = progress.objects();
        QVERIFY2(reports.size() >= 2, qPrintable(QString::number(reports.size())));
        qint64 sent = 0;
        float last = 0;
        for (const QVariantMap &report : reports) {
            QCOMPARE(report.value(QStringLiteral("taskId")).toString(), QStringLiteral("4242"));
            QCOMPARE(report.value(QStringLiteral("url")).toString(), url);
            QCOMPARE(report.value(QStringLiteral("progress")).typeId(), QMetaType::Float);
            QCOMPARE(report.value(QStringLiteral("bytesSent")).typeId(), QMetaType::LongLong);
            const qint64 increment = report.value(QStringLiteral("bytesSent")).toLongLong();
            QVERIFY(increment > 0 && increment < QFileInfo(path).size());
            sent += increment;
            const float fraction = report.value(QStringLiteral("progress")).toFloat();
            QVERIFY(fraction > last);
            last = fraction;
        }
        QCOMPARE(sent, QFileInfo(path).size());
        QCOMPARE(last, 1.0f);
        QCOMPARE(log.count(QStringLiteral("task.taskDescription 4242")), int(reports.size()));
    }

    void presignBodyAndAnswerWithoutUrl()
    {
        // A peer that sees the body byte for byte and answers without "url".
        LoopbackPeer peer;
        peer.setResponse(200, R"({"code": "abc"})");
        qputenv("TESSLY_API_URL", peer.apiUrl().toUtf8());
        const QString path = dir.filePath(QStringLiteral("notes.md"));
        LogCapture log;
        Presign presigned;
        presign(path, QStringLiteral("alice/12"), 3, presigned);

        QVERIFY(!presigned.success);
        QCOMPARE(presigned.response, (QVariantMap { { QStringLiteral("code"), QStringLiteral("abc") } }));
        QVERIFY(presigned.error.isNull());
        QVERIFY(log.contains(QStringLiteral("No S3 URL returned for %1").arg(QUrl::fromLocalFile(path).toString())));
        QCOMPARE(peer.requests().size(), 1);
        const auto request = peer.requests().first();
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.target, QByteArray("/v1/files/alice"));
        QCOMPARE(request.headers.value("authorization"), ("Bearer " + token).toUtf8());
        QCOMPARE(request.headers.value("content-type"), QByteArray("application/json"));
        const QVariantMap body = QJsonDocument::fromJson(request.body).toVariant().toMap();
        QCOMPARE(body,
            (QVariantMap { { QStringLiteral("name"), QStringLiteral("notes.md") },
                { QStringLiteral("mimeType"), QStringLiteral("text/markdown") },
                { QStringLiteral("parentItem"), QStringLiteral("alice/12") },
                { QStringLiteral("order"), QStringLiteral("3") } })); // the order as text, not a number

        // The service's own error answer has no "url" either: it is handed
        // on whole, and nothing is raised for the user (nor below).
        qputenv("TESSLY_API_URL", server.apiUrl().toUtf8());
        QVERIFY(server.setFaults(QStringLiteral("api.500json=1")));
        NotificationRecorder visible(Notifications::UserVisibleErrorNotification);
        Presign refused;
        presign(path, QString(), QVariant(), refused);
        QVERIFY(!refused.success);
        QCOMPARE(refused.response.value(QStringLiteral("message")).toString(), QStringLiteral("Injected fault"));
        QVERIFY(visible.objects().isEmpty());

        // An empty answer gives no dictionary at all.
        QVERIFY(server.setFaults(QStringLiteral("api.empty=1")));
        Presign empty;
        presign(path, QString(), QVariant(), empty);
        QVERIFY(!empty.success);
        QVERIFY(empty.response.isEmpty());

        // An unreachable service: its transport error is handed on and logged.
        ClosedPort closed;
        qputenv("TESSLY_API_URL", QStringLiteral("http://127.0.0.1:%1/v1/").arg(closed.port()).toUtf8());
        Presign unreachable;
        presign(path, QString(), QVariant(), unreachable);
        QVERIFY(!unreachable.success);
        QVERIFY(unreachable.response.isEmpty());
        QCOMPARE(unreachable.error.code, -1004);
        QVERIFY(log.contains(QStringLiteral("POST→S3 prep failed for %1: %2")
                                 .arg(QUrl::fromLocalFile(path).toString(), unreachable.error.toString())));
        QVERIFY(visible.objects().isEmpty());
    }

    void refusedPutCountsAsDone()
    {
        const QString path = TestFiles::random(dir.path(), QStringLiteral("refused.bin"), 10000);
        QVERIFY(server.setFaults(QStringLiteral("put.500=1")));
        LogCapture log;
        NotificationRecorder complete(Notifications::UploadCompleteNotification);
        Presign presigned;
        Put put;
        upload(path, presigned, put);

        QVERIFY(put.success); // only a transport failure fails the upload
        QCOMPARE(put.response, presigned.response);
        QCOMPARE(complete.objects(), QList<QVariantMap> { presigned.response });
        QCOMPARE(server.injected("put.500"), 1);
        const QString block = log.lines().filter(QStringLiteral("❌ S3 PUT failed for refused.bin\n")).value(0);
        QVERIFY2(block.startsWith(QStringLiteral("❌ S3 PUT failed for refused.bin\n  error: (null)\n  status: 500\n  "
                                                 "url: http://127.0.0.1:")),
            qPrintable(block));
        QVERIFY(block.contains(QStringLiteral("\n body: <?xml")));
        QVERIFY(block.endsWith(QStringLiteral("</Error>\n\n")));
        const QString signature = signatureOf(presigned.response.value(QStringLiteral("url")).toString());
        QVERIFY(signature.size() >= 16);
        QVERIFY2(!log.containsText(signature), qPrintable(block)); // redacted by the log handler
        QVERIFY(log.lines().filter(QRegularExpression(QStringLiteral("^Body <\\?xml"))).size() == 1);
        QVERIFY(!log.containsText(QStringLiteral("✅")));
    }

    void answersWithoutBodyAndUnreadableFiles()
    {
        LoopbackPeer peer;
        peer.setResponse(403, QByteArray());
        const QString path = TestFiles::random(dir.path(), QStringLiteral("forbidden.txt"), 3 * 1024 * 1024 + 7);
        LogCapture log;
        const QVariantMap record { { QStringLiteral("code"), QStringLiteral("xyz") },
            { QStringLiteral("url"), QStringLiteral("http://127.0.0.1:%1/bucket/key?x=1%2F2").arg(peer.port()) } };
        Put put;
        startPut(record, path, QString(), put);
        QTRY_VERIFY(put.done);
        QVERIFY(put.success);
        QVERIFY(log.contains(QStringLiteral("Body <no response body>")));
        QCOMPARE(peer.requests().size(), 1);
        const auto request = peer.requests().first();
        QCOMPARE(request.method, QByteArray("PUT"));
        QCOMPARE(request.target, QByteArray("/bucket/key?x=1%2F2")); // the signed query exactly as given
        QCOMPARE(request.headers.value("content-type"), QByteArray("text/plain"));
        QCOMPARE(request.headers.value("content-length"), QByteArray::number(3 * 1024 * 1024 + 7));
        QCOMPARE(QCryptographicHash::hash(request.body, QCryptographicHash::Sha256), TestFiles::sha256(path));
        QVERIFY(!request.headers.contains("authorization"));
        QVERIFY(!request.headers.contains("expect")); // no 100-continue round trip before the body

        // A file that cannot be read fails without anything being sent, and
        // is still announced as ended.
        NotificationRecorder complete(Notifications::UploadCompleteNotification);
        Put missing;
        startPut(record, dir.filePath(QStringLiteral("gone.txt")), QStringLiteral("1"), missing);
        QVERIFY(!missing.done);
        QTRY_VERIFY(missing.done);
        QVERIFY(!missing.success);
        QVERIFY(missing.onMainThread);
        QCOMPARE(missing.response, record);
        QCOMPARE(complete.objects(), QList<QVariantMap> { record });
        QVERIFY(log.containsText(QStringLiteral("❌ S3 PUT failed for gone.txt\n  error: Error "
                                                "Domain=TesslyURLErrorDomain Code=-1100")));
        QCOMPARE(peer.requests().size(), 1);
    }

    void callsFromOtherThreadsCompleteOnTheMainThread()
    {
        const QString path = TestFiles::random(dir.path(), QStringLiteral("threaded.bin"), 5000);
        Presign presigned;
        bool presignOnMain = false;
        Dispatch::background([&] {
            API::instance().requestUploadURLForFile(QUrl::fromLocalFile(path), QString(), QVariant(),
                [&](bool success, const QVariantMap &response, const Error &error) {
                    presignOnMain = isMainThread();
                    presigned = { true, success, response, error };
                });
        });
        QTRY_VERIFY(presigned.done);
        QVERIFY(presigned.success);
        QVERIFY(presignOnMain);
        Put put;
        Dispatch::background([&] { startPut(presigned.response, path, QStringLiteral("9"), put); });
        QTRY_VERIFY(put.done);
        QVERIFY(put.success);
        QVERIFY(put.onMainThread);
        QCOMPARE(downloadedHash(presigned.response.value(QStringLiteral("code")).toString()), TestFiles::sha256(path));
    }

    void tenPutsToOneHostRunAtOnce()
    {
        // Every PUT is held by the store after its body arrived. If fewer
        // than ten ran at once, the store could not hold ten before the
        // first is let go.
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=6000")));
        const int stalledBefore = server.injected("put.stall"); // the counts run on across fault lists
        constexpr int kCount = 10;
        std::array<Presign, kCount> presigned;
        std::array<Put, kCount> puts;
        QStringList paths;
        for (int i = 0; i < kCount; ++i) {
            paths << TestFiles::random(dir.path(), QStringLiteral("parallel-%1.bin").arg(i), 20000 + i);
            presign(paths.last(), QString(), QVariant(), presigned[i]);
            QVERIFY(presigned[i].success);
        }
        for (int i = 0; i < kCount; ++i)
            startPut(presigned[i].response, paths[i], QString::number(i), puts[i]);
        const auto finished
            = [&] { return std::count_if(puts.begin(), puts.end(), [](const Put &p) { return p.done; }); };
        QTRY_VERIFY_WITH_TIMEOUT(server.injected("put.stall") - stalledBefore == kCount || finished() > 0, 20000);
        QCOMPARE(finished(), 0);
        QCOMPARE(server.injected("put.stall") - stalledBefore, kCount);

        QTRY_VERIFY_WITH_TIMEOUT(finished() == kCount, 30000);
        for (int i = 0; i < kCount; ++i) {
            QVERIFY(puts[i].success);
            QCOMPARE(downloadedHash(presigned[i].response.value(QStringLiteral("code")).toString()),
                TestFiles::sha256(paths[i]));
        }
    }

    void cancelAllEndsEveryPutInFlight()
    {
        LogCapture log;
        API::instance().cancelAllS3Uploads(); // nothing in flight
        QVERIFY(log.contains(QStringLiteral("[API] Found 0 upload tasks to cancel")));
        QVERIFY(log.contains(QStringLiteral("[API] All S3 upload tasks cancelled")));
        log.clear();

        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=20000")));
        const int stalledBefore = server.injected("put.stall");
        constexpr int kCount = 3;
        std::array<Presign, kCount> presigned;
        std::array<Put, kCount> puts;
        QStringList paths;
        for (int i = 0; i < kCount; ++i) {
            paths << TestFiles::random(dir.path(), QStringLiteral("stalled-%1.bin").arg(i), 4000);
            presign(paths.last(), QString(), QVariant(), presigned[i]);
            startPut(presigned[i].response, paths[i], QString::number(i), puts[i]);
        }
        QTRY_COMPARE_WITH_TIMEOUT(server.injected("put.stall") - stalledBefore, kCount, 10000);
        NotificationRecorder complete(Notifications::UploadCompleteNotification);
        API::instance().cancelAllS3Uploads();
        for (const Put &put : puts) {
            QTRY_VERIFY_WITH_TIMEOUT(put.done, 5000); // well before the store lets go
            QVERIFY(!put.success);
            QVERIFY(put.onMainThread);
        }
        QCOMPARE(complete.objects().size(), kCount);
        QVERIFY(log.contains(QStringLiteral("[API] Cancelling all S3 upload tasks")));
        QVERIFY(log.contains(QStringLiteral("[API] Found 3 upload tasks to cancel")));
        QCOMPARE(log.lines().filter(QStringLiteral("[API] Cancelling upload task: http://127.0.0.1:")).size(), kCount);
        QVERIFY(log.contains(QStringLiteral("[API] All S3 upload tasks cancelled")));
        QCOMPARE(log.lines().filter(QStringLiteral("Domain=TesslyURLErrorDomain Code=-999")).size(), kCount);
        for (const Presign &p : presigned) {
            const QString signature = signatureOf(p.response.value(QStringLiteral("url")).toString());
            QVERIFY(!signature.isEmpty() && !log.containsText(signature));
        }
    }

    void videoThumbnailIsTheFirstFrame()
    {
        const QString ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
        if (ffmpeg.isEmpty())
            QSKIP("ffmpeg is not installed");
        QTemporaryDir tmp;
        const QByteArray oldTmp = qgetenv("TMPDIR");
        qputenv("TMPDIR", tmp.path().toLocal8Bit());
        const auto restore = qScopeGuard([&] { qputenv("TMPDIR", oldTmp); });

        // Half a second of 96x64: red, then blue from 0.1 s on.
        const QString video = tmp.filePath(QStringLiteral("clip.mp4"));
        QProcess make;
        make.start(ffmpeg,
            { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                QStringLiteral("-i"), QStringLiteral("color=c=red:s=96x64:r=30:d=0.1"), QStringLiteral("-f"),
                QStringLiteral("lavfi"), QStringLiteral("-i"), QStringLiteral("color=c=blue:s=96x64:r=30:d=0.4"),
                QStringLiteral("-filter_complex"), QStringLiteral("[0][1]concat=n=2:v=1"), QStringLiteral("-pix_fmt"),
                QStringLiteral("yuv420p"), QStringLiteral("-y"), video });
        QVERIFY(make.waitForFinished(30000));
        QCOMPARE(make.exitCode(), 0);

        const QUrl thumbnail = API::instance().getVideoThumbnail(QUrl::fromLocalFile(video));
        QCOMPARE(thumbnail, QUrl::fromLocalFile(CaptureNaming::temporaryDirectory() + "video-thumbnail.png"));
        QImage image(thumbnail.toLocalFile(), "PNG");
        QCOMPARE(image.size(), QSize(96, 64));
        const QColor centre = image.pixelColor(48, 32);
        QVERIFY2(centre.red() > 200 && centre.blue() < 60, qPrintable(centre.name()));

        // Not a video: no picture, and the last one is left alone.
        const QString notVideo = TestFiles::random(dir.path(), QStringLiteral("noise.mp4"), 4096);
        const QDateTime written = QFileInfo(thumbnail.toLocalFile()).lastModified();
        QVERIFY(API::instance().getVideoThumbnail(QUrl::fromLocalFile(notVideo)).isEmpty());
        QCOMPARE(QFileInfo(thumbnail.toLocalFile()).lastModified(), written);
        // The thumbnail alone, no partial file left beside it.
        QCOMPARE(QDir(CaptureNaming::temporaryDirectory()).entryList({ "video-thumbnail*" }, QDir::Files),
            QStringList { "video-thumbnail.png" });
    }
};

QTEST_GUILESS_MAIN(TestApiUpload)
#include "tst_apiupload.moc"
