// Everything `tessly-server serve` is told on its command line.
#pragma once

#include "objects/s3objectstore.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tessly::server {

struct ServiceConfig
{
    std::string dataDir;
    std::string listenHost = "127.0.0.1";
    int listenPort = 8080;
    std::string webDomain; // empty: "localhost:PORT"
    std::string urlScheme = "tessly";
    std::string publicUrl; // origin for presigned URLs; empty: from the listen address
    std::int64_t partSize = 5 * 1024 * 1024;
    std::int64_t presignExpirySeconds = 3600;
    std::int64_t uploadTtlSeconds = 7 * 24 * 3600;
    bool tls = false;
    std::string tlsCert; // empty with tls: a self-signed pair in the data folder
    std::string tlsKey;
    std::optional<S3Config> s3;
    std::string faults;
    bool allowRemote = false;
    bool admin = false; // the /admin/ routes exist
    std::string adminTokenFile; // empty: DATA/admin-token
    std::int64_t readTimeoutSeconds = 10;
    int maxConnections = 1024;
    int maxConnectionsPerAddress = 64;
    std::string trustedProxy; // peer address of a reverse proxy whose X-Forwarded-For is believed
};

} // namespace tessly::server
