#pragma once

#include "error.h"

#include <QList>
#include <QNetworkReply>
#include <QSslError>

// Transport failures (no HTTP answer at all) as the service client reports
// them. Qt's network errors come without descriptions that say what
// happened in words, so each is mapped here, in one table, to a code and a
// sentence for people. The codes are the well-known URL-loading error codes
// (-1003 host not found, -1004 cannot connect, ...), so code checks written
// against them keep working, and the sentences contain the words the
// client's failure mapping looks for ("offline", "hostname", "connect").
//
// Their domain is "TesslyURLErrorDomain".
namespace TransportError {

inline constexpr char Domain[] = "TesslyURLErrorDomain";

enum Code {
    Unknown = -1,
    Cancelled = -999,
    BadURL = -1000,
    TimedOut = -1001,
    UnsupportedURL = -1002,
    CannotFindHost = -1003,
    CannotConnectToHost = -1004,
    NetworkConnectionLost = -1005,
    HTTPTooManyRedirects = -1007,
    BadServerResponse = -1011,
    UserAuthenticationRequired = -1013,
    NotConnectedToInternet = -1009,
    RedirectToNonExistentLocation = -1010,
    DataNotAllowed = -1020,
    SecureConnectionFailed = -1200,
    ServerCertificateUntrusted = -1202,
};

// Whether the reply ended without an HTTP answer. An answer with any status
// (404, 500, ...) is not a transport failure, even though Qt flags it as an
// error; neither is a reply without error.
bool isTransportFailure(const QNetworkReply *reply);

// The error for a reply that isTransportFailure(). `sslErrors` are those the
// reply reported (its sslErrors signal), used to say what was wrong with the
// certificate. A failure to reach a non-loopback host while this machine has
// no network is reported as offline (-1009), and one aborted by its
// ReplyTimeout as timed out (-1001).
Error fromReply(const QNetworkReply *reply, const QList<QSslError> &sslErrors = {});

// The table itself: Qt's error to code and description, before the offline
// check. `host` names the server in the certificate sentence.
Error fromNetworkError(
    QNetworkReply::NetworkError error, const QString &host = {}, const QList<QSslError> &sslErrors = {});

// The error for a transfer that libcurl ended without an HTTP answer:
// `curlCode` is its CURLcode, `detail` libcurl's own sentence (its error
// buffer), used to say what was wrong with a certificate. The same codes and
// sentences as the table above, and the same offline check.
Error fromCurl(int curlCode, const QString &host, const QString &detail = {});

// Whether this machine has no usable network: Qt's network information
// reports it disconnected, or no interface other than loopback is up and
// running.
bool machineIsOffline();

} // namespace TransportError
