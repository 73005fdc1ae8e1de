// Short links: a slug that redirects to a stored URL.
#pragma once

#include "storage/models.h"

#include <optional>
#include <string>
#include <vector>

namespace tessly::server {

class Database;
class ItemStore;

class LinkStore
{
public:
    LinkStore(Database &db, ItemStore &items)
        : m_db(db)
        , m_items(items)
    {
    }

    Link create(const Profile &profile, const std::string &content);
    std::optional<Link> bySlug(const std::string &slug);
    std::vector<Link> list(std::int64_t profileId, int count); // newest first
    void incrementViews(const std::string &slug);

private:
    Database &m_db;
    ItemStore &m_items;
};

} // namespace tessly::server
