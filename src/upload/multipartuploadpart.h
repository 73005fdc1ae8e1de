#pragma once

#include <QString>
#include <QVariantMap>

// One part of a multipart upload: where it lies in the file, how far it got,
// and the ETag the store answered once it was sent. Parts are shared between
// their record and the transfer sending them; whoever mutates one guards it
// (the upload session does so on its own serial queue).
class TLMultipartUploadPart
{
public:
    enum State : qint64 { Pending = 0, Uploading = 1, Completed = 2, Failed = 3 };

    TLMultipartUploadPart() = default;
    TLMultipartUploadPart(quint64 partNumber, quint64 offset, quint64 length);

    quint64 partNumber() const { return m_partNumber; }
    void setPartNumber(quint64 v) { m_partNumber = v; }
    quint64 offset() const { return m_offset; }
    void setOffset(quint64 v) { m_offset = v; }
    quint64 length() const { return m_length; }
    void setLength(quint64 v) { m_length = v; }
    qint64 state() const { return m_state; }
    void setState(qint64 v) { m_state = v; }
    QString etag() const { return m_etag; }
    void setEtag(const QString &v) { m_etag = v; }
    // The PUT URL of the current attempt. Never written to disk.
    QString presignedURL() const { return m_presignedURL; }
    void setPresignedURL(const QString &v) { m_presignedURL = v; }
    quint64 retryCount() const { return m_retryCount; }
    void setRetryCount(quint64 v) { m_retryCount = v; }
    quint64 bytesSent() const { return m_bytesSent; }
    void setBytesSent(quint64 v) { m_bytesSent = v; }

    // Whatever is not completed needs sending, failed parts included.
    bool needsUpload() const { return m_state != Completed; }

    // {"partNumber", "etag"} for the complete call; empty without an ETag.
    QVariantMap completionDictionary() const;

    QString description() const;

private:
    quint64 m_partNumber = 0;
    quint64 m_offset = 0;
    quint64 m_length = 0;
    qint64 m_state = Pending;
    QString m_etag;
    QString m_presignedURL;
    quint64 m_retryCount = 0;
    quint64 m_bytesSent = 0;
};
