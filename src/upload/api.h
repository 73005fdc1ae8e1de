#pragma once

#include "error.h"
#include "urlrequest.h"

#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QSslError>
#include <QString>
#include <QUrl>
#include <QVariant>

#include <functional>

class CurlSession;
class QNetworkAccessManager;
class QNetworkReply;

// The one client of the service's REST API (process-wide, created on first
// use, never destroyed).
//
// Requests are JSON with the bearer token of the settings store (read when
// each request is built). Every call reports through a completion
//
//     (bool success, QVariant result, Error error)
//
// On success `result` is the decoded JSON (QVariantMap or QVariantList, free
// to modify). On failure, by cause: a transport failure gives an invalid
// result and the transport error (TransportError, domain
// "TesslyURLErrorDomain"); a 401 gives result `false` and an "API" error with
// code 401; an answer that is not JSON gives an invalid result and the parse
// error (domain "JSONSerialization"); no answer at all gives an invalid result
// and an "API" error. The HTTP status is otherwise not examined: a 404 or 500
// whose body is JSON is a success, and the caller reads the JSON.
//
// User-visible failures are also posted as "UserVisibleErrorNotification"
// (object {"error", "message", "hideButton" | "data"}), a refused token as
// "AuthTokenInvalid".
//
// Threads: the network work runs on the main thread's event loop (requests
// made on other threads hop there), so completions and notifications arrive on
// the main thread. Calls may be made from any thread.
class API : public QObject
{
    Q_OBJECT
public:
    using Completion = std::function<void(bool success, const QVariant &result, const Error &error)>;
    using BoolCompletion = std::function<void(bool success)>;
    using WaitCompletion = std::function<void(bool found, const QVariant &result, bool timedOut)>;

    static API &instance();

    // The client's own copy of the token, handed over by the settings store
    // whenever a token is stored there. Requests do not use it; they read the
    // settings store. Setting a null string clears it.
    QString token() const;
    void setToken(const QString &token);

    // Per-host connection limit of uploadSession(): 10.
    uint maxConcurrentUploads() const { return m_maxConcurrentUploads; }
    // The session that carries the object-storage PUTs of single-request
    // uploads. It lives on the main thread with this object; the upload
    // calls (and cancelling them) use it.
    CurlSession *uploadSession() const { return m_uploadSession; }

    // An authorised JSON request for `endpoint` (a path starting with "/"),
    // logging "Endpoint <url>".
    URLRequest requestForEndpoint(const QString &endpoint, const QString &method) const;

    // Sends the request on a manager of its own and maps the outcome as
    // described above. The completion may be empty.
    void sendRequest(const URLRequest &request, Completion complete);

    // Listings of the stored profile (`domain` of the settings store).
    void getMe(Completion complete);
    void getProfile(const QString &profileName, Completion complete);
    void getFiles(Completion complete);
    void getDocuments(Completion complete);
    void getFolders(Completion complete);
    void getLinks(Completion complete);

    // Creation. A body that cannot be written as JSON is not sent: the
    // completion gets (false, {"error": description}, the error).
    void createLinkWithURL(const QString &url, Completion complete);
    // `parentItem` ("DOMAIN/ITEM") and `order` (a number) are left out of the
    // body when null / invalid.
    void createFolderWithName(
        const QString &name, const QString &parentItem, const QVariant &order, Completion complete);

    // Resolves the profile domain from /v1/users/me when none is stored and
    // stores it. Completes with true at once when one is stored.
    void ensureDomainWithCompletion(BoolCompletion completion);

    // Polls /v1/files/<domain>/<code> until the file is there: the first poll
    // after pollInterval(), then again every pollInterval() up to
    // maxPollAttempts() polls. `code` is URL-safe base64 of the file's code
    // (used unchanged when it does not decode). The completion is called once:
    // (true, answer, false) when found; (false, {}, true) after the last
    // failed poll; (false, {}, domain-is-set) at once when the code or the
    // stored domain is missing.
    void waitForNewFile(const QString &code, WaitCompletion complete);

    // Polling pace; defaults 2 s and 15. Tests shorten the interval.
    double pollInterval() const { return m_pollInterval; }
    void setPollInterval(double seconds) { m_pollInterval = seconds; }
    int maxPollAttempts() const { return m_maxPollAttempts; }
    void setMaxPollAttempts(int attempts) { m_maxPollAttempts = attempts; }

    // Idle time-out of API requests: a request that transfers nothing for
    // this long fails with "The request timed out." Default 60 s, the usual
    // time-out of desktop HTTP clients; tests shorten it.
    int requestTimeoutMs() const { return m_requestTimeoutMs; }
    void setRequestTimeoutMs(int ms) { m_requestTimeoutMs = ms; }

    // The file code decoding of waitForNewFile(): URL-safe base64 to UTF-8
    // text, or the code unchanged when that fails.
    static QString decodeFileCode(const QString &code);

    // Uploads (apiupload.cpp: presign and the single PUT; apiuploadentry.cpp:
    // the entry points, which hand every file to FileUploadQueue).
    using PresignCompletion = std::function<void(bool success, const QVariantMap &response, const Error &error)>;
    using PutCompletion = std::function<void(bool success, const QVariantMap &response)>;
    using FileCompletion = std::function<void(bool success, const QVariantMap &response)>;
    using BatchCompletion = std::function<void(bool success)>;

    // Entry points: one file, one file into a folder at a position, or a
    // batch into a folder (orders 0, 1, 2 ...; `complete` fires once when the
    // queue drains).
    void uploadFile(const QUrl &fileUrl, FileCompletion complete);
    void uploadFile(const QUrl &fileUrl, const QString &parentItem, const QVariant &order, FileCompletion complete);
    void uploadFiles(const QList<QUrl> &fileUrls, const QString &parentItem, BatchCompletion complete);

    // Asks the service for a presigned PUT URL and the new file's record.
    void requestUploadURLForFile(
        const QUrl &fileUrl, const QString &parentItem, const QVariant &order, PresignCompletion completion);
    // Streams the file to the presigned URL in one PUT, posting
    // "UploadProgressNotification" while it runs and "UploadCompleteNotification"
    // (object: respDict) when it ends. `taskId` names the transfer in the
    // progress notifications. Completes on the main thread.
    void uploadFileToS3(const QUrl &url, const QUrl &fileUrl, const QVariantMap &respDict, const QString &taskId,
        PutCompletion complete);
    // Cancels every single-request PUT in flight.
    void cancelAllS3Uploads();
    // A hook with no effect.
    void mockUploads();
    // A PNG of the video's first frames, "video-thumbnail.png" in the temporary directory.
    QUrl getVideoThumbnail(const QUrl &videoUrl);

private:
    API();
    void handleReply(
        const URLRequest &request, QNetworkReply *reply, const QList<QSslError> &sslErrors, const Completion &complete);
    void sendJsonPayload(const QString &endpoint, const QVariantMap &payload, const char *logName, Completion complete);

    mutable QMutex m_tokenMutex;
    QString m_token;
    uint m_maxConcurrentUploads = 10;
    CurlSession *m_uploadSession = nullptr;
    double m_pollInterval = 2.0;
    int m_maxPollAttempts = 15;
    int m_requestTimeoutMs = 60000;
    // Presign requests in flight (main thread only): the upload's data
    // tasks, which cancelAllS3Uploads() cancels with the PUTs.
    QList<QPointer<QNetworkReply>> m_dataTasks;
};
