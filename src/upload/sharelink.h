#pragma once

#include <QString>
#include <QVariantMap>

// Share links of uploaded items and short links, as users receive them:
// "https://CUSTOM-DOMAIN/CODE" when the item has a custom domain, otherwise
// "https://PROFILE.WEB-DOMAIN/CODE", the profile being the answer's "domain"
// or the stored one. Short links put "/l/" before the slug.
namespace ShareLink {

// The link of a finished upload from its completion record ("code",
// "customDomain", "domain"); empty when the code or the profile is unknown.
QString forItem(const QVariantMap &record);
QString forItem(const QString &code, const QString &domain, const QString &customDomain);
QString forShortLink(const QString &slug, const QString &domain, const QString &customDomain);
// The short link of a link record ("slug", "domain", "customDomain").
QString forShortLink(const QVariantMap &record);

// "example.com/some/page" for "https://www.example.com/some/page": how a
// link's target reads in lists.
QString readableAddress(const QString &content);

} // namespace ShareLink
