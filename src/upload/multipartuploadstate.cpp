#include "multipartuploadstate.h"

#include "propertylist.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <sys/stat.h>

namespace {

const QString kClassKey = QStringLiteral("$class");
const QString kStateClass = QStringLiteral("TLMultipartUploadState");
const QString kPartClass = QStringLiteral("TLMultipartUploadPart");

// Reads typed values out of one decoded dictionary. The first value of the
// wrong kind marks the whole record as undecodable.
class TypedReader
{
public:
    TypedReader(const QVariantMap &map, QString *error)
        : m_map(map)
        , m_error(error)
    {
    }

    bool ok() const { return m_ok; }

    QString string(const QString &key)
    {
        const QVariant v = m_map.value(key);
        if (!v.isValid())
            return {};
        if (v.typeId() != QMetaType::QString) {
            mismatch(key, "a string");
            return {};
        }
        return v.toString();
    }

    quint64 unsignedInteger(const QString &key)
    {
        const QVariant v = m_map.value(key);
        if (!v.isValid())
            return 0;
        if (v.typeId() == QMetaType::ULongLong)
            return v.toULongLong();
        if (v.typeId() == QMetaType::LongLong && v.toLongLong() >= 0)
            return quint64(v.toLongLong());
        {
            mismatch(key, "an unsigned integer");
            return 0;
        }
    }

    qint64 integer(const QString &key)
    {
        const QVariant v = m_map.value(key);
        if (!v.isValid())
            return 0;
        if (v.typeId() != QMetaType::LongLong) {
            mismatch(key, "an integer");
            return 0;
        }
        return v.toLongLong();
    }

    QVariant number(const QString &key)
    {
        const QVariant v = m_map.value(key);
        if (!v.isValid())
            return {};
        const int type = v.typeId();
        if (type != QMetaType::LongLong && type != QMetaType::ULongLong && type != QMetaType::Double) {
            mismatch(key, "a number");
            return {};
        }
        return v;
    }

    QDateTime date(const QString &key)
    {
        const QVariant v = m_map.value(key);
        if (!v.isValid())
            return {};
        if (v.typeId() != QMetaType::QDateTime) {
            mismatch(key, "a date");
            return {};
        }
        return v.toDateTime();
    }

    QVariantList array(const QString &key)
    {
        const QVariant v = m_map.value(key);
        if (!v.isValid())
            return {};
        if (v.typeId() != QMetaType::QVariantList) {
            mismatch(key, "an array");
            return {};
        }
        return v.toList();
    }

    void mismatch(const QString &key, const char *expected)
    {
        if (m_ok && m_error)
            *m_error = QStringLiteral("value for key \"%1\" is not %2").arg(key, QLatin1String(expected));
        m_ok = false;
    }

private:
    const QVariantMap &m_map;
    QString *m_error;
    bool m_ok = true;
};

bool hasClass(const QVariant &value, const QString &className)
{
    return value.typeId() == QMetaType::QVariantMap && value.toMap().value(kClassKey).toString() == className;
}

TLMultipartUploadPartPtr decodePart(const QVariant &value, QString *error)
{
    if (!hasClass(value, kPartClass)) {
        if (error)
            *error = QStringLiteral("\"parts\" holds something other than a %1").arg(kPartClass);
        return nullptr;
    }
    const QVariantMap map = value.toMap();
    TypedReader in(map, error);
    auto part = std::make_shared<TLMultipartUploadPart>(in.unsignedInteger(QStringLiteral("partNumber")),
        in.unsignedInteger(QStringLiteral("offset")), in.unsignedInteger(QStringLiteral("length")));
    part->setState(in.integer(QStringLiteral("state")));
    part->setEtag(in.string(QStringLiteral("etag")));
    part->setRetryCount(in.unsignedInteger(QStringLiteral("retryCount")));
    part->setBytesSent(in.unsignedInteger(QStringLiteral("bytesSent")));
    return in.ok() ? part : nullptr;
}

} // namespace

TLMultipartUploadState::TLMultipartUploadState(const QString &uploadId, const QString &key, const QString &filePath,
    const QString &mimeType, quint64 fileSize, quint64 partSize)
    : m_uploadId(uploadId)
    , m_key(key)
    , m_filePath(filePath)
    , m_mimeType(mimeType)
    , m_partSize(partSize)
    , m_fileSize(fileSize)
    , m_parts(createPartsForFileSize(fileSize, partSize))
    , m_createdAt(QDateTime::currentDateTimeUtc())
    , m_lastAttemptAt(m_createdAt)
{
}

