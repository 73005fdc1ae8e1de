// Failed sign-ins are limited per client address and per account, so that
// passwords cannot be tried at speed: after kMaxFailures failures within
// kWindowSeconds further tries are refused until the oldest failure ages out.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>

namespace tessly::server {

class SignInThrottle
{
public:
    static constexpr int kMaxFailures = 10;
    static constexpr std::int64_t kWindowSeconds = 15 * 60;

    // Seconds until a try is allowed again; 0 when it is allowed now.
    std::int64_t waitFor(const std::string &address, const std::string &account, std::int64_t now);
    void failed(const std::string &address, const std::string &account, std::int64_t now);

private:
    std::int64_t waitForKey(const std::string &key, std::int64_t now);
    void forget(std::int64_t now);

    std::mutex m_mutex;
    std::map<std::string, std::deque<std::int64_t>> m_failures; // "a:ADDRESS" and "u:EMAIL"
};

} // namespace tessly::server
