// An external S3-compatible store (MinIO, Ceph, AWS, s3rver). The service signs
// its own calls with SigV4 headers and hands clients presigned URLs for it.
#pragma once

#include "objects/objectstore.h"
#include "objects/sigv4.h"

#include <map>
#include <string>

namespace tessly::server {

struct S3Config
{
    std::string endpoint; // "http://127.0.0.1:4569", path-style addressing
    std::string bucket;
    std::string region = "us-east-1";
    std::string accessKey;
    std::string secretKey;
    std::int64_t expirySeconds = 3600;
};

class S3ObjectStore : public ObjectStore
{
public:
    explicit S3ObjectStore(S3Config config);

    // Creates the bucket when it does not exist yet; throws when the store cannot be reached.
    void ensureBucket();

    std::string presignPut(const std::string &key) override;
    std::string presignPart(const std::string &key, const std::string &backendUploadId, int partNumber) override;
    std::string presignGet(const std::string &key) override;
    std::string createMultipart(const std::string &key, const std::string &contentType) override;
    ObjectInfo completeMultipart(const std::string &key, const std::string &backendUploadId,
        const std::vector<PartRef> &parts, std::int64_t partSize, std::int64_t declaredSize) override;
    void abortMultipart(const std::string &key, const std::string &backendUploadId) override;
    std::optional<ObjectInfo> stat(const std::string &key) override;
    void putObject(const std::string &key, const std::string &data, const std::string &contentType) override;
    std::vector<std::string> localFiles(const std::string &) override { return {}; }

private:
    struct Reply
    {
        int status = 0;
        std::string body;
        std::map<std::string, std::string> headers; // lower-case names
    };
    Reply send(const std::string &method, const std::string &path, const QueryList &query, const std::string &body,
        const std::string &contentType);
    [[noreturn]] void fail(const std::string &what, const Reply &reply);
    std::string objectPath(const std::string &key) const;

    S3Config m_config;
    SigV4 m_signer;
};

// Tiny helpers for the few XML answers S3 gives.
std::string xmlElement(const std::string &xml, const std::string &name);
std::string xmlEscape(const std::string &text);

} // namespace tessly::server
