#include "common/itemcode.h"

#include "common/crypto.h"
#include "common/text.h"

namespace tessly::server {

namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

} // namespace

std::string newItemCode()
{
    const std::string raw = randomBytes(kItemCodeLength);
    std::string code;
    code.reserve(kItemCodeLength);
    for (unsigned char byte : raw)
        code.push_back(kAlphabet[byte & 63]); // 64 divides 256: every character is equally likely
    return code;
}

bool isItemCode(const std::string &text)
{
    return text.size() == kItemCodeLength && text.find_first_not_of(kAlphabet) == std::string::npos;
}

std::optional<std::int64_t> parseItemNumber(const std::string &text)
{
    if (auto number = parseUnsigned(text); number && *number <= INT64_MAX)
        return static_cast<std::int64_t>(*number);
    return std::nullopt;
}

} // namespace tessly::server
