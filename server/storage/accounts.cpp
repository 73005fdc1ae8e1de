#include "storage/accounts.h"

#include "common/crypto.h"
#include "common/serviceerror.h"
#include "common/text.h"
#include "storage/database.h"

namespace tessly::server {

namespace {

constexpr const char *kProfileColumns = "id, user_id, domain, custom_domain, created_at";

Profile readProfile(const Statement &row)
{
    return Profile { row.integer(0), row.integer(1), row.text(2), row.optionalText(3), row.integer(4) };
}

bool isLabelChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
}

} // namespace

bool Accounts::isValidProfileName(const std::string &name)
{
    if (name.empty() || name.size() > 63 || name.front() == '-' || name.back() == '-')
        return false;
    for (char c : name)
        if (!isLabelChar(c))
            return false;
    return name != "www" && name != "api";
}

bool Accounts::isValidEmail(const std::string &email)
{
    auto at = email.find('@');
    if (email.size() > 254 || at == std::string::npos || at == 0 || at + 1 >= email.size())
        return false;
    for (unsigned char c : email)
        if (c <= 0x20 || c == 0x7f || c == '<' || c == '>' || c == '"')
            return false;
    return email.find('@', at + 1) == std::string::npos;
}

bool Accounts::isValidHostName(const std::string &host)
{
    // A name, not an address: top-level domains are never all digits.
    const std::string top = host.substr(host.rfind('.') + 1);
    if (host.empty() || host.size() > 253 || top.find_first_not_of("0123456789") == std::string::npos
        || host == "localhost" || endsWith(host, ".localhost"))
        return false;
    for (const std::string &label : split(host, '.')) {
        if (label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-')
            return false;
        for (char c : label)
            if (!isLabelChar(c))
                return false;
    }
    return true;
}

User Accounts::createUser(const std::string &email, const std::string &password)
{
    if (!isValidEmail(email))
        throw badRequest("A valid e-mail address is required");
    if (password.size() < 4 || password.size() > 1024)
        throw badRequest("The password must have 4 to 1024 characters");
    auto lock = m_db.lock();
    if (userByEmail(email))
        throw conflict("An account with this e-mail address already exists");
    m_db.prepare("INSERT INTO users(email, password_hash, created_at) VALUES(?, ?, ?)")
        .bindAll({ email, hashPassword(password), nowSeconds() })
        .run();
    return User { m_db.lastInsertId(), email };
}

std::optional<User> Accounts::userByEmail(const std::string &email)
{
    auto lock = m_db.lock();
    auto row = m_db.prepare("SELECT id, email FROM users WHERE email = ?");
    row.bind(1, email);
    if (!row.step())
        return std::nullopt;
    return User { row.integer(0), row.text(1) };
}

std::optional<User> Accounts::authenticate(const std::string &email, const std::string &password)
{
    std::string hash;
    User user;
    {
        auto lock = m_db.lock();
        auto row = m_db.prepare("SELECT id, email, password_hash FROM users WHERE email = ?");
        row.bind(1, email);
        if (!row.step())
            return std::nullopt;
        user = User { row.integer(0), row.text(1) };
        hash = row.text(2);
    }
    if (!verifyPassword(password, hash))
        return std::nullopt;
    return user;
}

std::string Accounts::issueToken(std::int64_t userId, const std::string &kind)
{
    std::string token = randomToken(32);
    auto lock = m_db.lock();
    m_db.prepare("INSERT INTO tokens(token_hash, user_id, kind, created_at) VALUES(?, ?, ?, ?)")
        .bindAll({ toHex(sha256(token)), userId, kind, nowSeconds() })
        .run();
    return token;
}

std::optional<User> Accounts::userForToken(const std::string &token, const std::string &kind, std::int64_t expiredUntil)
{
    if (token.empty() || token.size() > 256)
        return std::nullopt;
    auto lock = m_db.lock();
    auto row = m_db.prepare("SELECT users.id, users.email FROM tokens JOIN users ON users.id = tokens.user_id "
                            "WHERE tokens.token_hash = ? AND tokens.kind = ? AND tokens.created_at > ?");
    row.bindAll({ toHex(sha256(token)), kind, expiredUntil });
    if (!row.step())
        return std::nullopt;
    return User { row.integer(0), row.text(1) };
}

void Accounts::revokeToken(const std::string &token)
{
    auto lock = m_db.lock();
    m_db.prepare("DELETE FROM tokens WHERE token_hash = ?").bind(1, toHex(sha256(token))).run();
}

std::vector<Accounts::TokenInfo> Accounts::tokensOf(std::int64_t userId, const std::string &kind)
{
    auto lock = m_db.lock();
    auto row = m_db.prepare("SELECT substr(token_hash, 1, 16), created_at FROM tokens WHERE user_id = ? AND kind = ? "
                            "ORDER BY created_at DESC, token_hash");
    row.bindAll({ userId, kind });
    std::vector<TokenInfo> out;
    while (row.step())
        out.push_back({ row.text(0), row.integer(1) });
    return out;
}

bool Accounts::revokeTokenById(std::int64_t userId, const std::string &kind, const std::string &id)
{
    if (id.size() != 16 || id.find_first_not_of("0123456789abcdef") != std::string::npos)
        return false;
    auto lock = m_db.lock();
    m_db.prepare("DELETE FROM tokens WHERE user_id = ? AND kind = ? AND substr(token_hash, 1, 16) = ?")
        .bindAll({ userId, kind, id })
        .run();
    return m_db.changes() > 0;
}

Profile Accounts::createProfile(
    std::int64_t userId, const std::string &domain, const std::optional<std::string> &customDomain)
{
    if (!isValidProfileName(domain))
        throw badRequest("A profile name has 1 to 63 lower-case letters, digits or inner hyphens");
    if (customDomain && !isValidHostName(*customDomain))
        throw badRequest("The custom domain is not a valid host name");
    auto lock = m_db.lock();
    if (profileByDomain(domain))
        throw conflict("The profile name is taken");
    if (customDomain && profileByCustomDomain(*customDomain))
        throw conflict("The custom domain is taken");
    m_db.prepare("INSERT INTO profiles(user_id, domain, custom_domain, created_at) VALUES(?, ?, ?, ?)")
        .bindAll({ userId, domain, customDomain ? SqlValue(*customDomain) : SqlValue(nullptr), nowSeconds() })
        .run();
    return Profile { m_db.lastInsertId(), userId, domain, customDomain, nowSeconds() };
}

std::vector<Profile> Accounts::profilesOf(std::int64_t userId)
{
    auto lock = m_db.lock();
    auto row = m_db.prepare(std::string("SELECT ") + kProfileColumns + " FROM profiles WHERE user_id = ? ORDER BY id");
    row.bind(1, userId);
    std::vector<Profile> out;
    while (row.step())
        out.push_back(readProfile(row));
    return out;
}

std::optional<Profile> Accounts::profileByDomain(const std::string &domain)
{
    auto lock = m_db.lock();
    auto row = m_db.prepare(std::string("SELECT ") + kProfileColumns + " FROM profiles WHERE domain = ?");
    row.bind(1, domain);
    if (!row.step())
        return std::nullopt;
    return readProfile(row);
}

std::optional<Profile> Accounts::profileByCustomDomain(const std::string &host)
{
    auto lock = m_db.lock();
    auto row = m_db.prepare(std::string("SELECT ") + kProfileColumns + " FROM profiles WHERE custom_domain = ?");
    row.bind(1, host);
    if (!row.step())
        return std::nullopt;
    return readProfile(row);
}

} // namespace tessly::server
