#include "fileuploadtask.h"

#include "api.h"
#include "dispatch.h"
#include "multipartuploadsession.h"
#include "multipartuploadstate.h"
#include "notifications.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QRandomGenerator>

Q_LOGGING_CATEGORY(lcFileUploadTask, "tessly.upload.fileuploadtask")

namespace {

void log(const QString &line)
{
    qCInfo(lcFileUploadTask).noquote() << line;
}

// A file's size from its attributes, or a reason it has none.
bool fileSize(const QUrl &file, quint64 *size, QString *error)
{
    const QFileInfo info(file.toLocalFile());
    if (!file.isLocalFile() || !info.exists()) {
        *error = QStringLiteral("The file \u201c%1\u201d couldn\u2019t be opened because there is no such file.")
                     .arg(info.fileName());
        return false;
    }
    if (!info.isFile()) {
        *error = QStringLiteral("The file \u201c%1\u201d couldn\u2019t be opened because it is not a regular file.")
                     .arg(info.fileName());
        return false;
    }
    *size = quint64(info.size());
    return true;
}

} // namespace

std::shared_ptr<FileUploadTask> FileUploadTask::create(
    const QUrl &file, const QString &parentItem, const QVariant &order, CompletionHandler completion)
{
    std::shared_ptr<FileUploadTask> task(new FileUploadTask);
    task->m_fileURL = file;
    task->m_parentItem = parentItem;
    task->m_order = order;
    task->m_completionHandler = std::move(completion);
    task->m_taskIdentifier = QRandomGenerator::global()->generate();
    task->m_startTime = QDateTime::currentDateTimeUtc();
    quint64 size = 0;
    QString ignored;
    fileSize(file, &size, &ignored); // unreadable: size 0
    task->m_isMultipartUpload = size >= kMultipartThreshold;
    log(QStringLiteral("FileUploadTask - init %1 (size: %2, multipart: %3)")
            .arg(task->fileName())
            .arg(size)
            .arg(int(task->m_isMultipartUpload)));
    return task;
}

FileUploadTask::~FileUploadTask()
{
    stopObservingProgress();
}

QString FileUploadTask::fileName() const
{
    return QFileInfo(m_fileURL.toLocalFile()).fileName();
}

void FileUploadTask::setCompletionHandler(CompletionHandler handler)
{
    m_completionHandler = std::move(handler);
}

void FileUploadTask::setProgressHandler(ProgressHandler handler)
{
    m_progressHandler = std::move(handler);
    std::weak_ptr<FileUploadTask> weak = weak_from_this();
    const auto id = NotificationCenter::defaultCenter().addObserver(
        Notifications::UploadProgressNotification, [weak](const Notification &note) {
            auto self = weak.lock();
            if (!self)
                return;
            const QVariantMap object = note.objectMap();
            log(QStringLiteral("progress %1")
                    .arg(QString::fromUtf8(QJsonDocument::fromVariant(object).toJson(QJsonDocument::Compact))));
            if (object.value(QStringLiteral("taskId")).toLongLong() != qint64(self->m_taskIdentifier))
                return;
            const double seconds = double(self->m_startTime.msecsTo(QDateTime::currentDateTimeUtc())) / 1000.0;
            const double bytes = object.value(QStringLiteral("bytesSent")).toDouble();
            self->m_speed = seconds > 0 ? bytes / seconds : 0.0;
            self->m_progress = object.value(QStringLiteral("progress")).toFloat();
            if (self->m_progressHandler)
                self->m_progressHandler(self->m_progress, self->m_speed);
        });
    m_progressObservers.append(id);
}

void FileUploadTask::stopObservingProgress()
{
    for (const auto id : std::as_const(m_progressObservers))
        NotificationCenter::defaultCenter().removeObserver(id);
    m_progressObservers.clear();
}

void FileUploadTask::complete(bool success, const QVariantMap &response)
{
    // Keep the task alive through its own handler, which may drop the last owner.
    auto self = shared_from_this();
    Dispatch::main([self, success, response] {
        self->stopObservingProgress();
        if (self->m_completionHandler)
            self->m_completionHandler(success, response);
    });
}

