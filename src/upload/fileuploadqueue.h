#pragma once

#include "fileuploadtask.h"
#include "serialqueue.h"

#include <QList>
#include <QSet>

#include <atomic>
#include <functional>

// The one queue every upload goes through: at most ten tasks at once, in the
// order they were added, with overall progress and speed for the batch.
//
// Posts "BatchUploadProgressNotification" for every progress report,
// "UploadCompleteNotification" for every finished task ({"taskId", "file",
// "succeeded", "response"}) and "BatchUploadCompleteNotification" when the
// queue drains ({"cancelled": true} after cancelAllUploads()).
//
// The task lists are only touched on the serial queue "com.tessly.uploadQueue".
// Progress handling waits on that queue from the main thread, so nothing run
// there may wait for the main thread.
class FileUploadQueue
{
public:
    using BatchCompletionHandler = std::function<void(bool success, const QList<FileUploadTaskPtr> &tasks)>;

    static FileUploadQueue &sharedQueue();

    void addTask(const FileUploadTaskPtr &task);
    // Active tasks, then pending ones.
    QList<FileUploadTaskPtr> currentTasks();
    int queueLength() const;
    int activeLength() const;
    int completeLength() const;
    bool hasMultipartUploads();
    void cancelAllUploads();

    float progress() const { return m_progress; }
    double speed() const { return m_speed; }
    int maxConcurrentUploads() const { return m_maxConcurrentUploads; }

    // Called once when the queue drains. Spelled as it has always been.
    void setBachCompletionHandler(BatchCompletionHandler handler);
    BatchCompletionHandler bachCompletionHandler() const;

private:
    FileUploadQueue();
    void tryStartNext();
    void taskProgressed(const FileUploadTaskPtr &task);
    void taskCompleted(const FileUploadTaskPtr &task, bool success, const QVariantMap &response);

    SerialQueue m_syncQueue;
    QList<FileUploadTaskPtr> m_pendingTasks;
    QSet<FileUploadTaskPtr> m_activeTasks;
    QSet<FileUploadTaskPtr> m_completedTasks;
    std::atomic<int> m_pendingCount = 0;
    std::atomic<int> m_activeCount = 0;
    std::atomic<int> m_completedCount = 0;
    std::atomic<float> m_progress = 0;
    std::atomic<double> m_speed = 0;
    const int m_maxConcurrentUploads = 10;
    mutable QMutex m_handlerLock;
    BatchCompletionHandler m_bachCompletionHandler;
};
