// The upload queue against the real reference service: the size threshold,
// ten at a time in order, batches and cancelling. A file queued again resumes
// its interrupted upload: tst_statusmenu's retry does that through the queue.
#include "api.h"
#include "fileuploadqueue.h"
#include "logcapture.h"
#include "multipartuploadsession.h"
#include "multipartuploadstate.h"
#include "notificationcenter.h"
#include "notificationrecorder.h"
#include "notifications.h"
#include "referenceserver.h"
#include "settingsstore.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

class TestFileUploadQueue : public QObject
{
    Q_OBJECT
private:
    ReferenceServer server;
    QTemporaryDir dir;

    QString makeFile(const QString &name, qint64 size)
    {
        const QString path = dir.filePath(name);
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(QByteArray(qMin<qint64>(size, 4096), 'x'));
        file.resize(size); // the rest reads as zeros
        return path;
    }

    static int indexOf(const QStringList &lines, const QString &text)
    {
        for (int i = 0; i < lines.size(); ++i) {
            if (lines[i].contains(text))
                return i;
        }
        return -1;
    }

    // Waits until the queue drains and returns the finished tasks' records.
    static QList<QVariantMap> drain(int timeoutMs = 60000)
    {
        QList<QVariantMap> completed;
        bool drained = false;
        QObject observer;
        auto &center = NotificationCenter::defaultCenter();
        center.addObserver(&observer, Notifications::UploadCompleteNotification, [&](const Notification &n) {
            if (n.objectMap().contains(QStringLiteral("file")))
                completed << n.objectMap();
        });
        center.addObserver(
            &observer, Notifications::BatchUploadCompleteNotification, [&](const Notification &) { drained = true; });
        QTest::qWaitFor([&] { return drained; }, timeoutMs);
        return completed;
    }

private Q_SLOTS:
    void initTestCase()
    {
        ReferenceServer::Options options;
        options.partSize = 8 * 1024 * 1024;
        QVERIFY2(server.start(options), qPrintable(server.errorString()));
        QVERIFY2(!server.signIn(QStringLiteral("queue")).isEmpty(), qPrintable(server.errorString()));
    }

    void init() { QVERIFY(server.setFaults(QStringLiteral("off"))); }

    // Told by what the service saw: with every part PUT refused, only the
    // file that went in parts fails.
    void thresholdChoosesTheWay()
    {
        QVERIFY(server.setFaults(QStringLiteral("put.500=1,put.only=parts")));
        const QString below = makeFile(QStringLiteral("below.bin"), 52'428'799);
        const QString at = makeFile(QStringLiteral("at.bin"), 52'428'800);
        API::instance().uploadFile(QUrl::fromLocalFile(below), {});
        API::instance().uploadFile(QUrl::fromLocalFile(at), {});
        QMap<QString, bool> succeeded;
        for (const auto &c : drain())
            succeeded.insert(QFileInfo(c.value(QStringLiteral("file")).toUrl().toLocalFile()).fileName(),
                c.value(QStringLiteral("succeeded")).toBool());
        QCOMPARE(succeeded, (QMap<QString, bool> { { "below.bin", true }, { "at.bin", false } }));
        const auto record = TLMultipartUploadState::stateForFilePath(at);
        QVERIFY(record);
        TLMultipartUploadState::removeStateForUploadId(record->uploadId());
    }

    void tenRunAtOnceAndTheRestFollowInOrder()
    {
        // Every object PUT is held a moment, so the first ten are all in
        // flight before any finishes.
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=1500,put.only=objects")));
        LogCapture log;
        for (int i = 1; i <= 12; ++i)
            API::instance().uploadFile(QUrl::fromLocalFile(makeFile(QStringLiteral("file%1.txt").arg(i), 100)), {});
        const auto completed = drain();
        QCOMPARE(completed.size(), 12);

        const QStringList lines = log.lines();
        const int firstDone = indexOf(lines, QStringLiteral("S3 PUT succeeded for"));
        QVERIFY(firstDone > 0);
        for (int i = 1; i <= 10; ++i) {
            const int started = indexOf(lines, QStringLiteral("/file%1.txt").arg(i));
            QVERIFY2(started >= 0 && started < firstDone, qPrintable(QString::number(i)));
        }
        const int eleventh = indexOf(lines, QStringLiteral("/file11.txt"));
        const int twelfth = indexOf(lines, QStringLiteral("/file12.txt"));
        QVERIFY(eleventh > firstDone);
        QVERIFY(twelfth > eleventh);
    }

    void batchReportsYesWithEveryTaskEvenAfterAFailure()
    {
        LogCapture log;
        bool batchDone = false, batchResult = false;
        const QList<QUrl> files { QUrl::fromLocalFile(makeFile(QStringLiteral("a.txt"), 10)),
            QUrl::fromLocalFile(dir.filePath(QStringLiteral("vanished.txt"))),
            QUrl::fromLocalFile(makeFile(QStringLiteral("c.txt"), 10)) };
        API::instance().uploadFiles(files, QString(), [&](bool success) {
            batchDone = true;
            batchResult = success;
        });
        const auto completed = drain();
        QVERIFY(batchDone);
        QVERIFY(batchResult);
        QCOMPARE(completed.size(), 3);
        const auto failed = std::find_if(completed.begin(), completed.end(),
            [](const QVariantMap &c) { return !c.value(QStringLiteral("succeeded")).toBool(); });
        QVERIFY(failed != completed.end());
        QVERIFY(failed->value(QStringLiteral("response"))
                    .toMap()
                    .value(QStringLiteral("error"))
                    .toString()
                    .contains(QLatin1String("vanished.txt")));
        QVERIFY(log.containsText(QStringLiteral("FileUploadTask - failed to get file attributes: ")));
        QVERIFY(!FileUploadQueue::sharedQueue().bachCompletionHandler()); // it removed itself
    }

    void cancellingAnIdleQueueStillAnnouncesIt()
    {
        LogCapture log;
        NotificationRecorder announced(Notifications::BatchUploadCompleteNotification);
        FileUploadQueue::sharedQueue().cancelAllUploads();
        QVERIFY(log.contains(QStringLiteral("[FileUploadQueue] Cancelling all uploads: 0 active, 0 pending")));
        QVERIFY(log.contains(QStringLiteral("[FileUploadQueue] All uploads cancelled: 0 active, 0 pending aborted")));
        QTRY_VERIFY(announced.objects().contains(QVariantMap { { QStringLiteral("cancelled"), true } }));
    }

    void abortingATaskThatNeverRanForgetsItsRecord()
    {
        TLMultipartUploadState record(QStringLiteral("stale-upload"), QStringLiteral("k"),
            dir.filePath(QStringLiteral("old.mov")), QStringLiteral("video/quicktime"), 60 * 1024 * 1024,
            8 * 1024 * 1024);
        TLMultipartUploadState::saveState(record);
        auto task = FileUploadTask::create(
            QUrl::fromLocalFile(makeFile(QStringLiteral("old.mov"), 60 * 1024 * 1024)), {}, {}, {});
        QVERIFY(task->isMultipartUpload());
        LogCapture log;
        task->abortMultipartUpload();
        QVERIFY(log.contains(QStringLiteral("FileUploadTask - removing persisted state for old.mov")));
        QVERIFY(!TLMultipartUploadState::stateForUploadId(QStringLiteral("stale-upload")));
    }
};

QTEST_GUILESS_MAIN(TestFileUploadQueue)
#include "tst_fileuploadqueue.moc"
