#include "storage/itemstore.h"

#include "common/itemcode.h"
#include "common/text.h"
#include "storage/database.h"

#include <algorithm>

namespace tessly::server {

namespace {

constexpr const char *kColumns
    = "items.item, items.profile_id, profiles.domain, items.kind, items.name, items.mime_type, items.size, "
      "items.object_key, items.parent_item, items.ord, items.stored, items.view_count, items.etag, items.code";
constexpr const char *kFrom = " FROM items JOIN profiles ON profiles.id = items.profile_id ";

Item readItem(const Statement &row)
{
    Item item;
    item.item = row.integer(0);
    item.profileId = row.integer(1);
    item.domain = row.text(2);
    item.kind = row.text(3) == "folder" ? ItemKind::Folder : ItemKind::File;
    item.name = row.text(4);
    item.mimeType = row.text(5);
    item.size = row.integer(6);
    item.objectKey = row.text(7);
    item.parentItem = row.optionalInteger(8);
    item.order = row.optionalText(9);
    item.stored = row.integer(10) != 0;
    item.viewCount = row.integer(11);
    item.etag = row.optionalText(12);
    item.code = row.text(13);
    return item;
}

SqlValue optional(const std::optional<std::int64_t> &value)
{
    return value ? SqlValue(*value) : SqlValue(nullptr);
}

SqlValue optional(const std::optional<std::string> &value)
{
    return value ? SqlValue(*value) : SqlValue(nullptr);
}

} // namespace

std::string ItemStore::objectKeyFor(const std::string &domain, std::int64_t item)
{
    return domain + "/" + std::to_string(item);
}

std::int64_t ItemStore::allocateItemId()
{
    return m_db.transaction([&] {
        auto read = m_db.prepare("SELECT value FROM settings WHERE key = 'last_item'");
        std::int64_t last = read.step() ? std::stoll(read.text(0)) : 0;
        std::int64_t id = std::max(nowMillis(), last + 1);
        m_db.prepare("INSERT INTO settings(key, value) VALUES('last_item', ?) "
                     "ON CONFLICT(key) DO UPDATE SET value = excluded.value")
            .bind(1, std::to_string(id))
            .run();
        return id;
    });
}

std::string ItemStore::unusedCode()
{
    auto lock = m_db.lock();
    for (;;) {
        std::string code = newItemCode();
        if (!findByCode(code))
            return code;
    }
}

Item ItemStore::insert(Item item)
{
    auto lock = m_db.lock();
    item.code = unusedCode();
    m_db.prepare("INSERT INTO items(item, profile_id, kind, name, mime_type, size, object_key, parent_item, ord, "
                 "stored, code) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bindAll({ item.item, item.profileId, std::string(item.kind == ItemKind::Folder ? "folder" : "file"), item.name,
            item.mimeType, item.size, item.objectKey, optional(item.parentItem), optional(item.order),
            std::int64_t(item.stored ? 1 : 0), item.code })
        .run();
    return item;
}

void ItemStore::assignMissingCodes()
{
    m_db.transaction([&] {
        std::vector<std::int64_t> missing;
        auto row = m_db.prepare("SELECT item FROM items WHERE code IS NULL");
        while (row.step())
            missing.push_back(row.integer(0));
        for (std::int64_t item : missing)
            m_db.prepare("UPDATE items SET code = ? WHERE item = ?").bindAll({ unusedCode(), item }).run();
    });
}

Item ItemStore::createFile(const Profile &profile, const std::string &name, const std::string &mimeType,
    std::int64_t size, std::optional<std::int64_t> parentItem, std::optional<std::string> order)
{
    Item item;
    item.item = allocateItemId();
    item.profileId = profile.id;
    item.domain = profile.domain;
    item.name = name;
    item.mimeType = mimeType;
    item.size = size;
    item.objectKey = objectKeyFor(profile.domain, item.item);
    item.parentItem = parentItem;
    item.order = std::move(order);
    return insert(std::move(item));
}

