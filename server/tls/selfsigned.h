// A self-signed certificate for HTTPS on a machine without one, made on first
// start and kept in the data folder.
#pragma once

#include <string>
#include <vector>

namespace tessly::server {

struct CertificatePaths
{
    std::string certificate;
    std::string privateKey;
};

// Returns the pair under `dir`, creating it when missing. The certificate
// names localhost, *.localhost, 127.0.0.1, ::1 and every host in `extraHosts`
// (a leading "*." makes a wildcard). Throws std::runtime_error on failure.
CertificatePaths ensureSelfSignedCertificate(const std::string &dir, const std::vector<std::string> &extraHosts);

} // namespace tessly::server
