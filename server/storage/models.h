// Plain records as the catalog stores them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tessly::server {

struct User
{
    std::int64_t id = 0;
    std::string email;
};

struct Profile
{
    std::int64_t id = 0;
    std::int64_t userId = 0;
    std::string domain;
    std::optional<std::string> customDomain;
    std::int64_t createdAt = 0;
};

enum class ItemKind { File, Folder };

struct Item
{
    std::int64_t item = 0; // creation time in ms, unique across the service
    std::string code; // the random share code, see common/itemcode.h
    std::int64_t profileId = 0;
    std::string domain; // the owning profile's name
    ItemKind kind = ItemKind::File;
    std::string name;
    std::string mimeType;
    std::int64_t size = 0;
    std::string objectKey;
    std::optional<std::int64_t> parentItem;
    std::optional<std::string> order;
    bool stored = false; // the object's bytes have arrived
    std::int64_t viewCount = 0;
    std::optional<std::string> etag;
};

struct Link
{
    std::int64_t item = 0;
    std::int64_t profileId = 0;
    std::string domain;
    std::string slug;
    std::string content;
    std::int64_t viewCount = 0;
};

enum class UploadState { Open, Completed, Aborted };

struct Upload
{
    std::string uploadId; // the id handed to the client
    std::string backendUploadId; // the object store's own id
    std::int64_t item = 0;
    std::int64_t profileId = 0;
    std::string objectKey;
    std::int64_t size = 0;
    std::int64_t partSize = 0;
    std::int64_t createdAt = 0; // seconds
    UploadState state = UploadState::Open;

    // The bytes part `partNumber` carries: the part size, less for the last.
    std::int64_t partLength(std::int64_t partNumber) const
    {
        if (partNumber < partCount())
            return partSize;
        return size - (partCount() - 1) * partSize;
    }

    std::int64_t partCount() const
    {
        if (size <= 0 || partSize <= 0)
            return 1;
        return (size + partSize - 1) / partSize;
    }
};

} // namespace tessly::server
