#include "storage/schema.h"

#include "storage/database.h"

namespace tessly::server {

void applySchema(Database &db)
{
    db.exec(R"sql(
CREATE TABLE IF NOT EXISTS settings(
    key TEXT PRIMARY KEY,
    value TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS users(
    id INTEGER PRIMARY KEY,
    email TEXT NOT NULL UNIQUE COLLATE NOCASE,
    password_hash TEXT NOT NULL,
    created_at INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS tokens(
    token_hash TEXT PRIMARY KEY,
    user_id INTEGER NOT NULL REFERENCES users(id),
    kind TEXT NOT NULL,
    created_at INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS profiles(
    id INTEGER PRIMARY KEY,
    user_id INTEGER NOT NULL REFERENCES users(id),
    domain TEXT NOT NULL UNIQUE,
    custom_domain TEXT UNIQUE COLLATE NOCASE,
    created_at INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS items(
    item INTEGER PRIMARY KEY,
    profile_id INTEGER NOT NULL REFERENCES profiles(id),
    kind TEXT NOT NULL,
    name TEXT NOT NULL,
    mime_type TEXT NOT NULL,
    size INTEGER NOT NULL DEFAULT 0,
    object_key TEXT NOT NULL DEFAULT '',
    parent_item INTEGER,
    ord TEXT,
    stored INTEGER NOT NULL DEFAULT 0,
    view_count INTEGER NOT NULL DEFAULT 0,
    etag TEXT,
    code TEXT);
CREATE INDEX IF NOT EXISTS items_by_profile ON items(profile_id, item DESC);
CREATE TABLE IF NOT EXISTS links(
    item INTEGER PRIMARY KEY,
    profile_id INTEGER NOT NULL REFERENCES profiles(id),
    slug TEXT NOT NULL UNIQUE,
    content TEXT NOT NULL,
    view_count INTEGER NOT NULL DEFAULT 0);
CREATE TABLE IF NOT EXISTS uploads(
    upload_id TEXT PRIMARY KEY,
    backend_upload_id TEXT NOT NULL,
    item INTEGER NOT NULL,
    profile_id INTEGER NOT NULL,
    object_key TEXT NOT NULL,
    size INTEGER NOT NULL,
    part_size INTEGER NOT NULL,
    created_at INTEGER NOT NULL,
    state TEXT NOT NULL);
)sql");
    // Data folders made before share codes were random lack the column.
    bool hasCode = false;
    {
        auto lock = db.lock();
        auto column = db.prepare("SELECT 1 FROM pragma_table_info('items') WHERE name = 'code'");
        hasCode = column.step();
    }
    if (!hasCode)
        db.exec("ALTER TABLE items ADD COLUMN code TEXT");
    db.exec("CREATE UNIQUE INDEX IF NOT EXISTS items_by_code ON items(code)");
}

} // namespace tessly::server
