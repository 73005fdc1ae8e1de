#include "webpage.h"

#include "serviceconfig.h"

namespace WebPage {

QUrl url(const QString &pathAndQuery)
{
    QString scheme = Config::apiBaseUrl().scheme();
    if (scheme != QLatin1String("http"))
        scheme = QStringLiteral("https");
    return QUrl(QStringLiteral("%1://%2%3").arg(scheme, Config::webDomain(), pathAndQuery));
}

} // namespace WebPage
