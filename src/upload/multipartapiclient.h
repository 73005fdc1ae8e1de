#pragma once

#include "error.h"
#include "objectput.h"
#include "serialqueue.h"

#include <QByteArray>
#include <QPointer>
#include <QString>
#include <QVariant>

#include <atomic>
#include <functional>

class CurlSession;
class QNetworkAccessManager;
struct URLRequest;

// The service's four multipart endpoints (initiate, part URLs, complete,
// abort) and the PUT of one part's bytes to a presigned storage URL.
//
// Every failure goes back to the caller as an Error; nothing is posted. Errors
// the client makes itself have the domain "TLMultipartAPIClient" and as code
// the HTTP status (status failures) or -1.
//
// Threads: all network work runs on the client's own thread (the queue
// "com.tessly.multipartAPIClient"), and every completion and progress callback
// arrives there; callers hop to their own threads. Calls may be made from any
// thread.
class TLMultipartAPIClient
{
public:
    using InitCompletion = std::function<void(bool success, const QString &uploadId, const QString &key,
        quint64 partSize, const QString &code, const QString &customDomain, const Error &error)>;
    using PartsCompletion = std::function<void(bool success, const QVariantList &parts, const Error &error)>;
    using ResponseCompletion = std::function<void(bool success, const QVariant &response, const Error &error)>;
    using AbortCompletion = std::function<void(bool success, const Error &error)>;
    using PartCompletion = std::function<void(bool success, const QString &etag, const Error &error)>;
    // (bytes sent in this callback, total sent so far, total expected)
    using Progress = std::function<void(qint64 bytesSent, qint64 totalBytesSent, qint64 totalBytesExpected)>;

    static constexpr quint64 kDefaultPartSize = 5'242'880;
    // S3's limits on a multipart upload: parts of at most 5 GiB, at most
    // 10,000 of them, each but the last at least minimumPartSize().
    static constexpr quint64 kMaximumPartSize = 5ull << 30;
    static constexpr quint64 kMaximumPartCount = 10'000;
    // Part PUTs carried on connections to one host at a time.
    static constexpr int kMaxConcurrentParts = 4;

    static TLMultipartAPIClient &sharedClient();

    // The thread every callback runs on; sessions run their steps there too.
    SerialQueue &queue() { return m_queue; }

    void initializeMultipartUploadForFileName(const QString &fileName, const QString &mimeType, quint64 size,
        const QString &parentItem, const QVariant &order, InitCompletion completion);
    void getPresignedURLsForKey(
        const QString &key, const QString &uploadId, const QList<quint64> &partNumbers, PartsCompletion completion);
    void completeMultipartUploadForKey(
        const QString &key, const QString &uploadId, const QVariantList &parts, ResponseCompletion completion);
    void abortMultipartUploadForKey(const QString &key, const QString &uploadId, AbortCompletion completion);

    // Sends one part as "application/octet-stream" (the MIME type is accepted
    // and not used). Returns the transfer, which cancel() can stop from any
    // thread, or an empty pointer when the URL is not valid (the completion
    // has then been called already).
    class PartTask;
    std::shared_ptr<PartTask> uploadPartData(const QByteArray &data, const QString &presignedURL,
        const QString &mimeType, Progress progress, PartCompletion completion);

    // The smallest part but the last a session accepts: S3's 5 MiB. Tests
    // against a service configured for small parts lower it.
    quint64 minimumPartSize() const { return m_minimumPartSize; }
    void setMinimumPartSize(quint64 bytes) { m_minimumPartSize = bytes; }

    // A JSON call that sends or receives nothing for this long fails as
    // timed out, as the service client's calls do. Default 60 s.
    int requestTimeoutMs() const { return m_requestTimeoutMs; }
    void setRequestTimeoutMs(int ms) { m_requestTimeoutMs = ms; }

    // A PUT that transfers nothing for this long fails as timed out. Default 60 s.
    int partTimeoutMs() const { return m_partTimeoutMs; }
    void setPartTimeoutMs(int ms) { m_partTimeoutMs = ms; }

    // What came back for one request: a transport error, or a status and body.
    struct Answer
    {
        Error transport;
        int status = 0;
        QByteArray body;
        bool succeeded() const { return transport.isNull() && status >= 200 && status <= 299; }
    };
    class PartTask
    {
    public:
        void cancel();

    private:
        friend class TLMultipartAPIClient;
        QPointer<ObjectPut> m_put;
        QObject *m_context = nullptr;
    };

private:
    TLMultipartAPIClient();

    using AnswerHandler = std::function<void(const Answer &answer)>;

    // POSTs `body` as JSON to an endpoint of the stored profile. When the body
    // cannot be serialised nothing is sent and `failed` gets the error.
    void postJson(const QString &path, const QVariantMap &body, AnswerHandler handler,
        const std::function<void(const Error &)> &failed);

    SerialQueue m_queue;
    QNetworkAccessManager *m_session = nullptr; // the four JSON calls
    CurlSession *m_uploadSession = nullptr; // part PUTs
    int m_partTimeoutMs = 60'000;
    std::atomic<int> m_requestTimeoutMs = 60'000;
    std::atomic<quint64> m_minimumPartSize = kDefaultPartSize;
};
