// Small text helpers shared by the HTTP, signing and page code.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessly::server {

std::string toLower(std::string_view text);
bool startsWith(std::string_view text, std::string_view prefix);
bool endsWith(std::string_view text, std::string_view suffix);
std::vector<std::string> split(std::string_view text, char separator);

// RFC 3986 encoding as AWS Signature Version 4 wants it: everything but
// unreserved characters is %XX-encoded; with keepSlash "/" passes unchanged.
std::string uriEncode(std::string_view text, bool keepSlash = false);
// The value of one hexadecimal digit, or -1.
int hexDigitValue(char c);

// &, <, >, " and ' as character references: safe in HTML and XML text and
// attribute values alike.
std::string escapeMarkup(std::string_view text);

// Decodes %XX (and "+" as a space when plusIsSpace).
std::string uriDecode(std::string_view text, bool plusIsSpace = false);

// Parses "a=1&b=2" keeping the order and duplicates.
std::vector<std::pair<std::string, std::string>> parseQuery(std::string_view query);

// "host:port", "[v6]:port" or "host" to the lower-case host without brackets.
std::string hostOfAuthority(std::string_view authority);
// The authority of "scheme://authority/path..." (empty when there is none).
std::string hostOfUrl(std::string_view url);

std::optional<std::uint64_t> parseUnsigned(std::string_view text);

// A name as the user gave it is accepted when it is valid UTF-8 of at most
// maxBytes, without control characters, "/" or "\" and not "." or "..".
bool isAcceptableName(std::string_view name, std::size_t maxBytes = 255);

std::int64_t nowMillis();
std::int64_t nowSeconds();
// "20240102T030405Z" and "20240102" for a Unix time.
std::string amzDate(std::int64_t unixSeconds);
std::string amzDay(std::int64_t unixSeconds);
// Inverse of amzDate; nullopt for malformed input.
std::optional<std::int64_t> parseAmzDate(std::string_view text);
// "2024-01-02T03:04:05.678Z" for a time in milliseconds.
std::string isoTime(std::int64_t unixMillis);

} // namespace tessly::server
