#include "common/crypto.h"

#include "common/text.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <stdexcept>
#include <vector>

namespace tessly::server {

namespace {

std::string digest(const EVP_MD *md, std::string_view data)
{
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(data.data(), data.size(), out, &length, md, nullptr) != 1)
        throw std::runtime_error("digest failed");
    return std::string(reinterpret_cast<char *>(out), length);
}

int base64Value(char c)
{
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    if (c == '-' || c == '+')
        return 62;
    if (c == '_' || c == '/')
        return 63;
    return -1;
}

constexpr int kPbkdf2Iterations = 60000;

std::string pbkdf2(std::string_view password, std::string_view salt, int iterations)
{
    unsigned char out[32];
    if (PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()),
            reinterpret_cast<const unsigned char *>(salt.data()), static_cast<int>(salt.size()), iterations,
            EVP_sha256(), sizeof out, out)
        != 1)
        throw std::runtime_error("pbkdf2 failed");
    return std::string(reinterpret_cast<char *>(out), sizeof out);
}

std::string fromHex(std::string_view hex)
{
    std::string out;
    if (hex.size() % 2)
        return out;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        int hi = hexDigitValue(hex[i]), lo = hexDigitValue(hex[i + 1]);
        if (hi < 0 || lo < 0)
            return {};
        out.push_back(static_cast<char>(hi * 16 + lo));
    }
    return out;
}

} // namespace

std::string sha256(std::string_view data)
{
    return digest(EVP_sha256(), data);
}
std::string md5(std::string_view data)
{
    return digest(EVP_md5(), data);
}

std::string hmacSha256(std::string_view key, std::string_view data)
{
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (!HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
            reinterpret_cast<const unsigned char *>(data.data()), data.size(), out, &length))
        throw std::runtime_error("hmac failed");
    return std::string(reinterpret_cast<char *>(out), length);
}

std::string toHex(std::string_view raw)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(raw.size() * 2);
    for (unsigned char c : raw) {
        out.push_back(digits[c >> 4]);
        out.push_back(digits[c & 15]);
    }
    return out;
}

std::string base64UrlEncode(std::string_view data)
{
    static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    std::string out;
    out.reserve((data.size() + 2) / 3 * 4);
    std::size_t i = 0;
    for (; i + 2 < data.size(); i += 3) {
        unsigned v = (unsigned char)data[i] << 16 | (unsigned char)data[i + 1] << 8 | (unsigned char)data[i + 2];
        out += alphabet[v >> 18 & 63];
        out += alphabet[v >> 12 & 63];
        out += alphabet[v >> 6 & 63];
        out += alphabet[v & 63];
    }
    if (i + 1 == data.size()) {
        unsigned v = (unsigned char)data[i] << 16;
        out += alphabet[v >> 18 & 63];
        out += alphabet[v >> 12 & 63];
    } else if (i + 2 == data.size()) {
        unsigned v = (unsigned char)data[i] << 16 | (unsigned char)data[i + 1] << 8;
        out += alphabet[v >> 18 & 63];
        out += alphabet[v >> 12 & 63];
        out += alphabet[v >> 6 & 63];
    }
    return out;
}

bool base64UrlDecode(std::string_view text, std::string &out)
{
    while (!text.empty() && text.back() == '=')
        text.remove_suffix(1);
    if (text.size() % 4 == 1)
        return false;
    out.clear();
    unsigned buffer = 0;
    int bits = 0;
    for (char c : text) {
        int v = base64Value(c);
        if (v < 0)
            return false;
        buffer = buffer << 6 | static_cast<unsigned>(v);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out.push_back(static_cast<char>(buffer >> bits & 0xff));
        }
    }
    return true;
}

std::string randomBytes(std::size_t count)
{
    std::string out(count, '\0');
    if (RAND_bytes(reinterpret_cast<unsigned char *>(out.data()), static_cast<int>(count)) != 1)
        throw std::runtime_error("no randomness available");
    return out;
}

std::string randomToken(std::size_t bytes)
{
    return base64UrlEncode(randomBytes(bytes));
}

std::string hashPassword(std::string_view password)
{
    std::string salt = randomBytes(16);
    return "pbkdf2-sha256$" + std::to_string(kPbkdf2Iterations) + "$" + toHex(salt) + "$"
        + toHex(pbkdf2(password, salt, kPbkdf2Iterations));
}

bool verifyPassword(std::string_view password, std::string_view stored)
{
    std::vector<std::string_view> fields;
    std::size_t start = 0;
    for (std::size_t pos; (pos = stored.find('$', start)) != std::string_view::npos; start = pos + 1)
        fields.push_back(stored.substr(start, pos - start));
    fields.push_back(stored.substr(start));
    if (fields.size() != 4 || fields[0] != "pbkdf2-sha256")
        return false;
    int iterations = 0;
    try {
        iterations = std::stoi(std::string(fields[1]));
    } catch (...) {
        return false;
    }
    if (iterations <= 0)
        return false;
    return secureEquals(toHex(pbkdf2(password, fromHex(fields[2]), iterations)), fields[3]);
}

bool secureEquals(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    return CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

struct StreamingMd5::State
{
    EVP_MD_CTX *ctx = nullptr;
};

StreamingMd5::StreamingMd5()
    : m_state(std::make_unique<State>())
{
    m_state->ctx = EVP_MD_CTX_new();
    if (!m_state->ctx || EVP_DigestInit_ex(m_state->ctx, EVP_md5(), nullptr) != 1)
        throw std::runtime_error("md5 init failed");
}

StreamingMd5::~StreamingMd5()
{
    EVP_MD_CTX_free(m_state->ctx);
}

void StreamingMd5::update(const char *data, std::size_t length)
{
    EVP_DigestUpdate(m_state->ctx, data, length);
}

std::string StreamingMd5::finish()
{
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(m_state->ctx, out, &length);
    return std::string(reinterpret_cast<char *>(out), length);
}

} // namespace tessly::server
