#include "multipartuploadpart.h"

TLMultipartUploadPart::TLMultipartUploadPart(quint64 partNumber, quint64 offset, quint64 length)
    : m_partNumber(partNumber)
    , m_offset(offset)
    , m_length(length)
{
}

QVariantMap TLMultipartUploadPart::completionDictionary() const
{
    if (m_etag.isNull())
        return {};
    return { { QStringLiteral("partNumber"), m_partNumber }, { QStringLiteral("etag"), m_etag } };
}

QString TLMultipartUploadPart::description() const
{
    return QStringLiteral("<TLMultipartUploadPart: part=%1, offset=%2, length=%3, state=%4, etag=%5>")
        .arg(m_partNumber)
        .arg(m_offset)
        .arg(m_length)
        .arg(m_state)
        .arg(m_etag.isNull() ? QStringLiteral("nil") : m_etag);
}
