// Where file bytes live. Clients never send bytes through the API: they get
// presigned URLs from here and talk to the store directly.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tessly::server {

struct PartRef
{
    int partNumber = 0;
    std::string etag; // as the client sent it, quotes included or not
};

struct ObjectInfo
{
    std::int64_t size = 0;
    std::string etag; // quoted
};

class ObjectStore
{
public:
    virtual ~ObjectStore() = default;

    virtual std::string presignPut(const std::string &key) = 0;
    virtual std::string presignPart(const std::string &key, const std::string &backendUploadId, int partNumber) = 0;
    // A URL that serves the object's bytes, or empty when the service serves them itself.
    virtual std::string presignGet(const std::string &key) = 0;

    // Returns the store's own id of the new upload.
    virtual std::string createMultipart(const std::string &key, const std::string &contentType) = 0;
    // `parts` is already checked for order and range. Throws ServiceError with the
    // S3 code (InvalidPart, EntityTooSmall, NoSuchUpload) when the store refuses,
    // and InvalidPart when the parts do not add up to the size declared at initiate.
    virtual ObjectInfo completeMultipart(const std::string &key, const std::string &backendUploadId,
        const std::vector<PartRef> &parts, std::int64_t partSize, std::int64_t declaredSize)
        = 0;
    virtual void abortMultipart(const std::string &key, const std::string &backendUploadId) = 0;

    virtual std::optional<ObjectInfo> stat(const std::string &key) = 0;
    virtual void putObject(const std::string &key, const std::string &data, const std::string &contentType) = 0;
    // The files on this machine that hold the object's bytes, one after the
    // other; empty when the store does not keep the object here.
    virtual std::vector<std::string> localFiles(const std::string &key) = 0;
};

// The ETag of an assembled multipart object: MD5 over the parts' binary MD5s, "-N".
std::string multipartEtag(const std::vector<std::string> &partMd5Hex);
// The refusal of a completion whose parts hold `actual` bytes instead of `declared`.
std::string sizeMismatch(std::int64_t actual, std::int64_t declared);
// "abc" and "\"ABC\"" both become abc.
std::string normaliseEtag(const std::string &etag);

} // namespace tessly::server
