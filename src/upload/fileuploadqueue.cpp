#include "fileuploadqueue.h"

#include "api.h"
#include "dispatch.h"
#include "notificationcenter.h"
#include "notifications.h"

#include <QFileInfo>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcFileUploadQueue, "tessly.upload.fileuploadqueue")

namespace {

void log(const QString &line)
{
    qCInfo(lcFileUploadQueue).noquote() << line;
}

} // namespace

FileUploadQueue &FileUploadQueue::sharedQueue()
{
    // Never destroyed: tasks may still report while the process exits.
    static FileUploadQueue *queue = new FileUploadQueue;
    return *queue;
}

FileUploadQueue::FileUploadQueue()
    : m_syncQueue(QStringLiteral("com.tessly.uploadQueue"))
{
}

void FileUploadQueue::setBachCompletionHandler(BatchCompletionHandler handler)
{
    QMutexLocker lock(&m_handlerLock);
    m_bachCompletionHandler = std::move(handler);
}

FileUploadQueue::BatchCompletionHandler FileUploadQueue::bachCompletionHandler() const
{
    QMutexLocker lock(&m_handlerLock);
    return m_bachCompletionHandler;
}

void FileUploadQueue::addTask(const FileUploadTaskPtr &task)
{
    if (!task)
        return;
    std::weak_ptr<FileUploadTask> weakTask = task;
    task->setProgressHandler([this, weakTask](float, double) {
        if (auto t = weakTask.lock())
            taskProgressed(t);
    });
    m_syncQueue.async([this, task] {
        m_pendingTasks.append(task);
        ++m_pendingCount;
        tryStartNext();
    });
}

void FileUploadQueue::tryStartNext()
{
    Q_ASSERT(m_syncQueue.isCurrent());
    while (m_activeTasks.size() < m_maxConcurrentUploads && !m_pendingTasks.isEmpty()) {
        FileUploadTaskPtr task = m_pendingTasks.takeFirst();
        --m_pendingCount;
        m_activeTasks.insert(task);
        ++m_activeCount;
        log(QStringLiteral("Uploading %1 %2").arg(task->taskIdentifier()).arg(task->fileURL().toString()));
        // The task's own completion is replaced: results travel through the
        // notifications and the batch handler.
        std::weak_ptr<FileUploadTask> weakTask = task;
        task->setCompletionHandler([this, weakTask](bool success, const QVariantMap &response) {
            if (auto t = weakTask.lock())
                taskCompleted(t, success, response);
        });
        task->start();
    }
}

void FileUploadQueue::taskProgressed(const FileUploadTaskPtr &task)
{
    float progressSum = 0;
    double speedSum = 0;
    int count = 0;
    m_syncQueue.sync([&] {
        for (const QSet<FileUploadTaskPtr> *set : { &m_activeTasks, &m_completedTasks }) {
            for (const FileUploadTaskPtr &t : *set) {
                progressSum += t->progress();
                speedSum += t->speed();
                ++count;
            }
        }
    });
    const float overallProgress = count > 0 ? progressSum / float(count) : 0.0f;
    m_progress = overallProgress;
    m_speed = speedSum;
    NotificationCenter::defaultCenter().post(Notifications::BatchUploadProgressNotification,
        QVariantMap { { QStringLiteral("taskId"), task->taskIdentifier() },
            { QStringLiteral("progress"), task->progress() }, { QStringLiteral("speed"), task->speed() },
            { QStringLiteral("file"), task->fileURL() }, { QStringLiteral("overallProgress"), overallProgress },
            { QStringLiteral("overallSpeed"), speedSum } });
}

void FileUploadQueue::taskCompleted(const FileUploadTaskPtr &task, bool success, const QVariantMap &response)
{
    NotificationCenter::defaultCenter().post(Notifications::UploadCompleteNotification,
        QVariantMap { { QStringLiteral("taskId"), task->taskIdentifier() }, { QStringLiteral("file"), task->fileURL() },
            { QStringLiteral("succeeded"), success }, { QStringLiteral("response"), response } });
    m_syncQueue.async([this, task] {
        if (m_activeTasks.remove(task))
            --m_activeCount;
        m_completedTasks.insert(task);
        ++m_completedCount;
        tryStartNext();
        if (!m_activeTasks.isEmpty() || !m_pendingTasks.isEmpty())
            return;
        const QList<FileUploadTaskPtr> batch = m_completedTasks.values();
        m_completedTasks.clear();
        m_completedCount = 0;
        // Handlers and observers run on the main thread, never on this queue.
        Dispatch::main([this, batch] {
            if (BatchCompletionHandler handler = bachCompletionHandler())
                handler(true, batch);
            NotificationCenter::defaultCenter().post(Notifications::BatchUploadCompleteNotification);
        });
    });
}

QList<FileUploadTaskPtr> FileUploadQueue::currentTasks()
{
    QList<FileUploadTaskPtr> tasks;
    m_syncQueue.sync([&] { tasks = m_activeTasks.values() + m_pendingTasks; });
    return tasks;
}

int FileUploadQueue::queueLength() const
{
    return m_activeCount + m_pendingCount + m_completedCount;
}

int FileUploadQueue::activeLength() const
{
    return m_activeCount;
}

int FileUploadQueue::completeLength() const
{
    return m_completedCount;
}

bool FileUploadQueue::hasMultipartUploads()
{
    bool any = false;
    m_syncQueue.sync([&] {
        any = std::any_of(
                  m_activeTasks.begin(), m_activeTasks.end(), [](const auto &t) { return t->isMultipartUpload(); })
            || std::any_of(
                m_pendingTasks.begin(), m_pendingTasks.end(), [](const auto &t) { return t->isMultipartUpload(); });
    });
    return any;
}

void FileUploadQueue::cancelAllUploads()
{
    QList<FileUploadTaskPtr> active, pending;
    m_syncQueue.sync([&] {
        active = m_activeTasks.values();
        pending = m_pendingTasks;
        log(QStringLiteral("[FileUploadQueue] Cancelling all uploads: %1 active, %2 pending")
                .arg(active.size())
                .arg(pending.size()));
        m_activeTasks.clear();
        m_pendingTasks.clear();
        m_completedTasks.clear();
        m_activeCount = m_pendingCount = m_completedCount = 0;
        m_progress = 0;
        m_speed = 0;
        log(QStringLiteral("[FileUploadQueue] Queues cleared"));
    });

    API::instance().cancelAllS3Uploads();
    const auto fileName = [](const FileUploadTaskPtr &t) { return QFileInfo(t->fileURL().toLocalFile()).fileName(); };
    for (const FileUploadTaskPtr &task : std::as_const(active)) {
        log(QStringLiteral("[FileUploadQueue] Aborting active task: %1 (multipart: %2)")
                .arg(fileName(task))
                .arg(int(task->isMultipartUpload())));
        if (task->isMultipartUpload())
            task->abortMultipartUpload();
    }
    for (const FileUploadTaskPtr &task : std::as_const(pending)) {
        log(QStringLiteral("[FileUploadQueue] Aborting pending task: %1 (multipart: %2)")
                .arg(fileName(task))
                .arg(int(task->isMultipartUpload())));
        if (task->isMultipartUpload())
            task->abortMultipartUpload();
    }
    log(QStringLiteral("[FileUploadQueue] All uploads cancelled: %1 active, %2 pending aborted")
            .arg(active.size())
            .arg(pending.size()));
    Dispatch::main([] {
        NotificationCenter::defaultCenter().post(
            Notifications::BatchUploadCompleteNotification, QVariantMap { { QStringLiteral("cancelled"), true } });
    });
}