Item ItemStore::createFolder(const Profile &profile, const std::string &name, std::optional<std::int64_t> parentItem,
    std::optional<std::string> order)
{
    Item item;
    item.item = allocateItemId();
    item.profileId = profile.id;
    item.domain = profile.domain;
    item.kind = ItemKind::Folder;
    item.name = name;
    item.mimeType = "tessly/folder";
    item.parentItem = parentItem;
    item.order = std::move(order);
    item.stored = true;
    return insert(std::move(item));
}

std::optional<Item> ItemStore::find(std::int64_t item)
{
    auto lock = m_db.lock();
    auto row = m_db.prepare(std::string("SELECT ") + kColumns + kFrom + "WHERE items.item = ?");
    row.bind(1, item);
    if (!row.step())
        return std::nullopt;
    return readItem(row);
}

std::optional<Item> ItemStore::findByCode(const std::string &code)
{
    if (!isItemCode(code))
        return std::nullopt;
    auto lock = m_db.lock();
    auto row = m_db.prepare(std::string("SELECT ") + kColumns + kFrom + "WHERE items.code = ?");
    row.bind(1, code);
    if (!row.step())
        return std::nullopt;
    return readItem(row);
}

std::optional<Item> ItemStore::findByObjectKey(const std::string &key)
{
    auto lock = m_db.lock();
    auto row = m_db.prepare(
        std::string("SELECT ") + kColumns + kFrom + "WHERE items.object_key = ? AND items.kind = 'file'");
    row.bind(1, key);
    if (!row.step())
        return std::nullopt;
    return readItem(row);
}

void ItemStore::markStored(std::int64_t item, std::int64_t size, const std::optional<std::string> &etag)
{
    auto lock = m_db.lock();
    m_db.prepare("UPDATE items SET stored = 1, size = ?, etag = ? WHERE item = ?")
        .bindAll({ size, optional(etag), item })
        .run();
}

void ItemStore::incrementViews(std::int64_t item)
{
    auto lock = m_db.lock();
    m_db.prepare("UPDATE items SET view_count = view_count + 1 WHERE item = ?").bind(1, item).run();
}

std::vector<Item> ItemStore::list(std::int64_t profileId, const ItemFilter &filter)
{
    std::string sql = std::string("SELECT ") + kColumns + kFrom + "WHERE items.profile_id = ?";
    std::vector<SqlValue> values { profileId };
    if (!filter.includePending)
        sql += " AND items.stored = 1";
    if (filter.kind) {
        sql += " AND items.kind = ?";
        values.emplace_back(std::string(*filter.kind == ItemKind::Folder ? "folder" : "file"));
    }
    if (filter.mimeType) {
        sql += " AND items.mime_type = ?";
        values.emplace_back(*filter.mimeType);
    }
    if (filter.parentItem) {
        sql += " AND items.parent_item = ?";
        values.emplace_back(*filter.parentItem);
    }
    sql += " ORDER BY items.item DESC LIMIT ?";
    values.emplace_back(std::int64_t(filter.count));

    auto lock = m_db.lock();
    auto row = m_db.prepare(sql);
    row.bindAll(values);
    std::vector<Item> out;
    while (row.step())
        out.push_back(readItem(row));
    return out;
}

std::vector<Item> ItemStore::pendingFiles(std::int64_t profileId, int limit)
{
    auto lock = m_db.lock();
    auto row = m_db.prepare(std::string("SELECT ") + kColumns + kFrom
        + "WHERE items.profile_id = ? AND items.stored = 0 AND items.kind = 'file' "
          "ORDER BY items.item DESC LIMIT ?");
    row.bindAll({ profileId, std::int64_t(limit) });
    std::vector<Item> out;
    while (row.step())
        out.push_back(readItem(row));
    return out;
}

} // namespace tessly::server
