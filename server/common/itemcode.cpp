#include "common/itemcode.h"

#include "common/crypto.h"
#include "common/text.h"

namespace tessly::server {

std::string codeForItem(std::int64_t item)
{
    return base64UrlEncode(std::to_string(item));
}

std::optional<std::int64_t> itemFromCodeOrNumber(const std::string &text)
{
    if (auto number = parseUnsigned(text); number && *number <= INT64_MAX)
        return static_cast<std::int64_t>(*number);
    std::string decoded;
    if (!base64UrlDecode(text, decoded))
        return std::nullopt;
    if (auto number = parseUnsigned(decoded); number && *number <= INT64_MAX)
        return static_cast<std::int64_t>(*number);
    return std::nullopt;
}

} // namespace tessly::server
