#include "objectput.h"

#include "curllibrary.h"
#include "curlsession.h"
#include "serviceconfig.h"
#include "transporterror.h"

#include <QFile>

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace {

// Bytes handed to the socket per write. libcurl's default of 64 KiB makes
// four times as many system calls for the same body.
constexpr long kUploadBufferSize = 256 * 1024;
// The most of an answer's body that is kept (object stores answer PUTs with
// small XML documents).
constexpr qsizetype kMaxResponseBody = 1 << 20;

} // namespace

ObjectPut::ObjectPut(CurlSession *session, Request request)
    : QObject(session)
    , m_session(session)
    , m_request(std::move(request))
    // Fixed now: it is announced as the Content-Length, whatever the file does later.
    , m_bodySize(m_request.file ? m_request.file->size() : m_request.data.size())
{
    // The session has loaded libcurl, unless it could not.
    m_curl = session->m_curl;
    if (!m_curl)
        return;
    CURL *easy = m_curl->easyInit();
    if (!easy)
        return;
    m_easy = easy;
    const QByteArray url = m_request.url.toEncoded();
    m_curl->easySetopt(easy, CURLOPT_URL, url.constData());
    m_curl->easySetopt(easy, CURLOPT_PRIVATE, this);
    m_curl->easySetopt(easy, CURLOPT_NOSIGNAL, 1L);
    m_curl->easySetopt(easy, CURLOPT_ERRORBUFFER, m_errorText);
    // A presigned URL is signed for this one address: never follow a redirect.
    m_curl->easySetopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    m_curl->easySetopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");

    m_curl->easySetopt(easy, CURLOPT_UPLOAD, 1L);
    m_curl->easySetopt(easy, CURLOPT_INFILESIZE_LARGE, curl_off_t(bodySize()));
    m_curl->easySetopt(easy, CURLOPT_UPLOAD_BUFFERSIZE, kUploadBufferSize);
    m_curl->easySetopt(easy, CURLOPT_READFUNCTION, &ObjectPut::readBody);
    m_curl->easySetopt(easy, CURLOPT_READDATA, this);
    m_curl->easySetopt(easy, CURLOPT_SEEKFUNCTION, &ObjectPut::seekBody);
    m_curl->easySetopt(easy, CURLOPT_SEEKDATA, this);
    m_curl->easySetopt(easy, CURLOPT_HEADERFUNCTION, &ObjectPut::receiveHeader);
    m_curl->easySetopt(easy, CURLOPT_HEADERDATA, this);
    m_curl->easySetopt(easy, CURLOPT_WRITEFUNCTION, &ObjectPut::receiveBody);
    m_curl->easySetopt(easy, CURLOPT_WRITEDATA, this);
    m_curl->easySetopt(easy, CURLOPT_XFERINFOFUNCTION, &ObjectPut::transferInfo);
    m_curl->easySetopt(easy, CURLOPT_XFERINFODATA, this);
    m_curl->easySetopt(easy, CURLOPT_NOPROGRESS, 0L);

    if (m_request.idleTimeoutMs > 0) {
        const long seconds = std::max(1L, long((m_request.idleTimeoutMs + 999) / 1000));
        m_curl->easySetopt(easy, CURLOPT_CONNECTTIMEOUT_MS, long(m_request.idleTimeoutMs));
        m_curl->easySetopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
        m_curl->easySetopt(easy, CURLOPT_LOW_SPEED_TIME, seconds);
    }

    // The certificate authority the service runs under, when one is named,
    // beside the system's own.
    const QByteArray caFile = QFile::encodeName(Config::caFile());
    if (!caFile.isEmpty()) {
        m_curl->easySetopt(easy, CURLOPT_CAINFO, caFile.constData());
        m_curl->easySetopt(easy, CURLOPT_CAPATH, "/etc/ssl/certs");
    }

    // No "Expect: 100-continue" round trip before the body.
    m_headerList = m_curl->slistAppend(m_headerList, "Expect:");
    if (!m_request.contentType.isEmpty())
        m_headerList = m_curl->slistAppend(m_headerList, ("Content-Type: " + m_request.contentType).constData());
    m_curl->easySetopt(easy, CURLOPT_HTTPHEADER, m_headerList);
}

ObjectPut::~ObjectPut()
{
    if (m_session && !m_finished)
        m_session->detach(this);
    if (m_easy)
        m_curl->easyCleanup(m_easy);
    if (m_headerList)
        m_curl->slistFreeAll(m_headerList);
}

bool ObjectPut::hasRawHeader(const QByteArray &name) const
{
    return m_headers.contains(name.toLower());
}

QByteArray ObjectPut::rawHeader(const QByteArray &name) const
{
    return m_headers.value(name.toLower());
}

