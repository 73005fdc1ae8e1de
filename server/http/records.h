// The JSON records the API answers with and the dashboard lists.
#pragma once

#include "http/apisupport.h"
#include "storage/models.h"

namespace tessly::server {

class Urls;

class Records
{
public:
    explicit Records(const Urls &urls)
        : m_urls(urls)
    {
    }

    Json item(const Item &item, const Profile &profile) const;
    Json link(const Link &link, const Profile &profile) const;

    static bool hasThumbnail(const std::string &mimeType);

private:
    const Urls &m_urls;
};

} // namespace tessly::server
