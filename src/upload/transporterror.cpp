#include "transporterror.h"

#include "replytimeout.h"

#include <QHostAddress>
#include <QNetworkInformation>
#include <QNetworkInterface>

#include <curl/curl.h>

namespace TransportError {

namespace {

Error make(int code, const QString &text, QNetworkReply::NetworkError qtError)
{
    return Error(
        QString::fromLatin1(Domain), code, text, { { QStringLiteral("QNetworkReply::NetworkError"), int(qtError) } });
}

Error makeFromCurl(int code, const QString &text, int curlCode)
{
    return Error(QString::fromLatin1(Domain), code, text, { { QStringLiteral("CURLcode"), curlCode } });
}

bool isLoopbackHost(const QString &host)
{
    if (host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0)
        return true;
    const QHostAddress address(host);
    return !address.isNull() && address.isLoopback();
}

// Errors whose cause may simply be that the machine is off the network.
bool mayMeanOffline(QNetworkReply::NetworkError error)
{
    switch (error) {
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::TimeoutError:
    case QNetworkReply::UnknownNetworkError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
        return true;
    default:
        return false;
    }
}

} // namespace

bool isTransportFailure(const QNetworkReply *reply)
{
    if (!reply || reply->error() == QNetworkReply::NoError)
        return false;
    // Qt flags 4xx and 5xx answers as errors too; they are answers.
    return !reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
}

Error fromNetworkError(QNetworkReply::NetworkError error, const QString &host, const QList<QSslError> &sslErrors)
{
    using E = QNetworkReply;
    switch (error) {
    case E::HostNotFoundError:
        return make(CannotFindHost, QStringLiteral("A server with the specified hostname could not be found."), error);
    case E::ConnectionRefusedError:
    case E::UnknownNetworkError: // Qt's answer to "network unreachable" and "no route to host"
    case E::ProxyConnectionRefusedError:
    case E::ProxyNotFoundError:
        return make(CannotConnectToHost, QStringLiteral("Could not connect to the server."), error);
    case E::RemoteHostClosedError:
    case E::ProxyConnectionClosedError:
    case E::TemporaryNetworkFailureError:
        return make(NetworkConnectionLost, QStringLiteral("The network connection was lost."), error);
    case E::TimeoutError:
    case E::ProxyTimeoutError:
        return make(TimedOut, QStringLiteral("The request timed out."), error);
    case E::OperationCanceledError:
        return make(Cancelled, QStringLiteral("cancelled"), error);
    case E::NetworkSessionFailedError:
        return make(NotConnectedToInternet, QStringLiteral("The Internet connection appears to be offline."), error);
    case E::BackgroundRequestNotAllowedError:
        return make(DataNotAllowed, QStringLiteral("A data connection is not currently allowed."), error);
    case E::SslHandshakeFailedError: {
        // A certificate that is not trusted is told apart from a handshake
        // that failed for other reasons (e.g. TLS spoken to a plain-HTTP port).
        QStringList reasons;
        for (const QSslError &e : sslErrors)
            reasons << e.errorString();
        if (!reasons.isEmpty()) {
            return make(ServerCertificateUntrusted,
                QStringLiteral("The certificate for this server is invalid (%1). You might be connecting to a server "
                               "that is pretending to be “%2”.")
                    .arg(reasons.join(QStringLiteral("; ")), host),
                error);
        }
        return make(SecureConnectionFailed,
            QStringLiteral("A TLS error has occurred and a secure connection to the server cannot be made."), error);
    }
    case E::TooManyRedirectsError:
        return make(HTTPTooManyRedirects, QStringLiteral("too many HTTP redirects"), error);
    case E::InsecureRedirectError:
        return make(RedirectToNonExistentLocation,
            QStringLiteral("The server redirected to an insecure address, which was not followed."), error);
    case E::ProxyAuthenticationRequiredError:
        return make(UserAuthenticationRequired, QStringLiteral("The proxy requires authentication."), error);
    case E::ProtocolUnknownError:
        return make(UnsupportedURL, QStringLiteral("unsupported URL"), error);
    case E::ProtocolInvalidOperationError:
    case E::ProtocolFailure:
        return make(BadServerResponse, QStringLiteral("The server's answer could not be read."), error);
    default:
        return make(Unknown, QStringLiteral("The network operation failed (Qt error %1).").arg(int(error)), error);
    }
}

bool machineIsOffline()
{
    // Qt's network information backend (NetworkManager) knows best when it
    // runs; without it, look at the interfaces.
    static const bool loaded = QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability);
    if (loaded && QNetworkInformation::instance()) {
        const auto reachability = QNetworkInformation::instance()->reachability();
        if (reachability == QNetworkInformation::Reachability::Disconnected)
            return true;
        if (reachability != QNetworkInformation::Reachability::Unknown)
            return false;
    }
    const auto interfaces = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &i : interfaces) {
        const auto flags = i.flags();
        if ((flags & QNetworkInterface::IsUp) && (flags & QNetworkInterface::IsRunning)
            && !(flags & QNetworkInterface::IsLoopBack))
            return false;
    }
    return true;
}

