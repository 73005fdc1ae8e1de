#include "transporterror.h"

#include "curllibrary.h"
#include "replytimeout.h"

#include <QHostAddress>
#include <QNetworkInformation>
#include <QNetworkInterface>

namespace TransportError {

namespace {

// What people read for each code. Both tables below use these, so a code
// says the same whichever transport reported it.
QString sentenceFor(Code code)
{
    switch (code) {
    case CannotFindHost:
        return QStringLiteral("A server with the specified hostname could not be found.");
    case CannotConnectToHost:
        return QStringLiteral("Could not connect to the server.");
    case NetworkConnectionLost:
        return QStringLiteral("The network connection was lost.");
    case TimedOut:
        return QStringLiteral("The request timed out.");
    case Cancelled:
        return QStringLiteral("cancelled");
    case NotConnectedToInternet:
        return QStringLiteral("The Internet connection appears to be offline.");
    case DataNotAllowed:
        return QStringLiteral("A data connection is not currently allowed.");
    case SecureConnectionFailed:
        return QStringLiteral("A TLS error has occurred and a secure connection to the server cannot be made.");
    case HTTPTooManyRedirects:
        return QStringLiteral("too many HTTP redirects");
    case RedirectToNonExistentLocation:
        return QStringLiteral("The server redirected to an insecure address, which was not followed.");
    case UserAuthenticationRequired:
        return QStringLiteral("The proxy requires authentication.");
    case UnsupportedURL:
        return QStringLiteral("unsupported URL");
    case BadURL:
        return QStringLiteral("bad URL");
    case BadServerResponse:
        return QStringLiteral("The server's answer could not be read.");
    default:
        return {};
    }
}

QString untrustedCertificateSentence(const QString &reasons, const QString &host)
{
    return QStringLiteral("The certificate for this server is invalid (%1). You might be connecting to a server "
                          "that is pretending to be “%2”.")
        .arg(reasons, host);
}

Error make(Code code, QNetworkReply::NetworkError qtError, const QString &text = {})
{
    return Error(QString::fromLatin1(Domain), code, text.isNull() ? sentenceFor(code) : text,
        { { QStringLiteral("QNetworkReply::NetworkError"), int(qtError) } });
}

Error makeFromCurl(Code code, int curlCode, const QString &text = {})
{
    return Error(QString::fromLatin1(Domain), code, text.isNull() ? sentenceFor(code) : text,
        { { QStringLiteral("CURLcode"), curlCode } });
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
    // An answer cut off by its watcher (idle, or too large) is no answer.
    if (ReplyTimeout::firedOn(reply) || ReplyTimeout::tooLargeOn(reply))
        return true;
    // Qt flags 4xx and 5xx answers as errors too; they are answers.
    return !reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
}

Error fromNetworkError(QNetworkReply::NetworkError error, const QString &host, const QList<QSslError> &sslErrors)
{
    using E = QNetworkReply;
    switch (error) {
    case E::HostNotFoundError:
        return make(CannotFindHost, error);
    case E::ConnectionRefusedError:
    case E::UnknownNetworkError: // Qt's answer to "network unreachable" and "no route to host"
    case E::ProxyConnectionRefusedError:
    case E::ProxyNotFoundError:
        return make(CannotConnectToHost, error);
    case E::RemoteHostClosedError:
    case E::ProxyConnectionClosedError:
    case E::TemporaryNetworkFailureError:
        return make(NetworkConnectionLost, error);
    case E::TimeoutError:
    case E::ProxyTimeoutError:
        return make(TimedOut, error);
    case E::OperationCanceledError:
        return make(Cancelled, error);
    case E::NetworkSessionFailedError:
        return make(NotConnectedToInternet, error);
    case E::BackgroundRequestNotAllowedError:
        return make(DataNotAllowed, error);
    case E::SslHandshakeFailedError: {
        // A certificate that is not trusted is told apart from a handshake
        // that failed for other reasons (e.g. TLS spoken to a plain-HTTP port).
        QStringList reasons;
        for (const QSslError &e : sslErrors)
            reasons << e.errorString();
        if (!reasons.isEmpty())
            return make(ServerCertificateUntrusted, error,
                untrustedCertificateSentence(reasons.join(QStringLiteral("; ")), host));
        return make(SecureConnectionFailed, error);
    }
    case E::TooManyRedirectsError:
        return make(HTTPTooManyRedirects, error);
    case E::InsecureRedirectError:
        return make(RedirectToNonExistentLocation, error);
    case E::ProxyAuthenticationRequiredError:
        return make(UserAuthenticationRequired, error);
    case E::ProtocolUnknownError:
        return make(UnsupportedURL, error);
    case E::ProtocolInvalidOperationError:
    case E::ProtocolFailure:
        return make(BadServerResponse, error);
    default:
        return make(Unknown, error, QStringLiteral("The network operation failed (Qt error %1).").arg(int(error)));
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
    Code code = Unknown;
    switch (CURLcode(curlCode)) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        code = CannotFindHost;
        break;
    case CURLE_COULDNT_CONNECT:
        code = CannotConnectToHost;
        break;
    case CURLE_OPERATION_TIMEDOUT:
        code = TimedOut;
        break;
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
        code = NetworkConnectionLost;
        break;
    case CURLE_ABORTED_BY_CALLBACK:
        code = Cancelled;
        break;
    case CURLE_PEER_FAILED_VERIFICATION:
        return makeFromCurl(ServerCertificateUntrusted, curlCode, untrustedCertificateSentence(detail, host));
    case CURLE_SSL_CONNECT_ERROR:
        code = SecureConnectionFailed;
        break;
    case CURLE_UNSUPPORTED_PROTOCOL:
        code = UnsupportedURL;
        break;
    case CURLE_URL_MALFORMAT:
        code = BadURL;
        break;
    case CURLE_WEIRD_SERVER_REPLY:
        code = BadServerResponse;
        break;
    default: {
        // A code comes from a transfer, so libcurl is there to describe it.
        const CurlLibrary *curl = CurlLibrary::loaded();
        const QString words = !detail.isEmpty() ? detail
            : curl                              ? curl->describe(CURLcode(curlCode))
                                                : QStringLiteral("libcurl error %1").arg(curlCode);
        return makeFromCurl(Unknown, curlCode, QStringLiteral("The network operation failed (%1).").arg(words));
    }
    }
    // What may simply mean that the machine is off the network.
    const bool offlineMayExplain = code == CannotFindHost || code == CannotConnectToHost || code == TimedOut;
    if (offlineMayExplain && !isLoopbackHost(host) && machineIsOffline())
        code = NotConnectedToInternet;
    return makeFromCurl(code, curlCode);
}

Error fromReply(const QNetworkReply *reply, const QList<QSslError> &sslErrors)
{
    const QString host = reply->url().host();
    if (reply->error() == QNetworkReply::OperationCanceledError && ReplyTimeout::firedOn(reply))
        return fromNetworkError(QNetworkReply::TimeoutError, host);
    qint64 maxBytes = 0;
    if (reply->error() == QNetworkReply::OperationCanceledError && ReplyTimeout::tooLargeOn(reply, &maxBytes))
        return make(BadServerResponse, reply->error(),
            QStringLiteral("The server's answer was larger than %1 bytes, so it was not read.").arg(maxBytes));
    if (mayMeanOffline(reply->error()) && !isLoopbackHost(host) && machineIsOffline()) {
        return make(NotConnectedToInternet, reply->error());
    }
    return fromNetworkError(reply->error(), host, sslErrors);
}

} // namespace TransportError
