#include "linkmenuitemviewcontroller.h"

#include "settingsstore.h"
#include "sharelink.h"

namespace {

QUrl shortLink(const QVariantMap &link)
{
    QString domain = link.value(QStringLiteral("domain")).toString();
    if (domain.isEmpty())
        domain = SettingsStore::instance().domain();
    return QUrl(ShareLink::forShortLink(
        link.value(QStringLiteral("slug")).toString(), domain, link.value(QStringLiteral("customDomain")).toString()));
}

// "example.com/some/page" for "https://www.example.com/some/page".
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

} // namespace

LinkMenuItemViewController::LinkMenuItemViewController(const QVariantMap &link, QObject *parent)
    : RemoteItemMenuAction(
        link, readableAddress(link.value(QStringLiteral("content")).toString()), shortLink(link), parent)
{
    setThemeIcon(QStringLiteral("insert-link"));
}
