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

} // namespace ShareLink
