// Multipart uploads the service has initiated and not yet forgotten.
#pragma once

#include "storage/models.h"

#include <optional>
#include <string>

namespace tessly::server {

class Database;

class UploadStore
{
public:
    explicit UploadStore(Database &db)
        : m_db(db)
    {
    }

    void create(const Upload &upload);
    std::optional<Upload> find(const std::string &uploadId);
    void setState(const std::string &uploadId, UploadState state);

private:
    Database &m_db;
};

} // namespace tessly::server
