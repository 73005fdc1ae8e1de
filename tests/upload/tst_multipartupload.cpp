// Multipart uploads against the real reference service: the four calls, the
// part PUT, and whole sessions with faults, pauses and abort. A record resumed
// in a later run sends no finished part again: tst_upload_command counts the
// PUTs of each part after its runs are killed.
#include "logcapture.h"
#include "loopbackpeer.h"
#include "multipartapiclient.h"
#include "multipartuploadsession.h"
#include "notificationrecorder.h"
#include "notifications.h"
#include "referenceserver.h"
#include "settingsstore.h"
#include "testfiles.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QUrlQuery>

#include <numeric>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr qint64 kPartSize = 64 * 1024;

struct Outcome
{
    bool done = false;
    bool success = false;
    QVariantMap response;
    Error error;
};

} // namespace

class TestMultipartUpload : public QObject
{
    Q_OBJECT
private:
    ReferenceServer server;
    QTemporaryDir dir;
    QString token;

    // The stored object, fetched the way a visitor of the share link does.
    QByteArray downloadedHash(const QString &code) { return server.shareDownloadSha256("alice", code); }

    // Starts the session; its completion fills in `outcome`.
    static void start(const std::shared_ptr<TLMultipartUploadSession> &session, Outcome &outcome)
    {
        session->startWithProgressHandler(
            {}, [&outcome](bool success, const QVariantMap &response, const Error &error) {
                outcome = { true, success, response, error };
            });
    }

    // Starts the session and waits for its completion (QTRY_* needs a void function).
    static void run(const std::shared_ptr<TLMultipartUploadSession> &session, Outcome &outcome, int timeoutMs = 30000)
    {
        start(session, outcome);
        QTRY_VERIFY_WITH_TIMEOUT(outcome.done, timeoutMs);
    }

    static bool noPartStoredTwice(const QMap<int, int> &stored, int parts)
    {
        if (stored.size() != parts)
            return false;
        return std::all_of(stored.begin(), stored.end(), [](int n) { return n == 1; });
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        ReferenceServer::Options options;
        options.partSize = kPartSize;
        QVERIFY2(server.start(options), qPrintable(server.errorString()));
        token = server.signIn(QStringLiteral("alice"));
        QVERIFY2(!token.isEmpty(), qPrintable(server.errorString()));
        // The service here cuts files into small parts, to keep them quick.
        TLMultipartAPIClient::sharedClient().setMinimumPartSize(1024);
    }

    void init() { QVERIFY(server.setFaults(QStringLiteral("off"))); }

