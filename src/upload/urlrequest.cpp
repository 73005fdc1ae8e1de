#include "urlrequest.h"

#include "serviceconfig.h"
#include "settingsstore.h"

QString URLRequest::endpointRoot()
{
    QString root = Config::apiBaseUrl().toString();
    while (root.endsWith(QLatin1Char('/')))
        root.chop(1);
    if (root.endsWith(QLatin1String("/v1")))
        root.chop(3);
    return root;
}

URLRequest URLRequest::forEndpoint(const QString &endpoint, const QString &method)
{
    const QString token = SettingsStore::instance().token();
    URLRequest r;
    // Plain concatenation: the endpoint is expected to start with "/".
    r.request.setUrl(QUrl(endpointRoot() + endpoint));
    // The bearer token goes to the service alone: a redirect to another
    // origin (scheme, host or port) is not followed.
    r.request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::SameOriginRedirectPolicy);
    r.httpMethod = method.toLatin1();
    r.setValue(QByteArrayLiteral("application/json"), QByteArrayLiteral("Content-Type"));
    // A token edited into the settings file by hand could carry a line
    // break into the headers; such a token is not sent.
    if (!token.isNull() && SettingsStore::isValidToken(token))
        r.setValue(QStringLiteral("Bearer %1").arg(token).toUtf8(), QByteArrayLiteral("Authorization"));
    return r;
}
