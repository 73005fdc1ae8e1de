// Users, their bearer tokens and their profiles.
#pragma once

#include "storage/models.h"

#include <optional>
#include <string>
#include <vector>

namespace tessly::server {

class Database;

class Accounts
{
public:
    explicit Accounts(Database &db)
        : m_db(db)
    {
    }

    // Throws ServiceError: 400 for a malformed e-mail or a short password, 409 when taken.
    User createUser(const std::string &email, const std::string &password);
    std::optional<User> authenticate(const std::string &email, const std::string &password);
    std::optional<User> userByEmail(const std::string &email);

    // Tokens are stored as SHA-256 hashes; the plain text exists only in the answer.
    // A token of kind "api" (the app's bearer token) works only on the API,
    // one of kind "web" (a browser session) only on the web pages.
    std::string issueToken(std::int64_t userId, const std::string &kind);
    // Tokens issued at or before `expiredUntil` (seconds) no longer count.
    std::optional<User> userForToken(const std::string &token, const std::string &kind, std::int64_t expiredUntil = 0);
    void revokeToken(const std::string &token);

    struct TokenInfo
    {
        std::string id; // names the token on the web page without being it
        std::int64_t createdAt = 0;
    };
    std::vector<TokenInfo> tokensOf(std::int64_t userId, const std::string &kind);
    // False when the user has no token of that kind with this id.
    bool revokeTokenById(std::int64_t userId, const std::string &kind, const std::string &id);

    // Throws ServiceError: 400 for an invalid name, 409 when the name or custom domain is taken.
    Profile createProfile(
        std::int64_t userId, const std::string &domain, const std::optional<std::string> &customDomain);
    std::vector<Profile> profilesOf(std::int64_t userId);
    std::optional<Profile> profileByDomain(const std::string &domain);
    std::optional<Profile> profileByCustomDomain(const std::string &host);

    static bool isValidProfileName(const std::string &name);
    static bool isValidEmail(const std::string &email);
    static bool isValidHostName(const std::string &host);

private:
    Database &m_db;
};

} // namespace tessly::server