    void clientSpeaksEachCall()
    {
        LogCapture log;
        auto &client = TLMultipartAPIClient::sharedClient();
        QString uploadId, key, code;
        quint64 partSize = 0;
        bool done = false;
        client.initializeMultipartUploadForFileName(QStringLiteral("notes.bin"),
            QStringLiteral("application/octet-stream"), 1000, QString(), QVariant(),
            [&](bool ok, const QString &u, const QString &k, quint64 size, const QString &c, const QString &,
                const Error &e) {
                QVERIFY2(ok, qPrintable(e.toString()));
                uploadId = u, key = k, partSize = size, code = c, done = true;
            });
        QTRY_VERIFY(done);
        QCOMPARE(partSize, quint64(kPartSize));
        QVERIFY(!code.isEmpty());
        QVERIFY(log.contains(
            QStringLiteral("[TLMultipartAPIClient] Init multipart success: uploadId=%1, key=%2, partSize=%3")
                .arg(uploadId, key)
                .arg(kPartSize)));

        QVariantList parts;
        done = false;
        client.getPresignedURLsForKey(key, uploadId, { 1 }, [&](bool ok, const QVariantList &p, const Error &) {
            QVERIFY(ok);
            parts = p, done = true;
        });
        QTRY_VERIFY(done);
        QCOMPARE(parts.size(), 1);
        QVERIFY(log.contains(QStringLiteral("[TLMultipartAPIClient] Got 1 presigned URLs")));
        const QString signature = QUrlQuery(QUrl(parts[0].toMap().value(QStringLiteral("url")).toString()))
                                      .queryItemValue(QStringLiteral("X-Amz-Signature"));
        QVERIFY(!signature.isEmpty());

        // The part goes as an octet stream whatever MIME type is passed, and the
        // ETag comes back as the store wrote it, quotes included.
        const QByteArray bytes(1000, 'x');
        QString etag;
        qint64 lastTotal = 0;
        done = false;
        auto task = client.uploadPartData(
            bytes, parts[0].toMap().value(QStringLiteral("url")).toString(), QStringLiteral("image/png"),
            [&](qint64, qint64 total, qint64) { lastTotal = total; },
            [&](bool ok, const QString &e, const Error &) {
                QVERIFY(ok);
                etag = e, done = true;
            });
        QVERIFY(task);
        QTRY_VERIFY(done);
        QCOMPARE(etag, QStringLiteral("\"398533d48111e9f664b1f64cb10c4b63\"")); // MD5 of the 1000 bytes
        QCOMPARE(lastTotal, qint64(1000));

        QVariant response;
        done = false;
        client.completeMultipartUploadForKey(key, uploadId,
            { QVariantMap { { QStringLiteral("partNumber"), 1 }, { QStringLiteral("etag"), etag } } },
            [&](bool ok, const QVariant &r, const Error &e) {
                QVERIFY2(ok, qPrintable(e.toString()));
                response = r, done = true;
            });
        QTRY_VERIFY(done);
        QVERIFY(response.toMap().contains(QStringLiteral("code")));
        QVERIFY2(!log.containsText(signature), "a presigned signature reached the log");
        QCOMPARE(downloadedHash(code), QCryptographicHash::hash(bytes, QCryptographicHash::Sha256));
    }

    void clientFailuresCarryStatusBodyOrCause()
    {
        LogCapture log;
        auto &client = TLMultipartAPIClient::sharedClient();
        Error error;
        bool done = false;
        const auto initiate = [&] {
            done = false;
            client.initializeMultipartUploadForFileName(QStringLiteral("a"), QStringLiteral("t"), 1, {}, {},
                [&](bool ok, const QString &, const QString &, quint64, const QString &, const QString &,
                    const Error &e) {
                    QVERIFY(!ok);
                    error = e;
                    done = true;
                });
            QTRY_VERIFY(done);
        };

        QVERIFY(server.setFaults(QStringLiteral("api.500text=1")));
        initiate();
        QCOMPARE(error.domain, QStringLiteral("TLMultipartAPIClient"));
        QCOMPARE(error.code, 500);
        QVERIFY(!error.localizedDescription.isEmpty());
        QVERIFY(log.contains(QStringLiteral("[TLMultipartAPIClient] Init multipart HTTP error 500: %1")
                                 .arg(error.localizedDescription)));

        // An answer that is not JSON fails to parse.
        QVERIFY(server.setFaults(QStringLiteral("api.empty=1")));
        initiate();
        QVERIFY(log.containsText(QStringLiteral("[TLMultipartAPIClient] Failed to parse init response: ")));

        // A service that accepts the request and never answers times out; the
        // transport error goes back unchanged.
        LoopbackPeer silent(LoopbackPeer::Mode::Silent);
        const QByteArray saved = qgetenv("TESSLY_API_URL");
        qputenv("TESSLY_API_URL", silent.apiUrl().toUtf8());
        client.setRequestTimeoutMs(300);
        initiate();
        client.setRequestTimeoutMs(60000);
        qputenv("TESSLY_API_URL", saved);
        QCOMPARE(error.code, -1001);
        QVERIFY(log.containsText(QStringLiteral("[TLMultipartAPIClient] Init multipart failed: ")));

        // A URL that is not one: refused at once, nothing sent.
        bool failedAtOnce = false;
        auto task = client.uploadPartData(
            "x", QStringLiteral("not a url"), {}, {}, [&](bool ok, const QString &, const Error &e) {
                failedAtOnce = !ok && e.localizedDescription == QLatin1String("Invalid presigned URL") && e.code == -1;
            });
        QVERIFY(!task);
        QVERIFY(failedAtOnce);
    }

