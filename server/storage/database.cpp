#include "storage/database.h"

#include <sqlite3.h>

namespace tessly::server {

Statement::Statement(sqlite3 *db, std::string_view sql)
    : m_db(db)
{
    if (sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &m_stmt, nullptr) != SQLITE_OK)
        throw DatabaseError(std::string("prepare failed: ") + sqlite3_errmsg(db));
}

Statement::~Statement()
{
    sqlite3_finalize(m_stmt);
}

Statement &Statement::bind(int index, const SqlValue &value)
{
    int rc = SQLITE_OK;
    if (std::holds_alternative<std::nullptr_t>(value)) {
        rc = sqlite3_bind_null(m_stmt, index);
    } else if (auto *number = std::get_if<std::int64_t>(&value)) {
        rc = sqlite3_bind_int64(m_stmt, index, *number);
    } else {
        const std::string &text = std::get<std::string>(value);
        rc = sqlite3_bind_text(m_stmt, index, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    }
    if (rc != SQLITE_OK)
        throw DatabaseError(std::string("bind failed: ") + sqlite3_errmsg(m_db));
    return *this;
}

Statement &Statement::bindAll(const std::vector<SqlValue> &values)
{
    for (std::size_t i = 0; i < values.size(); ++i)
        bind(static_cast<int>(i + 1), values[i]);
    return *this;
}

bool Statement::step()
{
    int rc = sqlite3_step(m_stmt);
    if (rc == SQLITE_ROW)
        return true;
    if (rc == SQLITE_DONE)
        return false;
    throw DatabaseError(std::string("step failed: ") + sqlite3_errmsg(m_db));
}

void Statement::run()
{
    while (step()) { }
}

std::int64_t Statement::integer(int column) const
{
    return sqlite3_column_int64(m_stmt, column);
}

std::string Statement::text(int column) const
{
    const unsigned char *data = sqlite3_column_text(m_stmt, column);
    int size = sqlite3_column_bytes(m_stmt, column);
    return data ? std::string(reinterpret_cast<const char *>(data), static_cast<std::size_t>(size)) : std::string();
}

std::optional<std::string> Statement::optionalText(int column) const
{
    if (sqlite3_column_type(m_stmt, column) == SQLITE_NULL)
        return std::nullopt;
    return text(column);
}

std::optional<std::int64_t> Statement::optionalInteger(int column) const
{
    if (sqlite3_column_type(m_stmt, column) == SQLITE_NULL)
        return std::nullopt;
    return integer(column);
}

Database::Database(const std::string &path)
{
    if (sqlite3_open_v2(
            path.c_str(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr)
        != SQLITE_OK) {
        std::string message = m_db ? sqlite3_errmsg(m_db) : "out of memory";
        sqlite3_close(m_db);
        throw DatabaseError("cannot open database " + path + ": " + message);
    }
    sqlite3_busy_timeout(m_db, 10000);
    exec("PRAGMA journal_mode=WAL");
    exec("PRAGMA synchronous=NORMAL");
    exec("PRAGMA foreign_keys=ON");
}

Database::~Database()
{
    sqlite3_close(m_db);
}

void Database::exec(std::string_view sql)
{
    Lock guard = lock();
    char *error = nullptr;
    if (sqlite3_exec(m_db, std::string(sql).c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        std::string message = error ? error : "unknown error";
        sqlite3_free(error);
        throw DatabaseError("sql failed: " + message);
    }
}

std::int64_t Database::lastInsertId() const
{
    return sqlite3_last_insert_rowid(m_db);
}
int Database::changes() const
{
    return sqlite3_changes(m_db);
}

} // namespace tessly::server
