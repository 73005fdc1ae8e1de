#pragma once

#include "multipartuploadpart.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QVariant>

#include <memory>

class TLMultipartUploadState;
using TLMultipartUploadStatePtr = std::shared_ptr<TLMultipartUploadState>;
using TLMultipartUploadPartPtr = std::shared_ptr<TLMultipartUploadPart>;

// The resumable record of one multipart upload: its identity on the service,
// the local file, and every part with its progress and ETag.
//
// Records are kept one file per upload in
// $XDG_DATA_HOME/<application id>/MultipartUploads/<upload id>.plist, written
// atomically with mode 0600, so an upload interrupted by a pause, a failure,
// a crash or a restart resumes without sending its finished parts again. The
// class operations keep nothing in memory and may be called from any thread;
// the record's own fields are guarded by whoever mutates them.
class TLMultipartUploadState
{
public:
    TLMultipartUploadState() = default;
    TLMultipartUploadState(const QString &uploadId, const QString &key, const QString &filePath,
        const QString &mimeType, quint64 fileSize, quint64 partSize);

    static QList<TLMultipartUploadPartPtr> createPartsForFileSize(quint64 fileSize, quint64 partSize);

    QString uploadId() const { return m_uploadId; }
    void setUploadId(const QString &v) { m_uploadId = v; }
    QString key() const { return m_key; }
    void setKey(const QString &v) { m_key = v; }
    QString filePath() const { return m_filePath; }
    void setFilePath(const QString &v) { m_filePath = v; }
    QString mimeType() const { return m_mimeType; }
    void setMimeType(const QString &v) { m_mimeType = v; }
    QString parentItem() const { return m_parentItem; }
    void setParentItem(const QString &v) { m_parentItem = v; }
    // The position within a batch: a number, or null.
    QVariant order() const { return m_order; }
    void setOrder(const QVariant &v) { m_order = v; }
    quint64 partSize() const { return m_partSize; }
    void setPartSize(quint64 v) { m_partSize = v; }
    quint64 fileSize() const { return m_fileSize; }
    void setFileSize(quint64 v) { m_fileSize = v; }
    const QList<TLMultipartUploadPartPtr> &parts() const { return m_parts; }
    void setParts(const QList<TLMultipartUploadPartPtr> &v) { m_parts = v; }
    QDateTime createdAt() const { return m_createdAt; }
    void setCreatedAt(const QDateTime &v) { m_createdAt = v; }
    QDateTime lastAttemptAt() const { return m_lastAttemptAt; }
    void setLastAttemptAt(const QDateTime &v) { m_lastAttemptAt = v; }
    QString code() const { return m_code; }
    void setCode(const QString &v) { m_code = v; }
    QString customDomain() const { return m_customDomain; }
    void setCustomDomain(const QString &v) { m_customDomain = v; }

    // The local file as it was when the upload began: its modification and
    // status-change times (nanoseconds since the epoch), inode and device,
    // kept beside fileSize under "fileModifiedAt", "fileChangedAt",
    // "fileInode" and "fileDevice". The status-change time catches a
    // rewrite whose modification time was set back (touch -d); no program
    // can set it. A record written without them reads them as 0, and then
    // only what it has counts.
    void recordFileIdentity();
    qint64 fileModifiedAt() const { return m_fileModifiedAt; }
    qint64 fileChangedAt() const { return m_fileChangedAt; }
    quint64 fileInode() const { return m_fileInode; }
    quint64 fileDevice() const { return m_fileDevice; }
    // Null when the file at filePath is still the one recorded; otherwise
    // what changed ("the file is gone", "its size changed", ...). Parts
    // finished before a change hold bytes of another file.
    QString fileChange() const;

    QList<TLMultipartUploadPartPtr> incompleteParts() const;
    QList<TLMultipartUploadPartPtr> completedParts() const;
    float progress() const;
    void updateLastAttempt();
    QString description() const;

    // The record as a property list, and back. decode() checks every value's
    // kind and fails on any mismatch; absent keys read as null or 0.
    // Empty, with the reason in `error`, when the record cannot be written.
    QByteArray encode(QString *error = nullptr) const;
    static TLMultipartUploadStatePtr decode(const QByteArray &data, QString *error = nullptr);

    static QString storageDirectory();
    static QString fileURLForUploadId(const QString &uploadId);
    static void saveState(TLMultipartUploadState &state);
    static void removeStateForUploadId(const QString &uploadId);
    static TLMultipartUploadStatePtr stateForUploadId(const QString &uploadId);
    static TLMultipartUploadStatePtr stateForFilePath(const QString &filePath);
    // Every readable record, most recently saved first.
    static QList<TLMultipartUploadStatePtr> loadAllPendingUploads();

private:
    QString m_uploadId;
    QString m_key;
    QString m_filePath;
    QString m_mimeType;
    QString m_parentItem;
    QVariant m_order;
    quint64 m_partSize = 0;
    quint64 m_fileSize = 0;
    QList<TLMultipartUploadPartPtr> m_parts;
    QDateTime m_createdAt;
    QDateTime m_lastAttemptAt;
    QString m_code;
    QString m_customDomain;
    qint64 m_fileModifiedAt = 0;
    qint64 m_fileChangedAt = 0;
    quint64 m_fileInode = 0;
    quint64 m_fileDevice = 0;
};
