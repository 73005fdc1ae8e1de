// AWS Signature Version 4 for S3: presigned query URLs (made and checked) and
// header signatures for requests this service sends to an external store.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tessly::server {

using QueryList = std::vector<std::pair<std::string, std::string>>;

struct SigningCredentials
{
    std::string accessKey;
    std::string secretKey;
    std::string region = "us-east-1";
    std::string service = "s3";
};

enum class SignatureVerdict { Valid, Missing, Malformed, Expired, NotYetValid, WrongCredential, Mismatch };

const char *describe(SignatureVerdict verdict);

class SigV4
{
public:
    static constexpr std::int64_t kMaxExpirySeconds = 7 * 24 * 3600;
    static constexpr std::int64_t kClockSkewSeconds = 15 * 60;

    explicit SigV4(SigningCredentials credentials);

    // A URL for `method` on origin + path (path already URI-safe) that carries its
    // authority in the query; only the host header is signed, the payload is not.
    std::string presign(std::string_view method, std::string_view origin, std::string_view path,
        const QueryList &extraQuery, std::int64_t expiresSeconds, std::int64_t now) const;

    // Checks a presigned request as it arrived. `decodedPath` is the path after
    // percent-decoding; `query` holds the decoded parameters.
    SignatureVerdict verify(std::string_view method, std::string_view decodedPath, std::string_view host,
        const QueryList &query, std::int64_t now) const;

    // Headers ("Authorization", "x-amz-date", "x-amz-content-sha256") that sign a
    // request whose other signed headers are given in `headers` (host included).
    std::map<std::string, std::string> signHeaders(std::string_view method, std::string_view path,
        const QueryList &query, const std::map<std::string, std::string> &headers, std::string_view payloadSha256Hex,
        std::int64_t now) const;

    const SigningCredentials &credentials() const { return m_credentials; }

    // Exposed for tests of the canonical form.
    static std::string canonicalQuery(const QueryList &query);
    static std::string hostOf(std::string_view origin);

private:
    std::string scope(std::string_view day) const;
    std::string signature(std::string_view day, std::string_view stringToSign) const;
    std::string stringToSign(std::string_view timestamp, std::string_view day, std::string_view canonicalRequest) const;

    SigningCredentials m_credentials;
};

} // namespace tessly::server
