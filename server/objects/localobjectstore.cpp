#include "objects/localobjectstore.h"

#include "common/crypto.h"
#include "common/serviceerror.h"
#include "common/text.h"
#include "objects/bodywriter.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>

namespace fs = std::filesystem;

namespace tessly::server {

namespace {

std::string partPrefix(int partNumber)
{
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "%05d-", partNumber);
    return buffer;
}

bool isSafeId(const std::string &id)
{
    if (id.empty() || id.size() > 128)
        return false;
    for (char c : id)
        if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_'))
            return false;
    return true;
}

std::string segmentName(std::size_t index)
{
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "%06zu", index + 1);
    return buffer;
}

} // namespace

LocalObjectStore::LocalObjectStore(std::string root, SigningCredentials credentials, std::int64_t expirySeconds)
    : m_root(std::move(root))
    , m_signer(std::move(credentials))
    , m_expirySeconds(expirySeconds)
{
    fs::create_directories(m_root + "/objects");
    fs::create_directories(m_root + "/uploads");
    fs::create_directories(m_root + "/tmp");
    // Bodies that were streaming when the process stopped are of no use now.
    for (const auto &entry : fs::directory_iterator(m_root + "/tmp"))
        fs::remove_all(entry.path());
}

void LocalObjectStore::setOrigin(const std::string &origin)
{
    std::lock_guard guard(m_mutex);
    m_origin = origin;
}

bool LocalObjectStore::isSafeKey(const std::string &key)
{
    auto parts = split(key, '/');
    if (parts.size() != 2 || key.size() > 200)
        return false;
    for (const std::string &part : parts)
        if (!isSafeId(part))
            return false;
    return true;
}

std::string LocalObjectStore::objectPath(const std::string &key) const
{
    if (!isSafeKey(key))
        throw badRequest("Invalid object key");
    return m_root + "/objects/" + key;
}

std::string LocalObjectStore::uploadDir(const std::string &backendUploadId) const
{
    if (!isSafeId(backendUploadId))
        throw ServiceError(404, "NoSuchUpload", "The specified upload does not exist");
    return m_root + "/uploads/" + backendUploadId;
}

std::string LocalObjectStore::presignPut(const std::string &key)
{
    std::lock_guard guard(m_mutex);
    return m_signer.presign("PUT", m_origin, kPathPrefix + key, {}, m_expirySeconds, nowSeconds());
}

std::string LocalObjectStore::presignPart(const std::string &key, const std::string &backendUploadId, int partNumber)
{
    std::lock_guard guard(m_mutex);
    return m_signer.presign("PUT", m_origin, kPathPrefix + key,
        { { "partNumber", std::to_string(partNumber) }, { "uploadId", backendUploadId } }, m_expirySeconds,
        nowSeconds());
}

std::string LocalObjectStore::createMultipart(const std::string &key, const std::string &)
{
    objectPath(key); // validates
    std::string id = randomToken(18);
    fs::create_directories(uploadDir(id));
    return id;
}

bool LocalObjectStore::hasUpload(const std::string &backendUploadId) const
{
    if (!isSafeId(backendUploadId))
        return false;
    return fs::is_directory(m_root + "/uploads/" + backendUploadId);
}

std::string LocalObjectStore::findPart(const std::string &backendUploadId, int partNumber) const
{
    const std::string prefix = partPrefix(partNumber);
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(uploadDir(backendUploadId), error)) {
        std::string name = entry.path().filename().string();
        if (startsWith(name, prefix))
            return entry.path().string();
    }
    return {};
}

IngestResult LocalObjectStore::ingestObject(const std::string &key, const BodySource &body)
{
    BodyWriter writer(m_root + "/tmp");
    if (!body([&](const char *data, std::size_t length) { return writer.write(data, length); }))
        return {};
    if (!writer.commit(objectPath(key)))
        return {};
    IngestResult result { true, writer.size(), "\"" + writer.md5Hex() + "\"" };
    writeEtag(key, result.etag);
    return result;
}

IngestResult LocalObjectStore::ingestPart(const std::string &backendUploadId, int partNumber, const BodySource &body)
{
    const std::string dir = uploadDir(backendUploadId);
    BodyWriter writer(m_root + "/tmp");
    if (!body([&](const char *data, std::size_t length) { return writer.write(data, length); }))
        return {};
    std::lock_guard guard(m_mutex);
    if (!fs::is_directory(dir)) // aborted while the body streamed
        return {};
    const std::string previous = findPart(backendUploadId, partNumber);
    const std::string staged = dir + "/staging-" + partPrefix(partNumber);
    if (!writer.commit(staged))
        return {};
    std::error_code error;
    if (!previous.empty())
        fs::remove(previous, error);
    fs::rename(staged, dir + "/" + partPrefix(partNumber) + writer.md5Hex(), error);
    if (error)
        return {};
    return { true, writer.size(), "\"" + writer.md5Hex() + "\"" };
}