QList<TLMultipartUploadPartPtr> TLMultipartUploadState::createPartsForFileSize(quint64 fileSize, quint64 partSize)
{
    QList<TLMultipartUploadPartPtr> parts;
    if (partSize == 0)
        return parts; // no way to cut the file; the service never answers 0
    quint64 number = 1;
    for (quint64 offset = 0; offset < fileSize; ++number) {
        const quint64 length = std::min(partSize, fileSize - offset);
        parts.append(std::make_shared<TLMultipartUploadPart>(number, offset, length));
        offset += length;
    }
    return parts;
}

QList<TLMultipartUploadPartPtr> TLMultipartUploadState::incompleteParts() const
{
    QList<TLMultipartUploadPartPtr> result;
    std::copy_if(
        m_parts.begin(), m_parts.end(), std::back_inserter(result), [](const auto &p) { return p->needsUpload(); });
    return result;
}

QList<TLMultipartUploadPartPtr> TLMultipartUploadState::completedParts() const
{
    QList<TLMultipartUploadPartPtr> result;
    std::copy_if(m_parts.begin(), m_parts.end(), std::back_inserter(result),
        [](const auto &p) { return p->state() == TLMultipartUploadPart::Completed; });
    return result;
}

float TLMultipartUploadState::progress() const
{
    if (m_parts.isEmpty())
        return 0.0f;
    double done = 0, total = 0;
    for (const auto &part : m_parts) {
        total += double(part->length());
        done += part->state() == TLMultipartUploadPart::Completed ? double(part->length()) : double(part->bytesSent());
    }
    return total < 1 ? 0.0f : float(done / total);
}

namespace {

struct FileStat
{
    bool exists = false;
    quint64 size = 0;
    qint64 modifiedAt = 0;
    qint64 changedAt = 0;
    quint64 inode = 0;
    quint64 device = 0;
};

FileStat statFile(const QString &path)
{
    struct stat st
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &st) != 0 || !S_ISREG(st.st_mode))
        return {};
    const auto nanoseconds = [](const timespec &t) { return qint64(t.tv_sec) * 1'000'000'000 + t.tv_nsec; };
    return { true, quint64(st.st_size), nanoseconds(st.st_mtim), nanoseconds(st.st_ctim), quint64(st.st_ino),
        quint64(st.st_dev) };
}

} // namespace

void TLMultipartUploadState::recordFileIdentity()
{
    const FileStat now = statFile(m_filePath);
    m_fileModifiedAt = now.modifiedAt;
    m_fileChangedAt = now.changedAt;
    m_fileInode = now.inode;
    m_fileDevice = now.device;
}

QString TLMultipartUploadState::fileChange() const
{
    const FileStat now = statFile(m_filePath);
    if (!now.exists)
        return QStringLiteral("the file is gone");
    if (now.size != m_fileSize)
        return QStringLiteral("its size changed from %1 to %2 bytes").arg(m_fileSize).arg(now.size);
    if (m_fileInode != 0 && (now.inode != m_fileInode || now.device != m_fileDevice))
        return QStringLiteral("another file took its place");
    if ((m_fileModifiedAt != 0 && now.modifiedAt != m_fileModifiedAt)
        || (m_fileChangedAt != 0 && now.changedAt != m_fileChangedAt))
        return QStringLiteral("it was modified");
    return {};
}

void TLMultipartUploadState::updateLastAttempt()
{
    m_lastAttemptAt = QDateTime::currentDateTimeUtc();
}

QString TLMultipartUploadState::description() const
{
    return QStringLiteral("<TLMultipartUploadState: uploadId=%1, file=%2, progress=%3%, parts=%4/%5>")
        .arg(m_uploadId, QFileInfo(m_filePath).fileName())
        .arg(double(progress()) * 100.0, 0, 'f', 1)
        .arg(completedParts().size())
        .arg(m_parts.size());
}