Error fromCurl(int curlCode, const QString &host, const QString &detail)
{
    switch (CURLcode(curlCode)) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
    case CURLE_OPERATION_TIMEDOUT:
        // What may simply mean that the machine is off the network.
        if (!isLoopbackHost(host) && machineIsOffline()) {
            return makeFromCurl(
                NotConnectedToInternet, QStringLiteral("The Internet connection appears to be offline."), curlCode);
        }
        break;
    default:
        break;
    }
    switch (CURLcode(curlCode)) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return makeFromCurl(
            CannotFindHost, QStringLiteral("A server with the specified hostname could not be found."), curlCode);
    case CURLE_COULDNT_CONNECT:
        return makeFromCurl(CannotConnectToHost, QStringLiteral("Could not connect to the server."), curlCode);
    case CURLE_OPERATION_TIMEDOUT:
        return makeFromCurl(TimedOut, QStringLiteral("The request timed out."), curlCode);
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
        return makeFromCurl(NetworkConnectionLost, QStringLiteral("The network connection was lost."), curlCode);
    case CURLE_ABORTED_BY_CALLBACK:
        return makeFromCurl(Cancelled, QStringLiteral("cancelled"), curlCode);
    case CURLE_PEER_FAILED_VERIFICATION:
        return makeFromCurl(ServerCertificateUntrusted,
            QStringLiteral("The certificate for this server is invalid (%1). You might be connecting to a server "
                           "that is pretending to be “%2”.")
                .arg(detail, host),
            curlCode);
    case CURLE_SSL_CONNECT_ERROR:
        return makeFromCurl(SecureConnectionFailed,
            QStringLiteral("A TLS error has occurred and a secure connection to the server cannot be made."), curlCode);
    case CURLE_UNSUPPORTED_PROTOCOL:
        return makeFromCurl(UnsupportedURL, QStringLiteral("unsupported URL"), curlCode);
    case CURLE_URL_MALFORMAT:
        return makeFromCurl(BadURL, QStringLiteral("bad URL"), curlCode);
    case CURLE_WEIRD_SERVER_REPLY:
        return makeFromCurl(BadServerResponse, QStringLiteral("The server's answer could not be read."), curlCode);
    default:
        return makeFromCurl(Unknown,
            QStringLiteral("The network operation failed (%1).")
                .arg(detail.isEmpty() ? QString::fromUtf8(curl_easy_strerror(CURLcode(curlCode))) : detail),
            curlCode);
    }
}

Error fromReply(const QNetworkReply *reply, const QList<QSslError> &sslErrors)
{
    const QString host = reply->url().host();
    if (reply->error() == QNetworkReply::OperationCanceledError && ReplyTimeout::firedOn(reply))
        return fromNetworkError(QNetworkReply::TimeoutError, host);
    if (mayMeanOffline(reply->error()) && !isLoopbackHost(host) && machineIsOffline()) {
        return make(
            NotConnectedToInternet, QStringLiteral("The Internet connection appears to be offline."), reply->error());
    }
    return fromNetworkError(reply->error(), host, sslErrors);
}

} // namespace TransportError
