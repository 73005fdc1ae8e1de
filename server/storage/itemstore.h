// Files and folders of all profiles, and the service-wide item clock.
#pragma once

#include "storage/models.h"

#include <optional>
#include <string>
#include <vector>

namespace tessly::server {

class Database;

struct ItemFilter
{
    std::optional<ItemKind> kind;
    std::optional<std::string> mimeType;
    std::optional<std::int64_t> parentItem;
    bool includePending = false;
    int count = 12;
};

class ItemStore
{
public:
    explicit ItemStore(Database &db)
        : m_db(db)
    {
    }

    // The creation time in ms, bumped past the last one handed out so that
    // every item of the service has its own number.
    std::int64_t allocateItemId();

    Item createFile(const Profile &profile, const std::string &name, const std::string &mimeType, std::int64_t size,
        std::optional<std::int64_t> parentItem, std::optional<std::string> order);
    Item createFolder(const Profile &profile, const std::string &name, std::optional<std::int64_t> parentItem,
        std::optional<std::string> order);

    std::optional<Item> find(std::int64_t item);
    std::optional<Item> findByCode(const std::string &code);
    std::optional<Item> findByObjectKey(const std::string &key);
    void markStored(std::int64_t item, std::int64_t size, const std::optional<std::string> &etag);
    void incrementViews(std::int64_t item);
    // Newest first.
    std::vector<Item> list(std::int64_t profileId, const ItemFilter &filter);
    std::vector<Item> pendingFiles(std::int64_t profileId, int limit);

    // Items made before codes were random get one (their old links end).
    void assignMissingCodes();

    static std::string objectKeyFor(const std::string &domain, std::int64_t item);

private:
    Item insert(Item item);
    std::string unusedCode();
    Database &m_db;
};

} // namespace tessly::server
