#include "multipartapiclient.h"

#include "curlsession.h"
#include "fileurl.h"
#include "jsonserialization.h"
#include "replytimeout.h"
#include "settingsstore.h"
#include "transporterror.h"
#include "urlrequest.h"

#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStringDecoder>
#include <QUrl>

Q_LOGGING_CATEGORY(lcMultipartAPIClient, "tessly.upload.multipartapiclient")

namespace {

const QString kDomain = QStringLiteral("TLMultipartAPIClient");

void log(const QString &line)
{
    qCInfo(lcMultipartAPIClient).noquote() << line;
}

// A status outside 2xx: the body, when it is UTF-8 text, is the description.
Error statusError(int status, const QByteArray &body)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8(body);
    return Error(kDomain, status, utf8.hasError() ? QStringLiteral("Unknown error") : text);
}

QString profilePath(const char *suffix)
{
    const QString domain = SettingsStore::instance().domain();
    return QStringLiteral("/v1/files/%1%2")
        .arg(domain.isNull() ? QStringLiteral("(null)") : domain, QLatin1String(suffix));
}

// Reads the decoded JSON of a successful answer, or logs `parseLine` and fails.
bool decode(const QByteArray &body, const char *parseLine, QVariant *json, Error *error)
{
    *json = JSONSerialization::JSONObjectWithData(body, error);
    if (json->isValid())
        return true;
    log(QLatin1String(parseLine).arg(error->toString()));
    return false;
}

// The log lines of one call for each way it can fail; abort reads no body.
struct CallLines
{
    const char *transportFailed;
    const char *httpError;
    const char *parseFailed;
};

const CallLines kInitLines { "[TLMultipartAPIClient] Init multipart failed: %1",
    "[TLMultipartAPIClient] Init multipart HTTP error %1: %2",
    "[TLMultipartAPIClient] Failed to parse init response: %1" };
const CallLines kPartsLines { "[TLMultipartAPIClient] Get parts URLs failed: %1",
    "[TLMultipartAPIClient] Get parts HTTP error %1: %2", "[TLMultipartAPIClient] Failed to parse parts response: %1" };
const CallLines kCompleteLines { "[TLMultipartAPIClient] Complete multipart failed: %1",
    "[TLMultipartAPIClient] Complete HTTP error %1: %2",
    "[TLMultipartAPIClient] Failed to parse complete response: %1" };
const CallLines kAbortLines { "[TLMultipartAPIClient] Abort multipart failed: %1",
    "[TLMultipartAPIClient] Abort HTTP error %1: %2", nullptr };

// Every JSON call checks its answer the same way: the transport, the status,
// then the body as JSON. On failure the call's line is logged and *error set.
bool accept(const TLMultipartAPIClient::Answer &answer, const CallLines &lines, QVariant *json, Error *error)
{
    if (!answer.transport.isNull()) {
        log(QString::fromLatin1(lines.transportFailed).arg(answer.transport.toString()));
        *error = answer.transport;
        return false;
    }
    if (!answer.succeeded()) {
        log(QString::fromLatin1(lines.httpError).arg(answer.status).arg(QString::fromUtf8(answer.body)));
        *error = statusError(answer.status, answer.body);
        return false;
    }
    return !lines.parseFailed || decode(answer.body, lines.parseFailed, json, error);
}

} // namespace

TLMultipartAPIClient &TLMultipartAPIClient::sharedClient()
{
    // Never destroyed: its thread and managers serve until the process ends,
    // and tearing them down during static destruction would race the exit.
    static TLMultipartAPIClient *client = new TLMultipartAPIClient;
    return *client;
}

TLMultipartAPIClient::TLMultipartAPIClient()
    : m_queue(QStringLiteral("com.tessly.multipartAPIClient"))
{
    // The managers live on the client's thread, so replies and their
    // callbacks are handled there whatever the main thread is doing.
    m_queue.sync([this] {
        m_session = new QNetworkAccessManager(m_queue.context());
        m_uploadSession = new CurlSession(kMaxConcurrentParts, m_queue.context());
        m_session->setAutoDeleteReplies(true);
    });
}

