#include "http/faultinjector.h"

#include "common/text.h"

#include <stdexcept>

namespace tessly::server {

namespace {

const char *const kPutFaults[] = { "put.drop", "put.500", "put.noetag", "put.stall" };
const char *const kApiFaults[] = { "api.500json", "api.500text", "api.401", "api.empty" };

bool isKnownFault(const std::string &name)
{
    for (const char *known : kPutFaults)
        if (name == known)
            return true;
    for (const char *known : kApiFaults)
        if (name == known)
            return true;
    return false;
}

std::int64_t parseCount(const std::string &name, const std::string &value)
{
    auto number = parseUnsigned(value);
    if (!number || *number > 1'000'000'000)
        throw std::invalid_argument("fault option " + name + " needs a whole number, got \"" + value + "\"");
    return static_cast<std::int64_t>(*number);
}

} // namespace

void FaultInjector::configure(const std::string &text)
{
    std::map<std::string, Rule> rules;
    std::map<std::string, std::int64_t> limits;
    std::string putOnly;
    int stall = 3000;
    std::uint64_t seed = 1;
    if (text != "off") {
        for (const std::string &entry : split(text, ',')) {
            if (entry.empty())
                continue;
            auto eq = entry.find('=');
            if (eq == std::string::npos)
                throw std::invalid_argument("fault entry \"" + entry + "\" is not NAME=VALUE");
            const std::string name = entry.substr(0, eq), value = entry.substr(eq + 1);
            if (name == "seed") {
                seed = static_cast<std::uint64_t>(parseCount(name, value));
            } else if (name == "stall-ms") {
                stall = static_cast<int>(parseCount(name, value));
            } else if (name == "put.max" || name == "api.max") {
                limits[name.substr(0, 3)] = parseCount(name, value);
            } else if (name == "put.only") {
                if (value != "parts" && value != "objects")
                    throw std::invalid_argument("put.only is parts or objects");
                putOnly = value;
            } else if (isKnownFault(name)) {
                Rule rule;
                auto slash = value.find('/');
                if (slash != std::string::npos) {
                    rule.numerator = parseCount(name, value.substr(0, slash));
                    rule.denominator = parseCount(name, value.substr(slash + 1));
                    if (rule.denominator == 0 || rule.numerator > rule.denominator)
                        throw std::invalid_argument("fault ratio for " + name + " must be N/M with N <= M, M > 0");
                } else {
                    try {
                        std::size_t used = 0;
                        rule.probability = std::stod(value, &used);
                        if (used != value.size())
                            throw std::invalid_argument("trailing text");
                    } catch (const std::exception &) {
                        throw std::invalid_argument("fault share for " + name + " must be a number or N/M");
                    }
                    if (rule.probability < 0 || rule.probability > 1)
                        throw std::invalid_argument("fault share for " + name + " must be between 0 and 1");
                }
                rules[name] = rule;
            } else {
                throw std::invalid_argument("unknown fault \"" + name + "\"");
            }
        }
    }
    std::lock_guard guard(m_mutex);
    m_text = text == "off" ? "" : text;
    m_rules = std::move(rules);
    m_limits = std::move(limits);
    m_budgetUsed.clear();
    m_putOnly = putOnly;
    m_stallMillis = stall;
    m_random.seed(seed);
}

std::string FaultInjector::text() const
{
    std::lock_guard guard(m_mutex);
    return m_text;
}

int FaultInjector::stallMillis() const
{
    std::lock_guard guard(m_mutex);
    return m_stallMillis;
}

bool FaultInjector::fires(Rule &rule)
{
    ++rule.seen;
    if (rule.denominator > 0)
        return (rule.seen * rule.numerator) / rule.denominator > ((rule.seen - 1) * rule.numerator) / rule.denominator;
    if (rule.probability <= 0)
        return false;
    return std::uniform_real_distribution<double>(0, 1)(m_random) < rule.probability;
}

bool FaultInjector::groupExhausted(const std::string &group) const
{
    auto limit = m_limits.find(group);
    if (limit == m_limits.end())
        return false;
    auto used = m_budgetUsed.find(group);
    return used != m_budgetUsed.end() && used->second >= limit->second;
}

PutFault FaultInjector::nextPutFault(bool isPart)
{
    std::lock_guard guard(m_mutex);
    ++m_putRequests;
    if ((m_putOnly == "parts" && !isPart) || (m_putOnly == "objects" && isPart) || groupExhausted("put"))
        return PutFault::None;
    static const std::pair<const char *, PutFault> order[] = { { "put.drop", PutFault::Drop },
        { "put.500", PutFault::Error500 }, { "put.noetag", PutFault::NoEtag }, { "put.stall", PutFault::Stall } };
    for (const auto &[name, fault] : order) {
        auto rule = m_rules.find(name);
        if (rule != m_rules.end() && fires(rule->second)) {
            ++m_injected[name];
            ++m_budgetUsed["put"];
            return fault;
        }
    }
    return PutFault::None;
}

ApiFault FaultInjector::nextApiFault()
{
    std::lock_guard guard(m_mutex);
    ++m_apiRequests;
    if (groupExhausted("api"))
        return ApiFault::None;
    static const std::pair<const char *, ApiFault> order[]
        = { { "api.500json", ApiFault::Error500Json }, { "api.500text", ApiFault::Error500Text },
              { "api.401", ApiFault::Unauthorized }, { "api.empty", ApiFault::Empty200 } };
    for (const auto &[name, fault] : order) {
        auto rule = m_rules.find(name);
        if (rule != m_rules.end() && fires(rule->second)) {
            ++m_injected[name];
            ++m_budgetUsed["api"];
            return fault;
        }
    }
    return ApiFault::None;
}

void FaultInjector::countPartAttempt(const std::string &uploadId, int partNumber)
{
    std::lock_guard guard(m_mutex);
    ++m_partAttempts[uploadId][partNumber];
}

void FaultInjector::countPartStored(const std::string &uploadId, int partNumber)
{
    std::lock_guard guard(m_mutex);
    ++m_partStored[uploadId][partNumber];
}

nlohmann::json FaultInjector::counters() const
{
    std::lock_guard guard(m_mutex);
    nlohmann::json injected = nlohmann::json::object();
    for (const char *name : kPutFaults)
        injected[name] = 0;
    for (const char *name : kApiFaults)
        injected[name] = 0;
    for (const auto &[name, count] : m_injected)
        injected[name] = count;
    return { { "faults", m_text }, { "injected", injected }, { "putRequests", m_putRequests },
        { "apiRequests", m_apiRequests } };
}

nlohmann::json FaultInjector::partCounts(const std::string &uploadId) const
{
    std::lock_guard guard(m_mutex);
    auto toJson = [&](const std::map<std::string, std::map<int, std::int64_t>> &table) {
        nlohmann::json out = nlohmann::json::object();
        auto found = table.find(uploadId);
        if (found != table.end())
            for (const auto &[part, count] : found->second)
                out[std::to_string(part)] = count;
        return out;
    };
    return { { "uploadId", uploadId }, { "attempts", toJson(m_partAttempts) }, { "stored", toJson(m_partStored) } };
}

} // namespace tessly::server