    void sessionUploadsTheExactFileInParts()
    {
        LogCapture log;
        const qint64 size = 12 * kPartSize + 123;
        const QString path = TestFiles::random(dir.path(), QStringLiteral("big take.mov"), size);
        NotificationRecorder partDone(Notifications::MultipartUploadPartCompleteNotification);
        NotificationRecorder completed(Notifications::MultipartUploadCompletedNotification);
        NotificationRecorder progress(Notifications::MultipartUploadProgressNotification);

        auto session
            = TLMultipartUploadSession::create(QUrl::fromLocalFile(path), QString(), QVariant(), QStringLiteral("77"));
        Outcome outcome;
        run(session, outcome);
        QVERIFY2(outcome.success, qPrintable(outcome.error.toString()));
        QCOMPARE(session->state(), int(TLMultipartUploadSession::Completed));
        QCOMPARE(session->progress(), 1.0f);

        const QString code = outcome.response.value(QStringLiteral("code")).toString();
        QCOMPARE(code, session->currentState()->code());
        QCOMPARE(downloadedHash(code), TestFiles::sha256(path));
        QVERIFY(noPartStoredTwice(server.partStoredCounts(session->uploadId()), 13));
        QTRY_COMPARE(completed.seen().size(), 1);
        QCOMPARE(partDone.seen().size(), 13);
        for (const QVariantMap &note : partDone.objects()) {
            QCOMPARE(note.value(QStringLiteral("taskId")).toString(), QStringLiteral("77"));
            QCOMPARE(note.value(QStringLiteral("totalParts")).toULongLong(), quint64(13));
        }
        for (const QVariantMap &note : progress.objects())
            QVERIFY(note.value(QStringLiteral("isMultipart")).toBool());
        QCOMPARE(progress.objects().last().value(QStringLiteral("progress")).toFloat(), 1.0f);
        QVERIFY(!TLMultipartUploadState::stateForUploadId(session->uploadId()));
        QVERIFY(log.contains(
            QStringLiteral("[TLMultipartUploadSession] Initialized: 13 parts, partSize=%1").arg(kPartSize)));
        QVERIFY(log.contains(QStringLiteral("[TLMultipartUploadSession] Upload completed successfully")));
    }

    void partUrlsComeAHundredAtATime()
    {
        // 250 parts: URLs for 1-100, then 101-200, then 201-250, a pass each.
        ReferenceServer small;
        ReferenceServer::Options options;
        options.partSize = 1024;
        QVERIFY(small.start(options) && !small.signIn(QStringLiteral("alice")).isEmpty());

        LogCapture log;
        const QString path = TestFiles::random(dir.path(), QStringLiteral("many.bin"), 250 * 1024);
        auto session
            = TLMultipartUploadSession::create(QUrl::fromLocalFile(path), QString(), QVariant(), QStringLiteral("1"));
        Outcome outcome;
        run(session, outcome);
        qputenv("TESSLY_API_URL", server.apiUrl().toUtf8());
        SettingsStore::instance().setToken(token);
        QVERIFY2(outcome.success, qPrintable(outcome.error.toString()));

        QStringList batches;
        for (const QString &line : log.lines()) {
            if (line.startsWith(QLatin1String("[TLMultipartAPIClient] Got "))
                || line.startsWith(QLatin1String("[TLMultipartUploadSession] Uploading ")))
                batches << line;
        }
        QCOMPARE(batches,
            (QStringList { QStringLiteral("[TLMultipartAPIClient] Got 100 presigned URLs"),
                QStringLiteral("[TLMultipartUploadSession] Uploading 100 parts"),
                QStringLiteral("[TLMultipartAPIClient] Got 100 presigned URLs"),
                QStringLiteral("[TLMultipartUploadSession] Uploading 100 parts"),
                QStringLiteral("[TLMultipartAPIClient] Got 50 presigned URLs"),
                QStringLiteral("[TLMultipartUploadSession] Uploading 50 parts") }));
    }

