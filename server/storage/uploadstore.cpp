#include "storage/uploadstore.h"

#include "storage/database.h"

namespace tessly::server {

namespace {

std::string stateName(UploadState state)
{
    switch (state) {
    case UploadState::Open:
        return "open";
    case UploadState::Completed:
        return "completed";
    case UploadState::Aborted:
        return "aborted";
    }
    return "open";
}

UploadState stateFromName(const std::string &name)
{
    if (name == "completed")
        return UploadState::Completed;
    if (name == "aborted")
        return UploadState::Aborted;
    return UploadState::Open;
}

} // namespace

void UploadStore::create(const Upload &upload)
{
    auto lock = m_db.lock();
    m_db.prepare("INSERT INTO uploads(upload_id, backend_upload_id, item, profile_id, object_key, size, part_size, "
                 "created_at, state) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bindAll({ upload.uploadId, upload.backendUploadId, upload.item, upload.profileId, upload.objectKey,
            upload.size, upload.partSize, upload.createdAt, stateName(upload.state) })
        .run();
}

std::optional<Upload> UploadStore::find(const std::string &uploadId)
{
    auto lock = m_db.lock();
    auto row = m_db.prepare("SELECT upload_id, backend_upload_id, item, profile_id, object_key, size, part_size, "
                            "created_at, state FROM uploads WHERE upload_id = ?");
    row.bind(1, uploadId);
    if (!row.step())
        return std::nullopt;
    Upload upload;
    upload.uploadId = row.text(0);
    upload.backendUploadId = row.text(1);
    upload.item = row.integer(2);
    upload.profileId = row.integer(3);
    upload.objectKey = row.text(4);
    upload.size = row.integer(5);
    upload.partSize = row.integer(6);
    upload.createdAt = row.integer(7);
    upload.state = stateFromName(row.text(8));
    return upload;
}

void UploadStore::setState(const std::string &uploadId, UploadState state)
{
    auto lock = m_db.lock();
    m_db.prepare("UPDATE uploads SET state = ? WHERE upload_id = ?").bindAll({ stateName(state), uploadId }).run();
}

} // namespace tessly::server
