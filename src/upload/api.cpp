#include "api.h"

#include "curlsession.h"

#include "dispatch.h"
#include "jsonserialization.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "replytimeout.h"
#include "settingsstore.h"
#include "transporterror.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QStringDecoder>

#include <memory>

Q_LOGGING_CATEGORY(lcApi, "tessly.upload.api")

namespace {

const QString kApiErrorDomain = QStringLiteral("API");

// A missing profile reads "(null)" in a path, as it always has; the listing
// calls do not guard against it and the service answers with an error.
QString orNull(const QString &text)
{
    return text.isNull() ? QStringLiteral("(null)") : text;
}

// A file code comes from the service, but once decoded it is text: keep it to
// one path segment.
QString pathSegment(const QString &text)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(text, QByteArrayLiteral("!$&'()*+,;=:@")));
}

// The body as UTF-8 text, or "(null)" when it is not valid UTF-8.
QString bodyText(const QByteArray &data)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(data);
    return decoder.hasError() ? QStringLiteral("(null)") : text;
}

QVariantMap visibleError(const char *title, const QString &message)
{
    return { { QStringLiteral("error"), QString::fromUtf8(title) }, { QStringLiteral("message"), message },
        { QStringLiteral("hideButton"), true } };
}

void postVisibleError(const QVariantMap &record)
{
    NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::UserVisibleErrorNotification), record);
}

} // namespace

API &API::instance()
{
    static API *const api = new API;
    return *api;
}

API::API()
{
    m_uploadSession = new CurlSession(int(m_maxConcurrentUploads), this);
    // Network objects work on the thread they live on; keep this client (and
    // with it every manager it creates) on the main thread.
    if (QCoreApplication *app = QCoreApplication::instance())
        moveToThread(app->thread());
    // The settings store hands each stored token to this client. The store
    // sits below the upload layer and cannot call it directly.
    SettingsStore::setTokenSink([](const QString &token) { API::instance().setToken(token); });
}

QString API::token() const
{
    QMutexLocker lock(&m_tokenMutex);
    return m_token;
}

void API::setToken(const QString &token)
{
    QMutexLocker lock(&m_tokenMutex);
    m_token = token;
}

URLRequest API::requestForEndpoint(const QString &endpoint, const QString &method) const
{
    URLRequest request = URLRequest::forEndpoint(endpoint, method);
    qCInfo(lcApi).noquote() << QStringLiteral("Endpoint %1").arg(request.url().toString());
    return request;
}

void API::sendRequest(const URLRequest &request, Completion complete)
{
    const int timeoutMs = m_requestTimeoutMs;
    auto start = [this, request, complete = std::move(complete), timeoutMs]() {
        // A manager per call: nothing is shared between calls (connections,
        // cookies, credentials).
        auto *session = new QNetworkAccessManager(this);
        QNetworkReply *reply = session->sendCustomRequest(request.request, request.httpMethod, request.httpBody);
        ReplyTimeout::watch(reply, timeoutMs);
        auto sslErrors = std::make_shared<QList<QSslError>>();
        connect(reply, &QNetworkReply::sslErrors, reply,
            [sslErrors](const QList<QSslError> &errors) { *sslErrors += errors; });
        connect(reply, &QNetworkReply::finished, this, [this, request, reply, session, sslErrors, complete]() {
            handleReply(request, reply, *sslErrors, complete);
            reply->deleteLater();
            session->deleteLater();
        });
    };
    if (Dispatch::isMainThread())
        start();
    else
        Dispatch::main(std::move(start));
}

