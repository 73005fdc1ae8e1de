// The addresses this service hands out: its own origin, share pages on
// profile subdomains (or custom domains), short links.
#pragma once

#include "storage/models.h"

#include <string>

namespace tessly::server {

class Urls
{
public:
    Urls() = default;
    Urls(std::string scheme, std::string origin, std::string webDomain)
        : m_scheme(std::move(scheme))
        , m_origin(std::move(origin))
        , m_webDomain(std::move(webDomain))
    {
    }

    const std::string &scheme() const { return m_scheme; }
    const std::string &origin() const { return m_origin; } // "http://127.0.0.1:8080"
    const std::string &webDomain() const { return m_webDomain; }

    std::string shareOrigin(const Profile &profile) const;
    std::string shareUrl(const Profile &profile, const std::string &code) const;
    std::string shortUrl(const Profile &profile, const std::string &slug) const;

    // The profile a Host header names as "PROFILE.WEBDOMAIN"; empty when it does not.
    std::string profileNameFromHost(const std::string &host) const;

private:
    std::string m_scheme = "http";
    std::string m_origin;
    std::string m_webDomain;
};

} // namespace tessly::server
