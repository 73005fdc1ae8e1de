#pragma once

#include "error.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QUrl>

#include <cstdint>
#include <memory>

class CurlSession;
class QFile;
struct CurlLibrary;

// One PUT of a body to an object-store address (a presigned URL), carried by
// a CurlSession on the session's thread.
//
// The body is either bytes in memory (shared with the caller, never copied
// whole) or a file, read from disk as it is sent. The transfer ends exactly
// once with finished(): with an HTTP answer of any status (status(),
// responseBody(), rawHeader()), or without one, when error() is set (the
// transport failed, the transfer was cancelled or went idle for too long).
class ObjectPut : public QObject
{
    Q_OBJECT
public:
    struct Request
    {
        QUrl url;
        QByteArray contentType;
        QByteArray data; // the body, unless `file` is given
        std::shared_ptr<QFile> file; // an open file: the body, read as it is sent
        // Nothing sent or received for this long fails the transfer as timed
        // out (whole seconds; <= 0: never).
        int idleTimeoutMs = 60'000;
    };

    ~ObjectPut() override;

    QUrl url() const { return m_request.url; }
    bool isFinished() const { return m_finished; }

    // The answer; 0 and empty when there was none.
    int status() const { return m_status; }
    QByteArray responseBody() const { return m_responseBody; }
    bool hasRawHeader(const QByteArray &name) const; // names are case-insensitive
    QByteArray rawHeader(const QByteArray &name) const;

    // Why there is no answer; null when there is one.
    Error error() const { return m_error; }

    // Stops the transfer; finished() follows with the cancelled error (-999).
    // Does nothing once finished. Call on the session's thread.
    void abort();

Q_SIGNALS:
    // Bytes of the body handed to the network so far, and the body's size.
    // Reported whenever the figure grows.
    void uploadProgress(qint64 sent, qint64 total);
    void finished();

private:
    friend class CurlSession;
    ObjectPut(CurlSession *session, Request request);

    // The libcurl transfer; null when it could not be set up.
    void *handle() const { return m_easy; }
    qint64 bodySize() const { return m_bodySize; }
    // Ends the transfer with `error` (null with an answer) and emits finished().
    void finish(const Error &error);
    // Emits uploadProgress() when more has been sent since the last report.
    void reportProgress();
    // The error for libcurl's result of this transfer.
    Error errorFor(int curlCode) const;

    static size_t readBody(char *buffer, size_t size, size_t count, void *self);
    static int seekBody(void *self, std::int64_t offset, int origin);
    static size_t receiveHeader(char *line, size_t size, size_t count, void *self);
    static size_t receiveBody(char *data, size_t size, size_t count, void *self);
    static int transferInfo(
        void *self, std::int64_t downTotal, std::int64_t downNow, std::int64_t upTotal, std::int64_t upNow);

    CurlSession *m_session;
    const CurlLibrary *m_curl = nullptr;
    Request m_request;
    void *m_easy = nullptr;
    struct curl_slist *m_headerList = nullptr;
    char m_errorText[256] = {};

    qint64 m_bodySize;
    qint64 m_readOffset = 0;
    QString m_readFailure; // why reading the file failed; null while it has not
    qint64 m_sent = 0;
    qint64 m_reported = 0;

    int m_status = 0;
    QHash<QByteArray, QByteArray> m_headers; // lower-case names
    QByteArray m_responseBody;
    Error m_error;
    bool m_finished = false;
};
