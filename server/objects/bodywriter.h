// Writes a request body to a temporary file while hashing it, then moves the
// finished file into place in one rename. A body that does not finish leaves
// nothing behind.
#pragma once

#include "common/crypto.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace tessly::server {

class BodyWriter
{
public:
    explicit BodyWriter(const std::string &tempDir);
    ~BodyWriter();
    BodyWriter(const BodyWriter &) = delete;
    BodyWriter &operator=(const BodyWriter &) = delete;

    bool write(const char *data, std::size_t length);
    // Flushes and renames onto `destination`; false (and the file removed) on failure.
    bool commit(const std::string &destination);
    void discard();

    std::int64_t size() const { return m_size; }
    std::string md5Hex() const { return m_md5Hex; } // valid after commit

private:
    std::string m_path;
    std::FILE *m_file = nullptr;
    StreamingMd5 m_md5;
    std::int64_t m_size = 0;
    std::string m_md5Hex;
};

} // namespace tessly::server
