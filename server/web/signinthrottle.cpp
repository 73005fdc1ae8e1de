#include "web/signinthrottle.h"

#include "common/text.h"

#include <algorithm>

namespace tessly::server {

namespace {

constexpr std::size_t kForgetAbove = 10000; // keys kept before old ones are swept

} // namespace

std::int64_t SignInThrottle::waitForKey(const std::string &key, std::int64_t now)
{
    auto found = m_failures.find(key);
    if (found == m_failures.end())
        return 0;
    auto &times = found->second;
    while (!times.empty() && times.front() + kWindowSeconds <= now)
        times.pop_front();
    if (static_cast<int>(times.size()) < kMaxFailures)
        return 0;
    return times.front() + kWindowSeconds - now;
}

std::int64_t SignInThrottle::waitFor(const std::string &address, const std::string &account, std::int64_t now)
{
    std::lock_guard guard(m_mutex);
    return std::max(waitForKey("a:" + address, now), waitForKey("u:" + toLower(account), now));
}

void SignInThrottle::failed(const std::string &address, const std::string &account, std::int64_t now)
{
    std::lock_guard guard(m_mutex);
    if (m_failures.size() > kForgetAbove)
        forget(now);
    for (const std::string &key : { "a:" + address, "u:" + toLower(account) }) {
        auto &times = m_failures[key];
        times.push_back(now);
        while (static_cast<int>(times.size()) > kMaxFailures)
            times.pop_front();
    }
}

void SignInThrottle::forget(std::int64_t now)
{
    for (auto it = m_failures.begin(); it != m_failures.end();) {
        if (it->second.empty() || it->second.back() + kWindowSeconds <= now)
            it = m_failures.erase(it);
        else
            ++it;
    }
}

} // namespace tessly::server
