#pragma once

#include "notificationcenter.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QUrl>
#include <QVariant>

#include <atomic>
#include <functional>
#include <memory>

class TLMultipartUploadSession;

// One file on its way to the service. By size it goes as a single request
// (presign, then one PUT) or as a multipart upload, which resumes a persisted
// upload of the same path when there is one.
//
// Tasks are shared: create them with create(). Their handlers are called on
// the main thread.
class FileUploadTask : public std::enable_shared_from_this<FileUploadTask>
{
public:
    static constexpr quint64 kMultipartThreshold = 52'428'800; // 50 MiB

    using ProgressHandler = std::function<void(float progress, double speed)>;
    using CompletionHandler = std::function<void(bool success, const QVariantMap &response)>;

    static std::shared_ptr<FileUploadTask> create(
        const QUrl &file, const QString &parentItem, const QVariant &order, CompletionHandler completion);
    ~FileUploadTask();

    FileUploadTask(const FileUploadTask &) = delete;
    FileUploadTask &operator=(const FileUploadTask &) = delete;

    void start();
    void startRegularUpload();
    void startMultipartUpload();
    void pauseMultipartUpload();
    void resumeMultipartUpload();
    void abortMultipartUpload();

    // Also starts following this task's single-request progress; the
    // observation ends when the task completes.
    void setProgressHandler(ProgressHandler handler);
    void setCompletionHandler(CompletionHandler handler);

    bool isMultipartUpload() const { return m_isMultipartUpload; }
    quint32 taskIdentifier() const { return m_taskIdentifier; }
    QUrl fileURL() const { return m_fileURL; }
    QString parentItem() const { return m_parentItem; }
    QVariant order() const { return m_order; }
    double speed() const { return m_speed; }
    float progress() const { return m_progress; }
    QDateTime startTime() const { return m_startTime; }
    std::shared_ptr<TLMultipartUploadSession> multipartSession() const { return m_multipartSession; }

private:
    FileUploadTask() = default;
    void complete(bool success, const QVariantMap &response);
    void stopObservingProgress();
    QString fileName() const;

    std::atomic<bool> m_isMultipartUpload = false;
    quint32 m_taskIdentifier = 0;
    QUrl m_fileURL;
    QString m_parentItem;
    QVariant m_order;
    std::atomic<double> m_speed = 0;
    std::atomic<float> m_progress = 0;
    QDateTime m_startTime;
    std::shared_ptr<TLMultipartUploadSession> m_multipartSession;
    ProgressHandler m_progressHandler;
    CompletionHandler m_completionHandler;
    QList<NotificationCenter::ObserverId> m_progressObservers;
};

using FileUploadTaskPtr = std::shared_ptr<FileUploadTask>;
