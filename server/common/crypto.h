// Hashes, MACs and random tokens on top of OpenSSL.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace tessly::server {

std::string sha256(std::string_view data); // raw 32 bytes
std::string hmacSha256(std::string_view key, std::string_view data); // raw 32 bytes
std::string md5(std::string_view data); // raw 16 bytes
std::string toHex(std::string_view raw);

// Unpadded URL-safe base64 ("-" and "_" instead of "+" and "/").
std::string base64UrlEncode(std::string_view data);
// Accepts padded or unpadded input; returns false on characters outside the alphabet.
bool base64UrlDecode(std::string_view text, std::string &out);

std::string randomBytes(std::size_t count);
// A random token of URL-safe characters carrying `bytes` bytes of entropy.
std::string randomToken(std::size_t bytes = 32);

// Password storage: "pbkdf2-sha256$ITER$SALT$HASH" with hex fields.
std::string hashPassword(std::string_view password);
bool verifyPassword(std::string_view password, std::string_view stored);

// Constant-time comparison for secrets.
bool secureEquals(std::string_view a, std::string_view b);

// MD5 fed piece by piece while a body streams in.
class StreamingMd5
{
public:
    StreamingMd5();
    ~StreamingMd5();
    StreamingMd5(const StreamingMd5 &) = delete;
    StreamingMd5 &operator=(const StreamingMd5 &) = delete;

    void update(const char *data, std::size_t length);
    std::string finish(); // raw 16 bytes; the object is spent afterwards

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace tessly::server
