// The command line of tessly-server:
//
//   tessly-server serve --data DIR --listen HOST:PORT [--web-domain DOMAIN]
//       [--url-scheme SCHEME] [--public-url URL] [--tls] [--tls-cert FILE --tls-key FILE]
//       [--s3-endpoint URL --s3-bucket B --s3-region R --s3-access-key K --s3-secret-key S]
//       [--part-size BYTES] [--presign-expiry SECONDS] [--upload-ttl SECONDS]
//       [--faults LIST] [--allow-remote] [--admin] ...
//   tessly-server add-user --data DIR --email E --password P --profile NAME [--custom-domain HOST]
#pragma once

#include "http/serviceconfig.h"

#include <optional>
#include <string>
#include <vector>

namespace tessly::server {

struct AddUserOptions
{
    std::string dataDir;
    std::string email;
    std::string password;
    std::string profile;
    std::optional<std::string> customDomain;
};

struct CommandLine
{
    enum class Command { Serve, AddUser, Help, Version } command = Command::Help;
    ServiceConfig serve;
    AddUserOptions addUser;
};

// Throws std::invalid_argument with a message fit for the user.
CommandLine parseCommandLine(const std::vector<std::string> &args);
std::string usageText();

} // namespace tessly::server
