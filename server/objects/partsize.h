#pragma once

#include <cstdint>

namespace tessly::server {

constexpr std::int64_t kMaxParts = 10000;
constexpr std::int64_t kDefaultPartSize = 5 * 1024 * 1024;

// The part size answered at initiate: the configured size, raised so that a
// file of `size` bytes never needs more than kMaxParts parts.
std::int64_t partSizeFor(std::int64_t size, std::int64_t configured);

} // namespace tessly::server
