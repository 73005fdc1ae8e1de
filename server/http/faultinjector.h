// Test-only misbehaviour, off unless a fault list switches it on. The list is a comma
// separated list of NAME=SHARE entries plus options:
//
//   put.drop  put.500  put.noetag  put.stall      object and part PUTs
//   api.500json  api.500text  api.401  api.empty   /v1/ requests
//
// SHARE is a probability ("0.25", drawn from a seeded generator) or an exact
// ratio ("1/4": every fourth matching request). Options: seed=N, stall-ms=N
// (default 3000), put.max=N and api.max=N (stop after N injected faults),
// put.only=parts|objects (which PUTs qualify). "off" or "" disables everything.
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <map>
#include <mutex>
#include <random>
#include <string>

namespace tessly::server {

enum class PutFault { None, Drop, Error500, NoEtag, Stall };
enum class ApiFault { None, Error500Json, Error500Text, Unauthorized, Empty200 };

class FaultInjector
{
public:
    // Throws std::invalid_argument with a readable message for a bad fault list.
    void configure(const std::string &text);
    std::string text() const;

    PutFault nextPutFault(bool isPart);
    ApiFault nextApiFault();
    int stallMillis() const;

    // Every part PUT that passed the signature check, and those that were stored.
    void countPartAttempt(const std::string &uploadId, int partNumber);
    void countPartStored(const std::string &uploadId, int partNumber);

    nlohmann::json counters() const;
    nlohmann::json partCounts(const std::string &uploadId) const;

private:
    struct Rule
    {
        double probability = 0;
        std::int64_t numerator = 0, denominator = 0; // exact ratio when denominator > 0
        std::int64_t seen = 0;
    };
    bool fires(Rule &rule);
    bool groupExhausted(const std::string &group) const;

    mutable std::mutex m_mutex;
    std::string m_text;
    std::map<std::string, Rule> m_rules;
    std::map<std::string, std::int64_t> m_limits;
    std::map<std::string, std::int64_t> m_injected; // by fault name, since start
    std::map<std::string, std::int64_t> m_budgetUsed; // by group, since the last configure
    std::string m_putOnly;
    int m_stallMillis = 3000;
    std::mt19937_64 m_random { 1 };
    std::map<std::string, std::map<int, std::int64_t>> m_partAttempts, m_partStored;
    std::int64_t m_putRequests = 0, m_apiRequests = 0;
};

} // namespace tessly::server
