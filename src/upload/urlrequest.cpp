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
    r.httpMethod = method.toLatin1();
    r.setValue(QByteArrayLiteral("application/json"), QByteArrayLiteral("Content-Type"));
    if (!token.isNull())
        r.setValue(QStringLiteral("Bearer %1").arg(token).toUtf8(), QByteArrayLiteral("Authorization"));
    return r;
}