void API::handleReply(
    const URLRequest &request, QNetworkReply *reply, const QList<QSslError> &sslErrors, const Completion &complete)
{
    const auto finish = [&complete](bool success, const QVariant &result, const Error &error) {
        if (complete)
            complete(success, result, error);
    };

    if (TransportError::isTransportFailure(reply)) {
        const Error error = TransportError::fromReply(reply, sslErrors);
        qCInfo(lcApi).noquote() << QStringLiteral("Network error: %1").arg(error.toString());
        const QString &text = error.localizedDescription;
        if (text.contains(QLatin1String("offline"))) {
            postVisibleError(visibleError("No connection", QStringLiteral("Your connection is offline")));
        } else if (text.contains(QLatin1String("hostname"))) {
            postVisibleError(visibleError("DNS error", QStringLiteral("Could not connect to remote host")));
        } else if (text.contains(QLatin1String("connect")) || error.code == TransportError::CannotConnectToHost
            || error.code == TransportError::NetworkConnectionLost
            || error.code == TransportError::NotConnectedToInternet) {
            postVisibleError(visibleError(
                "Connection failed", QStringLiteral("Could not connect to the server. Please check your connection.")));
        } else {
            postVisibleError(visibleError("Network error", text.isNull() ? QString(QLatin1String("")) : text));
        }
        finish(false, {}, error);
        return;
    }

    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        qCInfo(lcApi).noquote() << "No data received from server";
        postVisibleError(visibleError("No response", QStringLiteral("Server did not return any data")));
        finish(false, {}, Error(kApiErrorDomain, -1, QStringLiteral("Server did not return any data")));
        return;
    }

    const int statusCode = status.toInt();
    const QByteArray data = reply->readAll();
    qCInfo(lcApi).noquote() << QStringLiteral("httpResponse.statusCode %1").arg(statusCode);
    if (statusCode == 401) {
        NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::AuthTokenInvalid));
        finish(false, QVariant(false), Error(kApiErrorDomain, 401, QStringLiteral("The service refused the token")));
        return;
    }

    Error parseError;
    const QVariant json = JSONSerialization::JSONObjectWithData(data, &parseError);
    if (!json.isValid()) {
        const QString diagnostic = QStringLiteral("URL: %1\nResponse Code: %2\nResponse Text:\n%3")
                                       .arg(request.url().toString())
                                       .arg(statusCode)
                                       .arg(bodyText(data));
        postVisibleError({ { QStringLiteral("error"), QStringLiteral("Something went wrong") },
            { QStringLiteral("message"), QStringLiteral("Error communicating with the server") },
            { QStringLiteral("data"), diagnostic } });
        finish(false, {}, parseError);
        return;
    }
    finish(true, json, {});
}

// Listings.

void API::getMe(Completion complete)
{
    sendRequest(requestForEndpoint(QStringLiteral("/v1/users/me"), QStringLiteral("GET")), std::move(complete));
}

void API::getProfile(const QString &profileName, Completion complete)
{
    sendRequest(requestForEndpoint(QStringLiteral("/v1/profiles/%1").arg(orNull(profileName)), QStringLiteral("GET")),
        std::move(complete));
}

void API::getFiles(Completion complete)
{
    const QString domain = orNull(SettingsStore::instance().domain());
    sendRequest(
        requestForEndpoint(QStringLiteral("/v1/files/%1?type=user&count=12").arg(domain), QStringLiteral("GET")),
        std::move(complete));
}

void API::getDocuments(Completion complete)
{
    const QString domain = orNull(SettingsStore::instance().domain());
    sendRequest(requestForEndpoint(
                    QStringLiteral("/v1/files/%1?mimeType=text/markdown&count=12").arg(domain), QStringLiteral("GET")),
        std::move(complete));
}

void API::getFolders(Completion complete)
{
    const QString domain = orNull(SettingsStore::instance().domain());
    sendRequest(
        requestForEndpoint(QStringLiteral("/v1/folders/%1?type=user&count=12").arg(domain), QStringLiteral("GET")),
        std::move(complete));
}

void API::getLinks(Completion complete)
{
    const QString domain = orNull(SettingsStore::instance().domain());
    sendRequest(requestForEndpoint(QStringLiteral("/v1/links/%1?count=12").arg(domain), QStringLiteral("GET")),
        std::move(complete));
}

// Creation.

void API::sendJsonPayload(const QString &endpoint, const QVariantMap &payload, const char *logName, Completion complete)
{
    URLRequest request = requestForEndpoint(endpoint, QStringLiteral("POST"));
    Error error;
    const QByteArray body
        = JSONSerialization::dataWithJSONObject(QVariantMap { { QStringLiteral("payload"), payload } }, &error);
    if (body.isNull()) {
        qCInfo(lcApi).noquote()
            << QStringLiteral("[API] %1: JSON serialization error: %2").arg(QLatin1String(logName), error.toString());
        if (complete)
            complete(false, QVariantMap { { QStringLiteral("error"), error.localizedDescription } }, error);
        return;
    }
    request.httpBody = body;
    request.setValue(QByteArrayLiteral("application/json"), QByteArrayLiteral("Content-Type"));
    sendRequest(request, std::move(complete));
}