void TLMultipartAPIClient::postJson(const QString &path, const QVariantMap &body, AnswerHandler handler,
    const std::function<void(const Error &)> &failed)
{
    Error error;
    URLRequest request = URLRequest::forEndpoint(path, QStringLiteral("POST"));
    request.httpBody = JSONSerialization::dataWithJSONObject(body, &error);
    if (request.httpBody.isNull()) {
        log(QStringLiteral("[TLMultipartAPIClient] JSON serialization error: %1").arg(error.toString()));
        failed(error);
        return;
    }
    m_queue.async([this, request, handler = std::move(handler)] {
        QNetworkReply *reply = m_session->sendCustomRequest(request.request, request.httpMethod, request.httpBody);
        // A stalled service must not hold the upload (and its queue slot) forever.
        ReplyTimeout::watch(reply, m_requestTimeoutMs);
        QObject::connect(reply, &QNetworkReply::finished, reply, [reply, handler] {
            Answer answer;
            if (TransportError::isTransportFailure(reply)) {
                answer.transport = TransportError::fromReply(reply);
            } else {
                answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
                answer.body = reply->readAll();
            }
            handler(answer);
        });
    });
}

void TLMultipartAPIClient::initializeMultipartUploadForFileName(const QString &fileName, const QString &mimeType,
    quint64 size, const QString &parentItem, const QVariant &order, InitCompletion completion)
{
    QVariantMap body { { QStringLiteral("name"), FileUrl::serviceName(fileName) },
        { QStringLiteral("mimeType"), mimeType }, { QStringLiteral("size"), size },
        { QStringLiteral("type"), QStringLiteral("multipart") } };
    if (!parentItem.isNull())
        body.insert(QStringLiteral("parentItem"), parentItem);
    if (order.isValid() && !order.isNull())
        body.insert(QStringLiteral("order"), order.toString());

    const auto fail = [completion](const Error &error) { completion(false, {}, {}, 0, {}, {}, error); };
    postJson(
        profilePath(""), body,
        [completion, fail](const Answer &answer) {
            QVariant json;
            Error error;
            if (!accept(answer, kInitLines, &json, &error))
                return fail(error);
            const QVariantMap map = json.toMap();
            const QVariant uploadId = map.value(QStringLiteral("uploadId"));
            const QVariant key = map.value(QStringLiteral("key"));
            if (uploadId.isNull() || key.isNull())
                return fail(Error(kDomain, -1, QStringLiteral("Missing uploadId or key in response")));
            const QVariant partSizeValue = map.value(QStringLiteral("partSize"));
            const quint64 partSize = partSizeValue.isNull() ? kDefaultPartSize : partSizeValue.toULongLong();
            log(QStringLiteral("[TLMultipartAPIClient] Init multipart success: uploadId=%1, key=%2, partSize=%3")
                    .arg(uploadId.toString(), key.toString())
                    .arg(partSize));
            const QVariant code = map.value(QStringLiteral("code"));
            const QVariant customDomain = map.value(QStringLiteral("customDomain"));
            completion(true, uploadId.toString(), key.toString(), partSize, code.isNull() ? QString() : code.toString(),
                customDomain.isNull() ? QString() : customDomain.toString(), Error());
        },
        fail);
}

void TLMultipartAPIClient::getPresignedURLsForKey(
    const QString &key, const QString &uploadId, const QList<quint64> &partNumbers, PartsCompletion completion)
{
    QVariantList numbers;
    for (quint64 n : partNumbers)
        numbers.append(n);
    const QVariantMap body { { QStringLiteral("key"), key }, { QStringLiteral("uploadId"), uploadId },
        { QStringLiteral("partNumbers"), numbers } };

    const auto fail = [completion](const Error &error) { completion(false, {}, error); };
    postJson(
        profilePath("/parts"), body,
        [completion, fail](const Answer &answer) {
            QVariant json;
            Error error;
            if (!accept(answer, kPartsLines, &json, &error))
                return fail(error);
            const QVariant parts = json.toMap().value(QStringLiteral("parts"));
            if (parts.isNull())
                return fail(Error(kDomain, -1, QStringLiteral("Missing parts in response")));
            const QVariantList list = parts.toList();
            log(QStringLiteral("[TLMultipartAPIClient] Got %1 presigned URLs").arg(list.size()));
            completion(true, list, Error());
        },
        fail);
}

