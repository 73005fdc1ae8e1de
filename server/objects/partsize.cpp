#include "objects/partsize.h"

#include <algorithm>

namespace tessly::server {

std::int64_t partSizeFor(std::int64_t size, std::int64_t configured)
{
    const std::int64_t floor = size > 0 ? (size + kMaxParts - 1) / kMaxParts : 1;
    return std::max({ configured, floor, std::int64_t(1) });
}

} // namespace tessly::server
