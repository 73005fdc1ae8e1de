#include "storage/linkstore.h"

#include "common/crypto.h"
#include "storage/database.h"
#include "storage/itemstore.h"

namespace tessly::server {

namespace {

constexpr const char *kSelect
    = "SELECT links.item, links.profile_id, profiles.domain, links.slug, links.content, links.view_count "
      "FROM links JOIN profiles ON profiles.id = links.profile_id ";

Link readLink(const Statement &row)
{
    return Link { row.integer(0), row.integer(1), row.text(2), row.text(3), row.text(4), row.integer(5) };
}

std::string newSlug()
{
    static const char alphabet[] = "abcdefghijkmnopqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789";
    std::string raw = randomBytes(8);
    std::string slug;
    for (unsigned char c : raw)
        slug.push_back(alphabet[c % (sizeof alphabet - 1)]);
    return slug;
}

} // namespace

Link LinkStore::create(const Profile &profile, const std::string &content)
{
    Link link { m_items.allocateItemId(), profile.id, profile.domain, "", content, 0 };
    auto lock = m_db.lock();
    for (;;) {
        link.slug = newSlug();
        if (!bySlug(link.slug))
            break;
    }
    m_db.prepare("INSERT INTO links(item, profile_id, slug, content) VALUES(?, ?, ?, ?)")
        .bindAll({ link.item, link.profileId, link.slug, link.content })
        .run();
    return link;
}

std::optional<Link> LinkStore::bySlug(const std::string &slug)
{
    auto lock = m_db.lock();
    auto row = m_db.prepare(std::string(kSelect) + "WHERE links.slug = ?");
    row.bind(1, slug);
    if (!row.step())
        return std::nullopt;
    return readLink(row);
}

std::vector<Link> LinkStore::list(std::int64_t profileId, int count)
{
    auto lock = m_db.lock();
    auto row = m_db.prepare(std::string(kSelect) + "WHERE links.profile_id = ? ORDER BY links.item DESC LIMIT ?");
    row.bindAll({ profileId, std::int64_t(count) });
    std::vector<Link> out;
    while (row.step())
        out.push_back(readLink(row));
    return out;
}

void LinkStore::incrementViews(const std::string &slug)
{
    auto lock = m_db.lock();
    m_db.prepare("UPDATE links SET view_count = view_count + 1 WHERE slug = ?").bind(1, slug).run();
}

} // namespace tessly::server