    void faultyStoreStillGetsEveryByte()
    {
        // A tenth of the part PUTs drop, fail or lose their ETag; failed parts
        // go again in the next pass until the object is whole.
        const int noEtagBefore = server.injected("put.noetag");
        QVERIFY(server.setFaults(QStringLiteral("put.drop=0.04,put.500=0.03,put.noetag=0.03,seed=7")));
        const QString path = TestFiles::random(dir.path(), QStringLiteral("faulty.bin"), 40 * kPartSize + 5);
        auto session
            = TLMultipartUploadSession::create(QUrl::fromLocalFile(path), QString(), QVariant(), QStringLiteral("2"));
        Outcome outcome;
        run(session, outcome, 60000);
        QVERIFY2(outcome.success, qPrintable(outcome.error.toString()));
        QVERIFY(server.faultCounters().value(QStringLiteral("putRequests")).toInt() > 41); // faults really happened
        QCOMPARE(downloadedHash(outcome.response.value(QStringLiteral("code")).toString()), TestFiles::sha256(path));

        // A part is stored again only when its answer lacked the ETag, so the
        // client could not know it had arrived.
        const auto stored = server.partStoredCounts(session->uploadId());
        QCOMPARE(stored.size(), 41);
        const int extraStores = std::accumulate(stored.begin(), stored.end(), 0) - 41;
        QCOMPARE(extraStores, server.injected("put.noetag") - noEtagBefore);
    }

    void pauseCancelsPartsInFlightAndResumeFinishes()
    {
        LogCapture log;
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=20000")));
        const QString path = TestFiles::random(dir.path(), QStringLiteral("paused.bin"), 10 * kPartSize);
        auto session
            = TLMultipartUploadSession::create(QUrl::fromLocalFile(path), QString(), QVariant(), QStringLiteral("3"));
        Outcome outcome;
        start(session, outcome);
        QTRY_COMPARE_WITH_TIMEOUT(server.partPutCounts(session->uploadId()).size(), 4, 10000); // four stalled in flight

        session->resume(); // not paused yet
        QVERIFY(log.contains(QStringLiteral("[TLMultipartUploadSession] Cannot resume - not in paused state")));
        QCOMPARE(session->state(), int(TLMultipartUploadSession::Uploading));

        session->pause();
        QCOMPARE(session->state(), int(TLMultipartUploadSession::Paused));
        QVERIFY(TLMultipartUploadState::stateForUploadId(session->uploadId())); // persisted for later
        // Each cancelled part counts one failed attempt once its PUT reports back.
        QTRY_COMPARE((std::count_if(session->currentState()->parts().begin(), session->currentState()->parts().end(),
                         [](const auto &p) { return p->retryCount() == 1; })),
            4);
        QVERIFY(!outcome.done);

        QVERIFY(server.setFaults(QStringLiteral("off")));
        session->resume();
        QVERIFY(session->state() != TLMultipartUploadSession::Paused);
        QTRY_VERIFY_WITH_TIMEOUT(outcome.done, 30000);
        QVERIFY2(outcome.success, qPrintable(outcome.error.toString()));
        QCOMPARE(downloadedHash(outcome.response.value(QStringLiteral("code")).toString()), TestFiles::sha256(path));
    }

    void abortTellsTheServiceAndForgetsTheRecord()
    {
        LogCapture log;
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=20000")));
        const QString path = TestFiles::random(dir.path(), QStringLiteral("aborted.bin"), 6 * kPartSize);
        auto session
            = TLMultipartUploadSession::create(QUrl::fromLocalFile(path), QString(), QVariant(), QStringLiteral("6"));
        Outcome outcome;
        start(session, outcome);
        QTRY_VERIFY_WITH_TIMEOUT(!server.partPutCounts(session->uploadId()).isEmpty(), 10000);

        session->abort();
        QTRY_VERIFY(outcome.done);
        QVERIFY(!outcome.success);
        QVERIFY(outcome.error.isNull());
        QCOMPARE(session->state(), int(TLMultipartUploadSession::Aborted));
        QVERIFY(log.contains(QStringLiteral("[TLMultipartUploadSession] S3 multipart upload aborted successfully")));
        QVERIFY(!TLMultipartUploadState::stateForUploadId(session->uploadId()));
    }