void ObjectPut::abort()
{
    if (m_finished || !m_session)
        return;
    if (m_session->m_driving > 0) {
        // Inside a libcurl callback the transfer cannot be taken out yet.
        QMetaObject::invokeMethod(this, &ObjectPut::abort, Qt::QueuedConnection);
        return;
    }
    m_session->detach(this);
    finish(TransportError::fromCurl(CURLE_ABORTED_BY_CALLBACK, m_request.url.host()));
}

void ObjectPut::finish(const Error &error)
{
    if (m_finished)
        return;
    m_finished = true;
    m_error = error;
    if (!error.isNull()) {
        m_status = 0;
        m_headers.clear();
    }
    reportProgress();
    // The body is not needed any more: let its owner have it back.
    m_request.data = QByteArray();
    m_request.file.reset();
    Q_EMIT finished();
}

void ObjectPut::reportProgress()
{
    if (m_sent <= m_reported)
        return;
    m_reported = m_sent;
    Q_EMIT uploadProgress(m_sent, bodySize());
}

Error ObjectPut::errorFor(int curlCode) const
{
    if (!m_readFailure.isNull()) {
        return Error(QString::fromLatin1(TransportError::Domain), -1102,
            QStringLiteral("The file “%1” could not be read while it was sent: %2")
                .arg(m_request.file->fileName(), m_readFailure));
    }
    // Without libcurl there is no transfer, and why is the detail.
    const QString detail = m_curl ? QString::fromUtf8(m_errorText) : CurlLibrary::error();
    return TransportError::fromCurl(curlCode, m_request.url.host(), detail);
}

size_t ObjectPut::readBody(char *buffer, size_t size, size_t count, void *self)
{
    auto *put = static_cast<ObjectPut *>(self);
    const qint64 remaining = put->bodySize() - put->m_readOffset;
    const qint64 wanted = std::min<qint64>(qint64(size * count), remaining);
    if (wanted <= 0)
        return 0;
    if (!put->m_request.file) {
        std::memcpy(buffer, put->m_request.data.constData() + put->m_readOffset, size_t(wanted));
        put->m_readOffset += wanted;
        return size_t(wanted);
    }
    // pread leaves the file's own position alone, so a rewind is just an offset.
    const int fd = put->m_request.file->handle();
    ssize_t got;
    do
        got = ::pread(fd, buffer, size_t(wanted), off_t(put->m_readOffset));
    while (got < 0 && errno == EINTR);
    if (got <= 0) {
        // A read error, or the file became shorter than announced.
        put->m_readFailure
            = got < 0 ? QString::fromLocal8Bit(std::strerror(errno)) : QStringLiteral("the file became shorter");
        return CURL_READFUNC_ABORT;
    }
    put->m_readOffset += got;
    return size_t(got);
}

int ObjectPut::seekBody(void *self, std::int64_t offset, int origin)
{
    // libcurl rewinds the body when it sends the request again on a fresh
    // connection (a kept-alive one that the server had closed).
    auto *put = static_cast<ObjectPut *>(self);
    if (origin != SEEK_SET || offset < 0 || offset > put->bodySize())
        return CURL_SEEKFUNC_CANTSEEK;
    put->m_readOffset = offset;
    return CURL_SEEKFUNC_OK;
}

size_t ObjectPut::receiveHeader(char *line, size_t size, size_t count, void *self)
{
    auto *put = static_cast<ObjectPut *>(self);
    const size_t length = size * count;
    const QByteArray text = QByteArray(line, qsizetype(length)).trimmed();
    if (text.startsWith("HTTP/")) {
        // A new answer begins (after an interim one such as 100 Continue).
        put->m_headers.clear();
        return length;
    }
    const qsizetype colon = text.indexOf(':');
    if (colon > 0) {
        QByteArray &value = put->m_headers[text.left(colon).trimmed().toLower()];
        const QByteArray part = text.mid(colon + 1).trimmed();
        value = value.isEmpty() ? part : value + ", " + part;
    }
    return length;
}

size_t ObjectPut::receiveBody(char *data, size_t size, size_t count, void *self)
{
    auto *put = static_cast<ObjectPut *>(self);
    const size_t length = size * count;
    const qsizetype room = kMaxResponseBody - put->m_responseBody.size();
    if (room > 0)
        put->m_responseBody.append(data, std::min<qsizetype>(room, qsizetype(length)));
    return length;
}

int ObjectPut::transferInfo(void *self, std::int64_t, std::int64_t, std::int64_t, std::int64_t upNow)
{
    // Recorded only: the session reports it once libcurl has returned.
    static_cast<ObjectPut *>(self)->m_sent = qint64(upNow);
    return 0;
}
