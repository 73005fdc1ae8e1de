#include "uploadprogressmodel.h"

#include "error.h"
#include "fileuploadqueue.h"
#include "multipartuploadstate.h"
#include "notificationcenter.h"
#include "notifications.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QPointer>
#include <QSet>

Q_LOGGING_CATEGORY(lcUploadProgressMenuItem, "tessly.upload.uploadprogressmenuitem")

namespace {

void log(const QString &line)
{
    qCInfo(lcUploadProgressMenuItem).noquote() << line;
}

const QString kFailedText = QStringLiteral("Upload failed - tap retry to continue");

QList<FileUploadTaskPtr> multipartTasks()
{
    QList<FileUploadTaskPtr> tasks = FileUploadQueue::sharedQueue().currentTasks();
    tasks.removeIf([](const FileUploadTaskPtr &task) { return !task->isMultipartUpload(); });
    return tasks;
}

} // namespace

UploadProgressModel::UploadProgressModel(QObject *parent)
    : QObject(parent)
{
    updateButtonVisibility();
    auto &center = NotificationCenter::defaultCenter();
    center.addObserver(this, Notifications::MultipartUploadFailedNotification, [this](const Notification &n) {
        const QVariantMap object = n.objectMap();
        QMetaObject::invokeMethod(
            this, [this, object] { multipartUploadFailed(object); }, Qt::QueuedConnection);
    });
    center.addObserver(this, Notifications::MultipartUploadProgressNotification,
        [this](const Notification &n) { multipartUploadProgress(n.objectMap()); });
}

UploadProgressModel::~UploadProgressModel()
{
    NotificationCenter::defaultCenter().removeObserver(this);
}

QString UploadProgressModel::formattedSpeed(double bytesPerSecond)
{
    if (bytesPerSecond > 1048576.0)
        return QString::asprintf("%.1f MB/s", bytesPerSecond / 1048576.0);
    if (bytesPerSecond > 1024.0)
        return QString::asprintf("%.0f KB/s", bytesPerSecond / 1024.0);
    return QString::asprintf("%.0f B/s", bytesPerSecond);
}

void UploadProgressModel::setState(int state, const QString &statusText)
{
    m_uploadState = state;
    m_statusText = statusText;
    updateButtonVisibility();
}

void UploadProgressModel::updateWithProgress(float progress, double speed, int uploadState, bool hasMultipartUploads)
{
    m_hasMultipartUploads = hasMultipartUploads;
    m_progressValue = qBound(0, qRound(progress * 100.0f), 100);
    switch (uploadState) {
    case 1:
        setState(1, QStringLiteral("Uploading at %1").arg(formattedSpeed(speed)));
        break;
    case 2:
        setState(2, QStringLiteral("Upload paused"));
        break;
    case 3:
        setState(3, kFailedText);
        break;
    default:
        setState(uploadState, QString());
        break;
    }
}

void UploadProgressModel::updateButtonVisibility()
{
    m_pauseVisible = m_uploadState == 1 && m_hasMultipartUploads;
    m_resumeVisible = m_uploadState == 2;
    m_retryVisible = m_uploadState == 3;
    m_cancelVisible = m_uploadState != 0;
    Q_EMIT changed();
}

void UploadProgressModel::multipartUploadFailed(const QVariantMap &object)
{
    const QVariant error = object.value(QStringLiteral("error"));
    QString description;
    if (error.metaType() == QMetaType::fromType<Error>())
        description = error.value<Error>().localizedDescription;
    else if (error.metaType() == QMetaType::fromType<QString>())
        description = error.toString();
    setState(3, description.isEmpty() ? kFailedText : QStringLiteral("Upload failed: %1").arg(description));
}

void UploadProgressModel::pauseButtonClicked()
{
    log(QStringLiteral("[UploadProgressMenuItem] Pause button clicked"));
    for (const FileUploadTaskPtr &task : multipartTasks())
        task->pauseMultipartUpload();
    setState(2, QStringLiteral("Upload paused"));
}

void UploadProgressModel::resumeButtonClicked()
{
    log(QStringLiteral("[UploadProgressMenuItem] Resume button clicked"));
    for (const FileUploadTaskPtr &task : multipartTasks())
        task->resumeMultipartUpload();
    setState(1, QStringLiteral("Resuming upload..."));
}

