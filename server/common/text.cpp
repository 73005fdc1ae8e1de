#include "common/text.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace tessly::server {

std::string toLower(std::string_view text)
{
    std::string out(text);
    for (char &c : out)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return out;
}

bool startsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

bool endsWith(std::string_view text, std::string_view suffix)
{
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

std::vector<std::string> split(std::string_view text, char separator)
{
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t pos; (pos = text.find(separator, start)) != std::string_view::npos; start = pos + 1)
        parts.emplace_back(text.substr(start, pos - start));
    parts.emplace_back(text.substr(start));
    return parts;
}

std::string uriEncode(std::string_view text, bool keepSlash)
{
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(text.size() * 3);
    for (unsigned char c : text) {
        bool unreserved = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-'
            || c == '_' || c == '.' || c == '~';
        if (unreserved || (keepSlash && c == '/')) {
            out.push_back(static_cast<char>(c));
        } else {
            out.push_back('%');
            out.push_back(digits[c >> 4]);
            out.push_back(digits[c & 15]);
        }
    }
    return out;
}

int hexDigitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::string escapeMarkup(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&#39;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string uriDecode(std::string_view text, bool plusIsSpace)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '%' && i + 2 < text.size()) {
            int hi = hexDigitValue(text[i + 1]), lo = hexDigitValue(text[i + 2]);
            if (hi >= 0 && lo >= 0) {
                out.push_back(static_cast<char>(hi * 16 + lo));
                i += 2;
                continue;
            }
        }
        out.push_back(plusIsSpace && c == '+' ? ' ' : c);
    }
    return out;
}

std::vector<std::pair<std::string, std::string>> parseQuery(std::string_view query)
{
    std::vector<std::pair<std::string, std::string>> out;
    if (query.empty())
        return out;
    for (const std::string &pair : split(query, '&')) {
        if (pair.empty())
            continue;
        auto eq = pair.find('=');
        if (eq == std::string::npos)
            out.emplace_back(uriDecode(pair, true), "");
        else
            out.emplace_back(uriDecode(pair.substr(0, eq), true), uriDecode(pair.substr(eq + 1), true));
    }
    return out;
}

std::optional<std::uint64_t> parseUnsigned(std::string_view text)
{
    if (text.empty() || text.size() > 19)
        return std::nullopt;
    std::uint64_t value = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return std::nullopt;
        value = value * 10 + static_cast<std::uint64_t>(c - '0');
    }
    return value;
}

namespace {

bool isValidUtf8(std::string_view text)
{
    std::size_t i = 0;
    while (i < text.size()) {
        unsigned char c = text[i];
        int extra = c < 0x80 ? 0 : (c >> 5) == 6 ? 1 : (c >> 4) == 14 ? 2 : (c >> 3) == 30 ? 3 : -1;
        if (extra < 0 || i + extra >= text.size())
            return false;
        for (int k = 1; k <= extra; ++k)
            if ((static_cast<unsigned char>(text[i + k]) >> 6) != 2)
                return false;
        i += extra + 1;
    }
    return true;
}

} // namespace

bool isAcceptableName(std::string_view name, std::size_t maxBytes)
{
    if (name.empty() || name.size() > maxBytes || name == "." || name == "..")
        return false;
    for (unsigned char c : name)
        if (c < 0x20 || c == 0x7f || c == '/' || c == '\\')
            return false;
    return isValidUtf8(name);
}

std::int64_t nowMillis()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::int64_t nowSeconds()
{
    return nowMillis() / 1000;
}

namespace {

std::tm utc(std::int64_t unixSeconds)
{
    std::time_t t = static_cast<std::time_t>(unixSeconds);
    std::tm tm {};
    gmtime_r(&t, &tm);
    return tm;
}

} // namespace

std::string amzDate(std::int64_t unixSeconds)
{
    std::tm tm = utc(unixSeconds);
    char buffer[32];
    std::strftime(buffer, sizeof buffer, "%Y%m%dT%H%M%SZ", &tm);
    return buffer;
}

std::string amzDay(std::int64_t unixSeconds)
{
    return amzDate(unixSeconds).substr(0, 8);
}

std::optional<std::int64_t> parseAmzDate(std::string_view text)
{
    if (text.size() != 16 || text[8] != 'T' || text[15] != 'Z')
        return std::nullopt;
    auto digits = [&](std::size_t pos, std::size_t count) -> std::optional<int> {
        auto v = parseUnsigned(text.substr(pos, count));
        if (!v)
            return std::nullopt;
        return static_cast<int>(*v);
    };
    auto year = digits(0, 4), month = digits(4, 2), day = digits(6, 2);
    auto hour = digits(9, 2), minute = digits(11, 2), second = digits(13, 2);
    if (!year || !month || !day || !hour || !minute || !second)
        return std::nullopt;
    if (*month < 1 || *month > 12 || *day < 1 || *day > 31 || *hour > 23 || *minute > 59 || *second > 60)
        return std::nullopt;
    std::tm tm {};
    tm.tm_year = *year - 1900;
    tm.tm_mon = *month - 1;
    tm.tm_mday = *day;
    tm.tm_hour = *hour;
    tm.tm_min = *minute;
    tm.tm_sec = *second;
    return static_cast<std::int64_t>(timegm(&tm));
}

std::string isoTime(std::int64_t unixMillis)
{
    std::tm tm = utc(unixMillis / 1000);
    char buffer[40];
    std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%S", &tm);
    char out[48];
    std::snprintf(out, sizeof out, "%s.%03dZ", buffer, static_cast<int>(unixMillis % 1000));
    return out;
}

std::string hostOfAuthority(std::string_view authority)
{
    std::string host = toLower(authority);
    if (startsWith(host, "[")) {
        const auto end = host.find(']');
        return end == std::string::npos ? host : host.substr(1, end - 1);
    }
    if (const auto colon = host.rfind(':'); colon != std::string::npos)
        host.resize(colon);
    return host;
}

std::string hostOfUrl(std::string_view url)
{
    const auto start = url.find("://");
    if (start == std::string_view::npos)
        return {};
    const std::string_view rest = url.substr(start + 3);
    return std::string(rest.substr(0, rest.find_first_of("/?#")));
}

} // namespace tessly::server