ObjectInfo LocalObjectStore::completeMultipart(const std::string &key, const std::string &backendUploadId,
    const std::vector<PartRef> &parts, std::int64_t partSize, std::int64_t declaredSize)
{
    std::lock_guard guard(m_mutex);
    if (!hasUpload(backendUploadId))
        throw ServiceError(404, "NoSuchUpload", "The specified upload does not exist");
    std::vector<std::string> files, md5s;
    std::int64_t total = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const PartRef &part = parts[i];
        const std::string path = findPart(backendUploadId, part.partNumber);
        const std::string md5Hex = path.empty() ? std::string() : path.substr(path.rfind('-') + 1);
        if (path.empty() || md5Hex != normaliseEtag(part.etag))
            throw ServiceError(400, "InvalidPart",
                "Part " + std::to_string(part.partNumber) + " was not found or its ETag does not match");
        if (i + 1 < parts.size() && static_cast<std::int64_t>(fs::file_size(path)) < partSize)
            throw ServiceError(
                400, "EntityTooSmall", "Part " + std::to_string(part.partNumber) + " is smaller than the part size");
        files.push_back(path);
        md5s.push_back(md5Hex);
        total += static_cast<std::int64_t>(fs::file_size(path));
    }
    if (total != declaredSize)
        throw ServiceError(400, "InvalidPart", sizeMismatch(total, declaredSize));

    // The object keeps its parts as they are: a folder of them, in order,
    // moved into place. Nothing is copied, so completing costs the same for
    // any size.
    const std::string staging = m_root + "/tmp/assemble-" + randomToken(12);
    fs::create_directories(staging);
    std::size_t moved = 0;
    std::error_code error;
    for (; moved < files.size(); ++moved) {
        fs::rename(files[moved], staging + "/" + segmentName(moved), error);
        if (error)
            break;
    }
    const std::string destination = objectPath(key);
    if (!error) {
        fs::create_directories(fs::path(destination).parent_path(), error);
        fs::remove_all(destination, error);
        if (!error)
            fs::rename(staging, destination, error);
    }
    if (error) {
        // Give the parts back to the upload, so that completing can be tried again.
        std::error_code ignored;
        while (moved-- > 0)
            fs::rename(staging + "/" + segmentName(moved), files[moved], ignored);
        fs::remove_all(staging, ignored);
        throw ServiceError(500, "InternalError", "Could not assemble the object");
    }
    fs::remove_all(uploadDir(backendUploadId), error);
    ObjectInfo info { 0, multipartEtag(md5s) };
    for (const std::string &file : localFiles(key))
        info.size += static_cast<std::int64_t>(fs::file_size(file));
    writeEtag(key, info.etag);
    return info;
}

void LocalObjectStore::abortMultipart(const std::string &, const std::string &backendUploadId)
{
    std::lock_guard guard(m_mutex);
    std::error_code error;
    fs::remove_all(uploadDir(backendUploadId), error);
}

void LocalObjectStore::writeEtag(const std::string &key, const std::string &etag)
{
    std::ofstream(objectPath(key) + ".etag", std::ios::trunc) << etag;
}

std::optional<ObjectInfo> LocalObjectStore::stat(const std::string &key)
{
    const std::vector<std::string> files = localFiles(key);
    if (files.empty())
        return std::nullopt;
    ObjectInfo info;
    std::error_code error;
    for (const std::string &file : files) {
        const auto size = fs::file_size(file, error);
        if (error)
            return std::nullopt;
        info.size += static_cast<std::int64_t>(size);
    }
    std::ifstream(objectPath(key) + ".etag") >> info.etag;
    return info;
}

void LocalObjectStore::putObject(const std::string &key, const std::string &data, const std::string &)
{
    IngestResult result = ingestObject(key, [&](const auto &sink) { return sink(data.data(), data.size()); });
    if (!result.ok)
        throw ServiceError(500, "InternalError", "Could not store the object");
}

std::vector<std::string> LocalObjectStore::localFiles(const std::string &key)
{
    // A single upload is one file; a multipart one a folder of its parts.
    const std::string path = objectPath(key);
    std::error_code error;
    if (fs::is_regular_file(path, error))
        return { path };
    std::vector<std::string> files;
    for (const auto &entry : fs::directory_iterator(path, error))
        files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace tessly::server