void UploadProgressModel::retryButtonClicked()
{
    log(QStringLiteral("[UploadProgressMenuItem] Retry button clicked"));
    const QList<FileUploadTaskPtr> tasks = multipartTasks();
    for (const FileUploadTaskPtr &task : tasks)
        task->resumeMultipartUpload();
    if (tasks.isEmpty()) {
        for (const TLMultipartUploadStatePtr &record : TLMultipartUploadState::loadAllPendingUploads()) {
            const QString path = record->filePath();
            log(QStringLiteral("[UploadProgressMenuItem] Resuming persisted upload: %1").arg(path));
            if (QFileInfo::exists(path)) {
                auto task = FileUploadTask::create(QUrl::fromLocalFile(path), record->parentItem(), record->order(),
                    [](bool success, const QVariantMap &) {
                        log(QStringLiteral("[UploadProgressMenuItem] Resumed upload completed: success=%1")
                                .arg(int(success)));
                    });
                FileUploadQueue::sharedQueue().addTask(task);
            } else {
                log(QStringLiteral("[UploadProgressMenuItem] File no longer exists, removing state: %1").arg(path));
                TLMultipartUploadState::removeStateForUploadId(record->uploadId());
            }
        }
    }
    setState(1, QStringLiteral("Retrying upload..."));
}

int UploadProgressModel::cancelCount()
{
    const QList<FileUploadTaskPtr> tasks = FileUploadQueue::sharedQueue().currentTasks();
    QSet<QString> running;
    for (const FileUploadTaskPtr &task : tasks)
        running.insert(task->fileURL().toLocalFile());
    int count = int(tasks.size());
    for (const TLMultipartUploadStatePtr &record : TLMultipartUploadState::loadAllPendingUploads()) {
        if (!running.contains(record->filePath()))
            ++count;
    }
    return count;
}

UploadProgressModel::CancelPrompt UploadProgressModel::cancelPromptForCount(int count)
{
    const QString plural = count == 1 ? QString() : QStringLiteral("s");
    CancelPrompt prompt;
    prompt.count = count;
    prompt.message = QStringLiteral("Cancel %1 Upload%2?").arg(count).arg(plural);
    prompt.informativeText = QStringLiteral("This will cancel %1 %2 currently uploading. This action cannot be undone.")
                                 .arg(count)
                                 .arg(count == 1 ? QStringLiteral("file") : QStringLiteral("files"));
    prompt.cancelButton = QStringLiteral("Cancel %1 Upload%2").arg(count).arg(plural);
    prompt.continueButton = QStringLiteral("Continue Uploading");
    return prompt;
}

void UploadProgressModel::cancelButtonClicked()
{
    log(QStringLiteral("[UploadProgressMenuItem] Cancel button clicked"));
    const CancelPrompt prompt = cancelPromptForCount(cancelCount());
    if (!m_confirmCancel)
        return;
    QPointer<UploadProgressModel> self(this);
    m_confirmCancel(prompt, [self] {
        if (self)
            self->performAbortAllUploads();
    });
}

void UploadProgressModel::performAbortAllUploads()
{
    FileUploadQueue &queue = FileUploadQueue::sharedQueue();
    log(QStringLiteral("[UploadProgressMenuItem] ========== ABORTING ALL UPLOADS =========="));
    log(QStringLiteral("[UploadProgressMenuItem] Queue has %1 tasks before cancel").arg(queue.currentTasks().size()));
    queue.cancelAllUploads();
    log(QStringLiteral("[UploadProgressMenuItem] Queue has %1 tasks after cancel").arg(queue.currentTasks().size()));
    const QList<TLMultipartUploadStatePtr> records = TLMultipartUploadState::loadAllPendingUploads();
    log(QStringLiteral("[UploadProgressMenuItem] Found %1 persisted uploads to clean up").arg(records.size()));
    for (const TLMultipartUploadStatePtr &record : records) {
        log(QStringLiteral("[UploadProgressMenuItem] Removing persisted upload state: %1 (%2)")
                .arg(record->uploadId(), QFileInfo(record->filePath()).fileName()));
        TLMultipartUploadState::removeStateForUploadId(record->uploadId());
    }
    log(QStringLiteral("[UploadProgressMenuItem] Persisted uploads remaining: %1")
            .arg(TLMultipartUploadState::loadAllPendingUploads().size()));
    m_uploadState = 0;
    updateButtonVisibility();
    log(QStringLiteral("[UploadProgressMenuItem] ========== ABORT COMPLETE =========="));
}
