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
    std::string issueToken(std::int64_t userId, const std::string &kind);
    std::optional<User> userForToken(const std::string &token);
    void revokeToken(const std::string &token);

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
