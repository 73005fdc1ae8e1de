// A file's or folder's share code: 17 random characters of the URL-safe
// base64 alphabet (102 bits from the system's CSPRNG). Share pages and
// GET /v1/files/D/CODE find items by it alone; the item number stays inside.
// 17 is not a valid base64 length, so a client that tries to decode a code
// as base64 text gets nothing and keeps the code as it is.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tessly::server {

constexpr std::size_t kItemCodeLength = 17;

std::string newItemCode();
bool isItemCode(const std::string &text);
// A plain decimal item number ("DOMAIN/ITEM" of a parent folder).
std::optional<std::int64_t> parseItemNumber(const std::string &text);

} // namespace tessly::server
