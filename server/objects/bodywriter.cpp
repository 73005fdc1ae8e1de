#include "objects/bodywriter.h"

#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

namespace tessly::server {

namespace {
constexpr std::size_t kBufferSize = 1 << 20;
}

BodyWriter::BodyWriter(const std::string &tempDir)
{
    m_path = tempDir + "/body-" + randomToken(12);
    m_file = std::fopen(m_path.c_str(), "wbx");
    if (!m_file)
        throw std::runtime_error("cannot create a temporary file in " + tempDir);
    std::setvbuf(m_file, nullptr, _IOFBF, kBufferSize);
}

BodyWriter::~BodyWriter()
{
    discard();
}

bool BodyWriter::write(const char *data, std::size_t length)
{
    if (!m_file)
        return false;
    m_md5.update(data, length);
    m_size += static_cast<std::int64_t>(length);
    return std::fwrite(data, 1, length, m_file) == length;
}

bool BodyWriter::commit(const std::string &destination)
{
    if (!m_file)
        return false;
    bool ok = std::fflush(m_file) == 0;
    ok = std::fclose(m_file) == 0 && ok;
    m_file = nullptr;
    m_md5Hex = toHex(m_md5.finish());
    std::error_code error;
    if (ok) {
        std::filesystem::create_directories(std::filesystem::path(destination).parent_path(), error);
        std::filesystem::rename(m_path, destination, error);
        ok = !error;
    }
    if (!ok)
        ::unlink(m_path.c_str());
    m_path.clear();
    return ok;
}

void BodyWriter::discard()
{
    if (m_file) {
        std::fclose(m_file);
        m_file = nullptr;
    }
    if (!m_path.empty()) {
        ::unlink(m_path.c_str());
        m_path.clear();
    }
}

} // namespace tessly::server