    void missingFileFailsAndSaysItCanResume()
    {
        NotificationRecorder failures(Notifications::MultipartUploadFailedNotification);
        auto session = TLMultipartUploadSession::create(
            QUrl::fromLocalFile(dir.filePath(QStringLiteral("gone.bin"))), QString(), QVariant(), QStringLiteral("8"));
        Outcome outcome;
        run(session, outcome);
        QVERIFY(!outcome.success);
        QVERIFY(!outcome.error.isNull());
        QCOMPARE(session->state(), int(TLMultipartUploadSession::Failed));
        QTRY_COMPARE(failures.seen().size(), 1);
        const QVariantMap failure = failures.objects().first();
        QCOMPARE(failure.value(QStringLiteral("taskId")).toString(), QStringLiteral("8"));
        QCOMPARE(failure.value(QStringLiteral("canResume")).toBool(), true);
        QVERIFY(failure.value(QStringLiteral("error")).value<Error>().code != 0);
    }

    // A part the store always refuses is sent exactly three times in a run
    // (no back-off is waited for), then the upload fails; the record stays,
    // as a later run may well get through.
    void partThatAlwaysFailsEndsTheUploadAfterThreeAttempts()
    {
        QVERIFY(server.setFaults(QStringLiteral("put.500=1,put.only=parts")));
        const QString path = TestFiles::random(dir.path(), QStringLiteral("refused.bin"), kPartSize + 10);
        auto session
            = TLMultipartUploadSession::create(QUrl::fromLocalFile(path), QString(), QVariant(), QStringLiteral("9"));
        Outcome outcome;
        LogCapture log;
        run(session, outcome);
        QVERIFY(!outcome.success);
        QCOMPARE(outcome.error.localizedDescription, QStringLiteral("Part 1 failed after max retries"));
        // The third failure is the last: no "retrying (3/3)".
        QVERIFY(log.contains(QStringLiteral("[TLMultipartUploadSession] Part 1 failed after max retries")));
        QVERIFY(!log.containsText(QStringLiteral("retrying (3/3)")));
        QCOMPARE(server.partPutCounts(session->uploadId()), (QMap<int, int> { { 1, 3 }, { 2, 3 } }));
        const auto record = TLMultipartUploadState::stateForUploadId(session->uploadId());
        QVERIFY(record);
        QCOMPARE(record->parts().first()->retryCount(), quint64(3));
        TLMultipartUploadState::removeStateForUploadId(session->uploadId());
    }

    // A pause that lands while the service has not yet answered the
    // initiate, and a resume right after, carry on once it answers.
    void pauseAndResumeDuringInitiate()
    {
        const QString path = TestFiles::random(dir.path(), QStringLiteral("early.bin"), 3 * kPartSize);
        auto session
            = TLMultipartUploadSession::create(QUrl::fromLocalFile(path), QString(), QVariant(), QStringLiteral("10"));
        Outcome outcome;
        start(session, outcome);
        session->pause();
        QVERIFY(!session->currentState()); // still initiating
        session->resume();
        QTRY_VERIFY_WITH_TIMEOUT(outcome.done, 30000);
        QVERIFY2(outcome.success, qPrintable(outcome.error.toString()));
        QCOMPARE(downloadedHash(outcome.response.value(QStringLiteral("code")).toString()), TestFiles::sha256(path));
    }

