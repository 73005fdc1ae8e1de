#include "sharelink.h"

#include "serviceconfig.h"
#include "settingsstore.h"

#include <QUrl>

namespace ShareLink {

namespace {

QString host(const QString &domain, const QString &customDomain)
{
    if (!customDomain.isEmpty())
        return customDomain;
    return QStringLiteral("%1.%2").arg(domain, Config::webDomain());
}

// The record's profile, else the stored one.
QString domainOf(const QVariantMap &record)
{
    QString domain = record.value(QStringLiteral("domain")).toString();
    if (domain.isEmpty())
        domain = SettingsStore::instance().domain();
    return domain;
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
    return forItem(record.value(QStringLiteral("code")).toString(), domainOf(record),
        record.value(QStringLiteral("customDomain")).toString());
}

QString forShortLink(const QString &slug, const QString &domain, const QString &customDomain)
{
    if (slug.isEmpty() || (domain.isEmpty() && customDomain.isEmpty()))
        return {};
    return QStringLiteral("https://%1/l/%2").arg(host(domain, customDomain), slug);
}

QString forShortLink(const QVariantMap &record)
{
    return forShortLink(record.value(QStringLiteral("slug")).toString(), domainOf(record),
        record.value(QStringLiteral("customDomain")).toString());
}

QString readableAddress(const QString &content)
{
    const QUrl url(content);
    if (!url.isValid() || url.host().isEmpty())
        return content;
    QString host = url.host();
    if (host.startsWith(QLatin1String("www.")))
        host.remove(0, 4);
    const QString rest = url.toString(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::StripTrailingSlash);
    return host + rest;
}

} // namespace ShareLink