QByteArray TLMultipartUploadState::encode(QString *error) const
{
    PropertyListWriter out;
    const auto optionalString = [&out](const char *key, const QString &value) {
        if (!value.isNull()) {
            out.key(QLatin1String(key));
            out.string(value);
        }
    };
    const auto optionalDate = [&out](const char *key, const QDateTime &value) {
        if (value.isValid()) {
            out.key(QLatin1String(key));
            out.date(value);
        }
    };

    out.beginDict();
    out.key(kClassKey);
    out.string(kStateClass);
    optionalString("uploadId", m_uploadId);
    optionalString("key", m_key);
    optionalString("filePath", m_filePath);
    optionalString("mimeType", m_mimeType);
    optionalString("parentItem", m_parentItem);
    if (m_order.isValid() && !m_order.isNull()) {
        out.key(QStringLiteral("order"));
        out.number(m_order);
    }
    out.key(QStringLiteral("partSize"));
    out.unsignedInteger(m_partSize);
    out.key(QStringLiteral("fileSize"));
    out.unsignedInteger(m_fileSize);
    out.key(QStringLiteral("parts"));
    out.beginArray();
    for (const auto &part : m_parts) {
        out.beginDict();
        out.key(kClassKey);
        out.string(kPartClass);
        out.key(QStringLiteral("partNumber"));
        out.unsignedInteger(part->partNumber());
        out.key(QStringLiteral("offset"));
        out.unsignedInteger(part->offset());
        out.key(QStringLiteral("length"));
        out.unsignedInteger(part->length());
        out.key(QStringLiteral("state"));
        out.integer(part->state());
        if (!part->etag().isNull()) {
            out.key(QStringLiteral("etag"));
            out.string(part->etag());
        }
        out.key(QStringLiteral("retryCount"));
        out.unsignedInteger(part->retryCount());
        out.key(QStringLiteral("bytesSent"));
        out.unsignedInteger(part->bytesSent());
        out.endDict();
    }
    out.endArray();
    optionalDate("createdAt", m_createdAt);
    optionalDate("lastAttemptAt", m_lastAttemptAt);
    optionalString("code", m_code);
    optionalString("customDomain", m_customDomain);
    if (m_fileInode != 0) {
        out.key(QStringLiteral("fileModifiedAt"));
        out.integer(m_fileModifiedAt);
        out.key(QStringLiteral("fileChangedAt"));
        out.integer(m_fileChangedAt);
        out.key(QStringLiteral("fileInode"));
        out.unsignedInteger(m_fileInode);
        out.key(QStringLiteral("fileDevice"));
        out.unsignedInteger(m_fileDevice);
    }
    out.endDict();
    return out.finish(error);
}

TLMultipartUploadStatePtr TLMultipartUploadState::decode(const QByteArray &data, QString *error)
{
    const std::optional<QVariant> root = PropertyList::parse(data, error);
    if (!root)
        return nullptr;
    if (!hasClass(*root, kStateClass)) {
        if (error)
            *error = QStringLiteral("the file does not hold a %1").arg(kStateClass);
        return nullptr;
    }
    const QVariantMap map = root->toMap();
    TypedReader in(map, error);
    auto state = std::make_shared<TLMultipartUploadState>();
    state->m_uploadId = in.string(QStringLiteral("uploadId"));
    state->m_key = in.string(QStringLiteral("key"));
    state->m_filePath = in.string(QStringLiteral("filePath"));
    state->m_mimeType = in.string(QStringLiteral("mimeType"));
    state->m_parentItem = in.string(QStringLiteral("parentItem"));
    state->m_order = in.number(QStringLiteral("order"));
    state->m_partSize = in.unsignedInteger(QStringLiteral("partSize"));
    state->m_fileSize = in.unsignedInteger(QStringLiteral("fileSize"));
    state->m_createdAt = in.date(QStringLiteral("createdAt"));
    state->m_lastAttemptAt = in.date(QStringLiteral("lastAttemptAt"));
    state->m_code = in.string(QStringLiteral("code"));
    state->m_customDomain = in.string(QStringLiteral("customDomain"));
    state->m_fileModifiedAt = in.integer(QStringLiteral("fileModifiedAt"));
    state->m_fileChangedAt = in.integer(QStringLiteral("fileChangedAt"));
    state->m_fileInode = in.unsignedInteger(QStringLiteral("fileInode"));
    state->m_fileDevice = in.unsignedInteger(QStringLiteral("fileDevice"));
    for (const QVariant &entry : in.array(QStringLiteral("parts"))) {
        TLMultipartUploadPartPtr part = decodePart(entry, error);
        if (!part)
            return nullptr;
        state->m_parts.append(part);
    }
    return in.ok() ? state : nullptr;
}
