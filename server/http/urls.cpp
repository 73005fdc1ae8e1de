#include "http/urls.h"

#include "common/text.h"

namespace tessly::server {

namespace {

std::string withoutPort(const std::string &host)
{
    if (!host.empty() && host.front() == '[')
        return host.substr(0, host.find(']') + 1);
    auto colon = host.rfind(':');
    return colon == std::string::npos ? host : host.substr(0, colon);
}

} // namespace

std::string Urls::shareOrigin(const Profile &profile) const
{
    if (profile.customDomain)
        return m_scheme + "://" + *profile.customDomain;
    return m_scheme + "://" + profile.domain + "." + m_webDomain;
}

std::string Urls::shareUrl(const Profile &profile, const std::string &code) const
{
    return shareOrigin(profile) + "/" + code;
}

std::string Urls::shortUrl(const Profile &profile, const std::string &slug) const
{
    return shareOrigin(profile) + "/l/" + slug;
}

std::string Urls::profileNameFromHost(const std::string &rawHost) const
{
    std::string host = toLower(rawHost);
    std::string domain = toLower(m_webDomain);
    // A web domain without a port matches hosts on any port.
    if (domain.find(':') == std::string::npos)
        host = withoutPort(host);
    const std::string suffix = "." + domain;
    if (host.size() <= suffix.size() || !endsWith(host, suffix))
        return {};
    std::string name = host.substr(0, host.size() - suffix.size());
    return name.find('.') == std::string::npos ? name : std::string();
}

} // namespace tessly::server
