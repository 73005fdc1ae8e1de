#pragma once

#include <QByteArray>
#include <QNetworkRequest>
#include <QString>
#include <QUrl>

// A request as the service client builds it before sending: the URL and
// headers (in a QNetworkRequest), the HTTP method and the body. Qt keeps the
// method and body apart from QNetworkRequest; this keeps the three together
// so a built request can be inspected, adjusted and handed on as one value.
struct URLRequest
{
    QNetworkRequest request;
    QByteArray httpMethod = QByteArrayLiteral("GET");
    QByteArray httpBody;

    QUrl url() const { return request.url(); }
    QByteArray valueForHTTPHeaderField(const QByteArray &field) const { return request.rawHeader(field); }
    bool hasHeader(const QByteArray &field) const { return request.hasRawHeader(field); }
    void setValue(const QByteArray &value, const QByteArray &field) { request.setRawHeader(field, value); }

    // An authorised JSON request for an endpoint path of the service:
    // "Content-Type: application/json" for every method, and
    // "Authorization: Bearer <token>" only when a token is stored (the token
    // is read from the settings store now). Logs nothing; API adds its
    // "Endpoint" line, the multipart client does not.
    static URLRequest forEndpoint(const QString &endpoint, const QString &method);

    // Where endpoint paths are appended. The configured API base names the
    // version folder ("https://api.tessly.cloud/v1/") while the endpoint paths
    // carry it themselves ("/v1/users/me"), so the paths are joined to the
    // base without its trailing "/v1/": "https://api.tessly.cloud" +
    // "/v1/users/me". A base without a version folder is used as it is,
    // minus a trailing "/".
    static QString endpointRoot();
};
