// The embedded object store: objects and multipart parts as files under the
// data folder, reached through presigned URLs served by this same process.
#pragma once

#include "objects/objectstore.h"
#include "objects/sigv4.h"

#include <functional>
#include <mutex>
#include <string>

namespace tessly::server {

// Feeds a body to `sink` chunk by chunk; false when the body did not arrive whole.
using BodySource = std::function<bool(const std::function<bool(const char *, std::size_t)> &sink)>;

struct IngestResult
{
    bool ok = false;
    std::int64_t size = 0;
    std::string etag; // quoted hex MD5
};

class LocalObjectStore : public ObjectStore
{
public:
    static constexpr const char *kPathPrefix = "/store/";

    LocalObjectStore(std::string root, SigningCredentials credentials, std::int64_t expirySeconds);

    // The origin ("http://127.0.0.1:8080") presigned URLs point at; known once bound.
    void setOrigin(const std::string &origin);
    const SigV4 &signer() const { return m_signer; }

    std::string presignPut(const std::string &key) override;
    std::string presignPart(const std::string &key, const std::string &backendUploadId, int partNumber) override;
    std::string presignGet(const std::string &) override { return {}; }
    std::string createMultipart(const std::string &key, const std::string &contentType) override;
    ObjectInfo completeMultipart(const std::string &key, const std::string &backendUploadId,
        const std::vector<PartRef> &parts, std::int64_t partSize, std::int64_t declaredSize) override;
    void abortMultipart(const std::string &key, const std::string &backendUploadId) override;
    std::optional<ObjectInfo> stat(const std::string &key) override;
    void putObject(const std::string &key, const std::string &data, const std::string &contentType) override;
    std::vector<std::string> localFiles(const std::string &key) override;

    // Called by the store's HTTP routes once the signature has been checked.
    bool hasUpload(const std::string &backendUploadId) const;
    IngestResult ingestObject(const std::string &key, const BodySource &body);
    IngestResult ingestPart(const std::string &backendUploadId, int partNumber, const BodySource &body);

    static bool isSafeKey(const std::string &key);

private:
    std::string objectPath(const std::string &key) const;
    std::string uploadDir(const std::string &backendUploadId) const;
    std::string findPart(const std::string &backendUploadId, int partNumber) const;
    void writeEtag(const std::string &key, const std::string &etag);

    std::string m_root;
    SigV4 m_signer;
    std::int64_t m_expirySeconds;
    std::string m_origin;
    mutable std::mutex m_mutex; // guards m_origin and part file replacement
};

} // namespace tessly::server
