// A file's or folder's short code is the unpadded URL-safe base64 of its item
// number written in decimal; the client decodes it back to poll for the file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tessly::server {

std::string codeForItem(std::int64_t item);
// Accepts a code or the plain decimal item number.
std::optional<std::int64_t> itemFromCodeOrNumber(const std::string &text);

} // namespace tessly::server