void FileUploadTask::start()
{
    log(QStringLiteral("FileUploadTask - start %1").arg(m_fileURL.toString()));
    quint64 size = 0;
    QString error;
    if (!fileSize(m_fileURL, &size, &error)) {
        log(QStringLiteral("FileUploadTask - failed to get file attributes: %1").arg(error));
        if (m_completionHandler)
            complete(false, { { QStringLiteral("error"), error } });
        return;
    }
    if (size < kMultipartThreshold) {
        log(QStringLiteral("FileUploadTask - file size %1 < threshold, using regular upload").arg(size));
        startRegularUpload();
    } else {
        log(QStringLiteral("FileUploadTask - file size %1 >= threshold, using multipart upload").arg(size));
        startMultipartUpload();
    }
}

void FileUploadTask::startRegularUpload()
{
    std::weak_ptr<FileUploadTask> weak = weak_from_this();
    API::instance().requestUploadURLForFile(
        m_fileURL, m_parentItem, m_order, [weak](bool success, const QVariantMap &response, const Error &error) {
            auto self = weak.lock();
            if (!self)
                return;
            if (!success) {
                if (!response.isEmpty())
                    self->complete(false, response);
                else
                    self->complete(false,
                        { { QStringLiteral("error"),
                            error.isNull() ? QStringLiteral("The service did not answer with an upload address.")
                                           : error.localizedDescription } });
                return;
            }
            const QUrl url(response.value(QStringLiteral("url")).toString());
            log(QStringLiteral("Uploading to URL %1").arg(url.toString()));
            API::instance().uploadFileToS3(url, self->m_fileURL, response, QString::number(self->m_taskIdentifier),
                [weak](bool ok, const QVariantMap &presign) {
                    if (auto task = weak.lock()) {
                        task->m_progress = 1.0f;
                        task->complete(ok, presign);
                    }
                });
        });
}

void FileUploadTask::startMultipartUpload()
{
    m_isMultipartUpload = true;
    const QString sessionTaskId = QString::number(m_taskIdentifier);
    if (TLMultipartUploadStatePtr persisted = TLMultipartUploadState::stateForFilePath(m_fileURL.toLocalFile())) {
        log(QStringLiteral("FileUploadTask - found existing multipart state, resuming"));
        m_multipartSession = TLMultipartUploadSession::create(persisted, sessionTaskId);
    } else {
        m_multipartSession = TLMultipartUploadSession::create(m_fileURL, m_parentItem, m_order, sessionTaskId);
    }
    std::weak_ptr<FileUploadTask> weak = weak_from_this();
    m_multipartSession->startWithProgressHandler(
        [weak](float progress, double speed, quint64, quint64) {
            if (auto self = weak.lock()) {
                self->m_progress = progress;
                self->m_speed = speed;
                if (self->m_progressHandler)
                    self->m_progressHandler(progress, speed);
            }
        },
        [weak](bool success, const QVariantMap &response, const Error &error) {
            auto self = weak.lock();
            if (!self)
                return;
            if (success)
                self->m_progress = 1.0f;
            if (!response.isEmpty())
                self->complete(success, response);
            else
                self->complete(success,
                    { { QStringLiteral("error"),
                        error.isNull() ? QStringLiteral("Unknown error") : error.localizedDescription } });
        });
}

void FileUploadTask::pauseMultipartUpload()
{
    if (!m_isMultipartUpload || !m_multipartSession)
        return;
    log(QStringLiteral("FileUploadTask - pausing multipart upload for %1").arg(fileName()));
    m_multipartSession->pause();
}

void FileUploadTask::resumeMultipartUpload()
{
    if (!m_isMultipartUpload || !m_multipartSession)
        return;
    log(QStringLiteral("FileUploadTask - resuming multipart upload for %1").arg(fileName()));
    m_multipartSession->resume();
}

void FileUploadTask::abortMultipartUpload()
{
    log(QStringLiteral("FileUploadTask - abortMultipartUpload called for %1 (isMultipart: %2, hasSession: %3)")
            .arg(fileName())
            .arg(int(m_isMultipartUpload))
            .arg(int(bool(m_multipartSession))));
    if (!m_isMultipartUpload)
        return;
    if (m_multipartSession) {
        log(QStringLiteral("FileUploadTask - aborting active multipart session for %1").arg(fileName()));
        m_multipartSession->abort();
        return;
    }
    if (TLMultipartUploadStatePtr persisted = TLMultipartUploadState::stateForFilePath(m_fileURL.toLocalFile())) {
        log(QStringLiteral("FileUploadTask - removing persisted state for %1").arg(fileName()));
        TLMultipartUploadState::removeStateForUploadId(persisted->uploadId());
    }
}
