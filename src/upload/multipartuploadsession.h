#pragma once

#include "error.h"
#include "multipartapiclient.h"
#include "multipartuploadstate.h"

#include <QElapsedTimer>
#include <QHash>
#include <QMutex>
#include <QSet>
#include <QString>
#include <QUrl>
#include <QVariant>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

// Uploads one large file as a resumable multipart upload: initiate (the
// service chooses the part size), fetch presigned URLs for up to 100 parts at
// a time, send at most 4 parts at once, keep every finished part's ETag in the
// persisted record, then ask the service to assemble the parts. Pause, resume
// and abort at any time; a failed or interrupted upload resumes from its
// record, also after a restart, without sending finished parts again.
//
// Threads: every step runs on the multipart client's thread, one at a time,
// so the part list, the record and the pass bookkeeping are only ever touched
// there. pause(), resume() and abort() may be called from any thread and
// have taken effect when they return. The owner's callbacks and all
// notifications arrive on the main thread.
//
// Sessions are shared: create them with create(); callbacks hold them weakly.
class TLMultipartUploadSession : public std::enable_shared_from_this<TLMultipartUploadSession>
{
public:
    enum State {
        Idle = 0,
        Initializing = 1,
        FetchingURLs = 2,
        Uploading = 3,
        Completing = 4,
        Aborting = 5,
        Completed = 6,
        Failed = 7,
        Paused = 8,
        Aborted = 9,
    };

    using ProgressHandler
        = std::function<void(float progress, double speed, quint64 completedParts, quint64 totalParts)>;
    using CompletionHandler = std::function<void(bool success, const QVariantMap &response, const Error &error)>;

    // A new upload of a file.
    static std::shared_ptr<TLMultipartUploadSession> create(
        const QUrl &fileURL, const QString &parentItem, const QVariant &order, const QString &taskId);
    // An upload resumed from its persisted record.
    static std::shared_ptr<TLMultipartUploadSession> create(
        const TLMultipartUploadStatePtr &persistedState, const QString &taskId);

    void startWithProgressHandler(ProgressHandler progressHandler, CompletionHandler completion);
    void pause();
    void resume();
    void abort();

    TLMultipartUploadStatePtr currentState() const;

    bool isPaused() const { return m_isPaused; }
    bool shouldCancel() const { return m_shouldCancel; }
    float progress() const { return m_progress; }
    double speed() const { return m_speed; }
    quint64 totalBytesSent() const { return m_totalBytesSent; }
    int state() const { return m_state; }
    QUrl fileURL() const { return m_fileURL; }
    QString taskId() const { return m_taskId; }
    QString uploadId() const;
    QString key() const;
    QString parentItem() const { return m_parentItem; }
    QVariant order() const { return m_order; }
    QString mimeType() const { return m_mimeType; }
    quint64 maxConcurrentPartUploads() const { return m_maxConcurrentPartUploads; }
    quint64 maxRetries() const { return m_maxRetries; }
    quint64 partURLBatchSize() const { return m_partURLBatchSize; }

    // min(2^(attempt-1), 30) seconds for attempt >= 1.
    static double retryDelayForAttempt(quint64 attempt);

private:
    TLMultipartUploadSession() = default;
    void commonInit();

    // Runs a step on the client's thread (at once when already there).
    void onQueue(std::function<void(TLMultipartUploadSession &)> step);
    void onQueueSync(const std::function<void()> &step);

    // Sets the state of a step unless a pause or an abort has come meanwhile.
    void enterStep(State step);
    void initializeUpload();
    // Whether the service's part size fits the file by S3's rules; a bad
    // one makes the upload fail (and tells the service) instead of cutting
    // the file into millions of parts.
    bool acceptPartSize(quint64 fileSize, quint64 partSize, const QString &uploadId, const QString &key);
    // Ends an upload whose file changed: the parts sent hold other bytes, so
    // the service's upload and the record go. With `afresh` (a record found
    // at start) the file is then uploaded anew; otherwise the upload fails.
    void dropChangedUpload(const QString &change, bool afresh);
    void fetchURLsAndUpload();
    void uploadParts();
    void pumpPass();
    void endPass();
    void uploadPart(const TLMultipartUploadPartPtr &part, std::function<void()> completion);
    // Gives the buffer of a part back for the next parts, once nothing else holds it.
    void recycleBuffer(QByteArray buffer);
    void sendPart(const TLMultipartUploadPartPtr &part, const QByteArray &data, std::function<void()> completion);
    void finishPart(const TLMultipartUploadPartPtr &part, bool success, const QString &etag);
    void completeUpload();
    void handleFailure(const Error &error);
    void persistCurrentState();
    void updateProgress();
    void cancelActiveTasks();

    void postProgressNotification();
    void postPartCompleteNotification(const TLMultipartUploadPartPtr &part);
    void postFailedNotification(const Error &error);
    void postCompletedNotification(const QVariantMap &response);
    void callCompletion(bool success, const QVariantMap &response, const Error &error);

    std::atomic<bool> m_isPaused = false;
    std::atomic<bool> m_shouldCancel = false;
    std::atomic<float> m_progress = 0.0f;
    std::atomic<double> m_speed = 0.0;
    std::atomic<quint64> m_totalBytesSent = 0;
    std::atomic<quint64> m_completedParts = 0;
    std::atomic<quint64> m_totalParts = 0;
    std::atomic<int> m_state = Idle;

    QUrl m_fileURL;
    QString m_taskId;
    mutable QMutex m_identityLock; // uploadId and key, read by owners on other threads
    QString m_uploadId;
    QString m_key;
    QString m_parentItem;
    QVariant m_order;
    QString m_mimeType;
    quint64 m_maxConcurrentPartUploads = 4;
    quint64 m_maxRetries = 3;
    quint64 m_partURLBatchSize = 100;
    TLMultipartUploadStatePtr m_uploadState;

    // The current pass: parts waiting to go, parts in flight. Parts stay
    // counted in flight (and out of new passes) until their read and PUT
    // have reported back, also across a pause and resume.
    std::deque<TLMultipartUploadPartPtr> m_pass;
    int m_inFlight = 0;
    QSet<quint64> m_partsOut;
    bool m_initiating = false;
    // Failed attempts of each part in this run (since start or resume); a
    // part that fails maxRetries times in a run fails the upload.
    QHash<quint64, quint64> m_attemptsThisRun;
    bool m_passActive = false;
    bool m_pumping = false;
    QHash<quint64, std::shared_ptr<TLMultipartAPIClient::PartTask>> m_activeTasks;
    // Part bytes: the buffers of the parts in flight, and those no transfer
    // holds any more, which the next parts are read into. Reusing them keeps
    // the session at four part buffers however many parts it sends.
    QHash<quint64, QByteArray> m_partBuffers;
    std::vector<QByteArray> m_spareBuffers;

    QElapsedTimer m_uploadStartTime;
    ProgressHandler m_progressHandler;
    CompletionHandler m_completionHandler;
};