    // Parts sent before a change hold the old bytes: the upload must never
    // be assembled from two versions of the file.
    void changedFileIsNeverStitched_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<bool>("laterRun"); // a new run from the record, or resume() of the same session
        QTest::addColumn<QString>("log");
        QTest::newRow("rewritten in place, next run") << "rewrite" << true << "(it was modified): uploading it afresh";
        QTest::newRow("rewritten, modification time put back")
            << "rewrite, old time" << true << "(it was modified): uploading it afresh";
        QTest::newRow("rewritten in place, same run")
            << "rewrite" << false << "(it was modified): the upload is abandoned";
        QTest::newRow("truncated") << "truncate" << false
                                   << "(its size changed from 1310720 to 655360 bytes): the upload is abandoned";
        QTest::newRow("deleted") << "delete" << false << "(the file is gone): the upload is abandoned";
        // Whether the new file gets the old inode number is up to the file system.
        QTest::newRow("deleted, then back, next run") << "delete" << true << "uploading it afresh";
    }

    void changedFileIsNeverStitched()
    {
        QFETCH(QString, change);
        QFETCH(bool, laterRun);
        QFETCH(QString, log);
        const QString path = TestFiles::random(dir.path(), QStringLiteral("changing.bin"), 20 * kPartSize);
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1/2,stall-ms=20000")));
        auto first
            = TLMultipartUploadSession::create(QUrl::fromLocalFile(path), QString(), QVariant(), QStringLiteral("11"));
        Outcome firstOutcome;
        start(first, firstOutcome);
        QTRY_VERIFY_WITH_TIMEOUT(first->currentState() && first->currentState()->completedParts().size() >= 3, 10000);
        first->pause();
        const QString oldId = first->uploadId();
        const QString oldKey = first->key();
        QVERIFY(server.setFaults(QStringLiteral("off")));

        QFile file(path);
        if (change == QLatin1String("delete")) {
            QVERIFY(file.remove());
        } else if (change == QLatin1String("truncate")) {
            QVERIFY(file.resize(10 * kPartSize));
        } else {
            const bool oldTime = change.endsWith(QLatin1String("old time"));
            struct stat before
            {
            };
            QVERIFY(::stat(QFile::encodeName(path).constData(), &before) == 0);
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.seek(oldTime ? 0 : 10 * kPartSize));
            QCOMPARE(file.write(QByteArray(10 * kPartSize, 'R')), 10 * kPartSize);
            file.close();
            const timespec times[2] = { before.st_atim, before.st_mtim }; // as touch -d would, to the nanosecond
            QVERIFY(!oldTime || ::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0) == 0);
        }

        LogCapture captured;
        if (laterRun) {
            first.reset();
            const auto record = TLMultipartUploadState::stateForFilePath(path);
            QVERIFY(record);
            if (change == QLatin1String("delete")) // a new file under the old name, as long as the old one
                TestFiles::random(dir.path(), QStringLiteral("changing.bin"), 20 * kPartSize);
            Outcome outcome;
            run(TLMultipartUploadSession::create(record, QStringLiteral("12")), outcome);
            QVERIFY2(outcome.success, qPrintable(outcome.error.toString()));
            const QString code = outcome.response.value(QStringLiteral("code")).toString();
            QCOMPARE(downloadedHash(code), TestFiles::sha256(path));
            QVERIFY(code != record->code());
        } else {
            first->resume();
            QTRY_VERIFY_WITH_TIMEOUT(firstOutcome.done, 30000);
            QVERIFY(!firstOutcome.success);
            QVERIFY2(firstOutcome.error.localizedDescription.startsWith(
                         QStringLiteral("The file \u201cchanging.bin\u201d changed while it was being uploaded")),
                qPrintable(firstOutcome.error.localizedDescription));
        }
        QVERIFY(captured.containsText(
            QStringLiteral("[TLMultipartUploadSession] changing.bin changed since its upload began (")));
        QVERIFY2(captured.containsText(log), qPrintable(log));
        // The old upload is gone on both sides: nothing is left to resume it from.
        QVERIFY(!TLMultipartUploadState::stateForUploadId(oldId));
        const QJsonObject partsOfOld { { "key", oldKey }, { "uploadId", oldId }, { "partNumbers", QJsonArray { 1 } } };
        QTRY_VERIFY(server.api("POST", QStringLiteral("/v1/files/alice/parts"), token, partsOfOld).status >= 400);
        QFile::remove(path);
    }

    // What a hostile or broken service answers to the initiate: part sizes
    // S3 would refuse (and that would cut a file into millions of parts)
    // fail the upload and abort it on the service; a missing "partSize"
    // means 5 MiB.
    void initiateAnswersAreChecked_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<qint64>("fileSize");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QByteArrayList>("requests");
        const QByteArrayList refused { "/v1/files/alice", "/v1/files/alice/abort" };
        const QByteArray id = R"("uploadId": "u-hostile", "key": "k")";
        QTest::newRow("part size 1 for 60 MiB") << "{" + id + R"(, "partSize": 1})" << (qint64(60) << 20)
                                                << "The service asked for parts of 1 bytes" << refused;
        QTest::newRow("part size 0") << "{" + id + R"(, "partSize": 0})" << (qint64(60) << 20)
                                     << "The service asked for parts of 0 bytes" << refused;
        QTest::newRow("below 5 MiB") << "{" + id + R"(, "partSize": 5242879})" << (qint64(6) << 20)
                                     << "The service asked for parts of 5242879 bytes" << refused;
        QTest::newRow("over 10,000 parts") << "{" + id + R"(, "partSize": 5242880})" << qint64(5242880) * 10001
                                           << "The service asked for parts of 5242880 bytes" << refused;
        QTest::newRow("over 5 GiB a part") << "{" + id + R"(, "partSize": 6442450944})" << (qint64(7) << 30)
                                           << "The service asked for parts of 6442450944 bytes" << refused;
        QTest::newRow("no partSize: 5 MiB") << "{" + id + "}" << (qint64(6) << 20) << "Missing parts in response"
                                            << QByteArrayList { "/v1/files/alice", "/v1/files/alice/parts" };
    }

    void initiateAnswersAreChecked()
    {
        QFETCH(QByteArray, answer);
        QFETCH(qint64, fileSize);
        QFETCH(QString, error);
        QFETCH(QByteArrayList, requests);
        LoopbackPeer peer;
        peer.setResponse(200, answer);
        const QByteArray saved = qgetenv("TESSLY_API_URL");
        qputenv("TESSLY_API_URL", peer.apiUrl().toUtf8());
        auto &client = TLMultipartAPIClient::sharedClient();
        client.setMinimumPartSize(TLMultipartAPIClient::kDefaultPartSize);

        // Sparse: only the size matters before the first part is read.
        QFile file(dir.filePath(QStringLiteral("hostile.bin")));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(fileSize));
        file.close();
        auto session = TLMultipartUploadSession::create(
            QUrl::fromLocalFile(file.fileName()), QString(), QVariant(), QStringLiteral("13"));
        Outcome outcome;
        run(session, outcome);
        client.setMinimumPartSize(1024);
        qputenv("TESSLY_API_URL", saved);

        QVERIFY(!outcome.success);
        QVERIFY2(outcome.error.localizedDescription.startsWith(error), qPrintable(outcome.error.localizedDescription));
        QTRY_COMPARE(peer.requests().size(), requests.size());
        for (qsizetype i = 0; i < requests.size(); ++i)
            QCOMPARE(peer.requests().at(i).target, requests.at(i));
        const auto record = TLMultipartUploadState::stateForUploadId(QStringLiteral("u-hostile"));
        if (requests.last().endsWith("/parts")) {
            QVERIFY(record);
            QCOMPARE(record->partSize(), quint64(5242880));
            QCOMPARE(record->parts().size(), 2);
        } else {
            QVERIFY(!record);
        }
        TLMultipartUploadState::removeStateForUploadId(QStringLiteral("u-hostile"));
        file.remove();
    }
};

QTEST_GUILESS_MAIN(TestMultipartUpload)
#include "tst_multipartupload.moc"
