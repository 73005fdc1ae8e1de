// A thin RAII layer over one SQLite connection. All access is serialised by
// the connection's mutex; callers hold a Database::Lock around a unit of work.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace tessly::server {

class DatabaseError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

using SqlValue = std::variant<std::nullptr_t, std::int64_t, std::string>;

class Statement
{
public:
    Statement(sqlite3 *db, std::string_view sql);
    ~Statement();
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    Statement &bind(int index, const SqlValue &value);
    Statement &bindAll(const std::vector<SqlValue> &values);
    bool step(); // true while a row is available
    void run(); // steps to completion

    std::int64_t integer(int column) const;
    std::string text(int column) const;
    std::optional<std::string> optionalText(int column) const;
    std::optional<std::int64_t> optionalInteger(int column) const;

private:
    sqlite3 *m_db;
    sqlite3_stmt *m_stmt = nullptr;
};

class Database
{
public:
    explicit Database(const std::string &path);
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    using Lock = std::unique_lock<std::recursive_mutex>;
    Lock lock() { return Lock(m_mutex); }

    void exec(std::string_view sql);
    Statement prepare(std::string_view sql) { return Statement(m_db, sql); }
    std::int64_t lastInsertId() const;
    int changes() const;

    // Runs fn inside BEGIN IMMEDIATE ... COMMIT, rolling back on an exception.
    template<typename Fn> auto transaction(Fn &&fn)
    {
        Lock guard = lock();
        exec("BEGIN IMMEDIATE");
        try {
            if constexpr (std::is_void_v<decltype(fn())>) {
                fn();
                exec("COMMIT");
            } else {
                auto result = fn();
                exec("COMMIT");
                return result;
            }
        } catch (...) {
            exec("ROLLBACK");
            throw;
        }
    }

private:
    sqlite3 *m_db = nullptr;
    std::recursive_mutex m_mutex;
};

} // namespace tessly::server