void TLMultipartAPIClient::completeMultipartUploadForKey(
    const QString &key, const QString &uploadId, const QVariantList &parts, ResponseCompletion completion)
{
    const QVariantMap body { { QStringLiteral("key"), key }, { QStringLiteral("uploadId"), uploadId },
        { QStringLiteral("parts"), parts } };

    const auto fail = [completion](const Error &error) { completion(false, {}, error); };
    postJson(
        profilePath("/complete"), body,
        [completion, fail](const Answer &answer) {
            QVariant json;
            Error error;
            if (!accept(answer, kCompleteLines, &json, &error))
                return fail(error);
            log(QStringLiteral("[TLMultipartAPIClient] Multipart upload completed successfully"));
            completion(true, json, Error());
        },
        fail);
}

void TLMultipartAPIClient::abortMultipartUploadForKey(
    const QString &key, const QString &uploadId, AbortCompletion completion)
{
    const QVariantMap body { { QStringLiteral("key"), key }, { QStringLiteral("uploadId"), uploadId } };
    const auto fail = [completion](const Error &error) { completion(false, error); };
    postJson(
        profilePath("/abort"), body,
        [completion, fail](const Answer &answer) {
            QVariant json;
            Error error;
            if (!accept(answer, kAbortLines, &json, &error))
                return fail(error);
            log(QStringLiteral("[TLMultipartAPIClient] Multipart upload aborted successfully"));
            completion(true, Error());
        },
        fail);
}

std::shared_ptr<TLMultipartAPIClient::PartTask> TLMultipartAPIClient::uploadPartData(
    const QByteArray &data, const QString &presignedURL, const QString &, Progress progress, PartCompletion completion)
{
    const QUrl url(presignedURL, QUrl::StrictMode);
    if (presignedURL.isEmpty() || !url.isValid() || url.scheme().isEmpty() || url.host().isEmpty()) {
        completion(false, {}, Error(kDomain, -1, QStringLiteral("Invalid presigned URL")));
        return nullptr;
    }
    auto task = std::make_shared<PartTask>();
    task->m_context = m_queue.context();
    m_queue.sync([&] {
        ObjectPut::Request request;
        request.url = url;
        request.contentType = QByteArrayLiteral("application/octet-stream");
        request.data = data; // shared, not copied
        request.idleTimeoutMs = m_partTimeoutMs;
        ObjectPut *put = m_uploadSession->put(std::move(request));
        task->m_put = put;
        if (progress) {
            auto previous = std::make_shared<qint64>(0);
            QObject::connect(put, &ObjectPut::uploadProgress, put, [progress, previous](qint64 sent, qint64 total) {
                const qint64 delta = sent - *previous;
                *previous = sent;
                progress(delta, sent, total);
            });
        }
        QObject::connect(put, &ObjectPut::finished, put, [put, completion] {
            put->deleteLater();
            if (!put->error().isNull()) {
                log(QStringLiteral("[TLMultipartAPIClient] Part upload failed: %1").arg(put->error().toString()));
                completion(false, {}, put->error());
                return;
            }
            const int status = put->status();
            if (status < 200 || status > 299) {
                const QByteArray body = put->responseBody();
                log(QStringLiteral("[TLMultipartAPIClient] Part upload HTTP error %1: %2")
                        .arg(status)
                        .arg(QString::fromUtf8(body)));
                completion(false, {}, statusError(status, body));
                return;
            }
            // Header names are matched without regard to case.
            if (!put->hasRawHeader(QByteArrayLiteral("ETag"))) {
                log(QStringLiteral("[TLMultipartAPIClient] Warning: No ETag in part upload response"));
                completion(true, {}, Error());
                return;
            }
            const QByteArray etag = put->rawHeader(QByteArrayLiteral("ETag"));
            log(QStringLiteral("[TLMultipartAPIClient] Part uploaded successfully, ETag: %1")
                    .arg(QString::fromLatin1(etag)));
            completion(true, QString::fromLatin1(etag), Error());
        });
    });
    return task;
}

void TLMultipartAPIClient::PartTask::cancel()
{
    QMetaObject::invokeMethod(
        m_context,
        [put = m_put] {
            if (put)
                put->abort();
        },
        Qt::QueuedConnection);
}
