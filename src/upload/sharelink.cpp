#include "sharelink.h"

#include "serviceconfig.h"
#include "settingsstore.h"

namespace ShareLink {

namespace {

QString host(const QString &domain, const QString &customDomain)
{
    if (!customDomain.isEmpty())
        return customDomain;
    return QStringLiteral("%1.%2").arg(domain, Config::webDomain());
}

} // namespace

QString forItem(const QString &code, const QString &domain, const QString &customDomain)
{
    if (code.isEmpty() || (domain.isEmpty() && customDomain.isEmpty()))
        return {};
    return QStringLiteral("https://%1/%2").arg(host(domain, customDomain), code);
}

QString forItem(const QVariantMap &record)
{
    QString domain = record.value(QStringLiteral("domain")).toString();
    if (domain.isEmpty())
        domain = SettingsStore::instance().domain();
    return forItem(record.value(QStringLiteral("code")).toString(), domain,
        record.value(QStringLiteral("customDomain")).toString());
}

QString forShortLink(const QString &slug, const QString &domain, const QString &customDomain)
{
    if (slug.isEmpty() || (domain.isEmpty() && customDomain.isEmpty()))
        return {};
    return QStringLiteral("https://%1/l/%2").arg(host(domain, customDomain), slug);
}

} // namespace ShareLink