void API::createLinkWithURL(const QString &url, Completion complete)
{
    const QString domain = orNull(SettingsStore::instance().domain());
    sendJsonPayload(QStringLiteral("/v1/links/%1").arg(domain), { { QStringLiteral("content"), url } }, "createLink",
        std::move(complete));
}

void API::createFolderWithName(
    const QString &name, const QString &parentItem, const QVariant &order, Completion complete)
{
    const QString domain = orNull(SettingsStore::instance().domain());
    QVariantMap payload { { QStringLiteral("name"), name } };
    if (!parentItem.isNull())
        payload.insert(QStringLiteral("parentItem"), parentItem);
    if (order.isValid())
        payload.insert(QStringLiteral("order"), order); // a number stays a number
    sendJsonPayload(QStringLiteral("/v1/folders/%1").arg(domain), payload, "createFolder", std::move(complete));
}

// Profile domain.

void API::ensureDomainWithCompletion(BoolCompletion completion)
{
    if (!SettingsStore::instance().domain().isNull()) {
        if (completion)
            completion(true);
        return;
    }
    getMe(
        [completion](bool success, const QVariant &result, const Error &) {
            if (!success || result.typeId() != QMetaType::QVariantMap) {
                if (completion)
                    completion(false);
                return;
            }
            const QVariant profiles = result.toMap().value(QStringLiteral("profiles"));
            if (profiles.typeId() == QMetaType::QVariantList && !profiles.toList().isEmpty()) {
                const QVariant domain = profiles.toList().first().toMap().value(QStringLiteral("domain"));
                if (domain.typeId() == QMetaType::QString && !domain.toString().isEmpty()) {
                    SettingsStore::instance().setDomain(domain.toString());
                    qCInfo(lcApi).noquote()
                        << QStringLiteral("[API] Resolved domain from /me profiles: %1").arg(domain.toString());
                    if (completion)
                        completion(true);
                    return;
                }
            }
            qCInfo(lcApi).noquote() << "[API] No profiles found in /me response";
            if (completion)
                completion(false);
        });
}

// Waiting for a new file.

QString API::decodeFileCode(const QString &code)
{
    for (const QChar c : code) {
        if (c.unicode() > 0x7f)
            return code; // not base64 at all
    }
    QString base64 = code;
    base64.replace(QLatin1Char('-'), QLatin1Char('+')).replace(QLatin1Char('_'), QLatin1Char('/'));
    while (base64.size() % 4 != 0)
        base64 += QLatin1Char('=');
    const auto decoded = QByteArray::fromBase64Encoding(base64.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return code;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(*decoded);
    return decoder.hasError() ? code : text;
}

void API::waitForNewFile(const QString &code, WaitCompletion complete)
{
    const QString domain = SettingsStore::instance().domain();
    if (code.isNull() || domain.isNull()) {
        if (complete)
            complete(false, QVariantMap(), !domain.isNull());
        return;
    }
    const QString path = QStringLiteral("/v1/files/%1/%2").arg(domain, pathSegment(decodeFileCode(code)));

    // The poll and its counter are shared by the timers and the completions
    // that schedule the next one; the poll itself holds them weakly so that
    // they go away with the last scheduled step.
    struct Poll
    {
        int attempts = 0;
        std::function<void()> run;
    };
    auto poll = std::make_shared<Poll>();
    const double interval = m_pollInterval;
    const int maxAttempts = m_maxPollAttempts;
    QPointer<API> client(this);
    std::weak_ptr<Poll> weakPoll = poll;
    poll->run = [client, weakPoll, path, interval, maxAttempts, complete]() {
        const std::shared_ptr<Poll> self = weakPoll.lock();
        if (!client || !self)
            return;
        ++self->attempts;
        client->sendRequest(client->requestForEndpoint(path, QStringLiteral("GET")),
            [client, self, interval, maxAttempts, complete](bool success, const QVariant &result, const Error &) {
                if (success && result.isValid()) {
                    if (complete)
                        complete(true, result, false);
                } else if (self->attempts < maxAttempts && client) {
                    Dispatch::after(interval, client, [self] { self->run(); });
                } else if (complete) {
                    complete(false, QVariantMap(), true);
                }
            });
    };
    Dispatch::after(interval, this, [poll] { poll->run(); });
}
