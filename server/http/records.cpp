#include "http/records.h"

#include "common/text.h"
#include "http/urls.h"

namespace tessly::server {

bool Records::hasThumbnail(const std::string &mimeType)
{
    return startsWith(mimeType, "image/") || startsWith(mimeType, "video/");
}

Json Records::item(const Item &item, const Profile &profile) const
{
    const std::string &code = item.code;
    const bool folder = item.kind == ItemKind::Folder;
    Json out = {
        { "item", item.item },
        { "code", code },
        { "domain", profile.domain },
        { "type", folder ? "folder" : "file" },
        { "name", item.name },
        { "mimeType", item.mimeType },
        { "viewCount", item.viewCount },
        { "createdAt", isoTime(item.item) },
        { "shareUrl", m_urls.shareUrl(profile, code) },
    };
    if (profile.customDomain)
        out["customDomain"] = *profile.customDomain;
    if (!folder) {
        out["size"] = item.size;
        out["status"] = item.stored ? "stored" : "pending";
        out["downloadUrl"] = m_urls.shareUrl(profile, code) + "/download";
        if (hasThumbnail(item.mimeType))
            out["thumbnailUrl"] = m_urls.shareUrl(profile, code) + "/thumbnail";
        if (item.etag)
            out["etag"] = *item.etag;
    }
    if (item.parentItem)
        out["parentItem"] = profile.domain + "/" + std::to_string(*item.parentItem);
    if (item.order)
        out["order"] = *item.order;
    return out;
}

Json Records::link(const Link &link, const Profile &profile) const
{
    Json out = {
        { "item", link.item },
        { "slug", link.slug },
        { "domain", profile.domain },
        { "type", "link" },
        { "content", link.content },
        { "name", link.content },
        { "viewCount", link.viewCount },
        { "createdAt", isoTime(link.item) },
        { "shareUrl", m_urls.shortUrl(profile, link.slug) },
    };
    if (profile.customDomain)
        out["customDomain"] = *profile.customDomain;
    return out;
}

} // namespace tessly::server
