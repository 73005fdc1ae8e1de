#include "common/privatefiles.h"

#include <filesystem>
#include <sys/stat.h>

namespace tessly::server {

void keepNewFilesPrivate()
{
    ::umask(077);
}

void makePrivateFolder(const std::string &dir)
{
    namespace fs = std::filesystem;
    fs::create_directories(dir);
    fs::permissions(dir, fs::perms::owner_all, fs::perm_options::replace);
}

} // namespace tessly::server
