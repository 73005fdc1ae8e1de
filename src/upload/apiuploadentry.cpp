// The upload entry points of the service client: every file becomes a task
// of the shared upload queue.
#include "api.h"
#include "fileuploadqueue.h"

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcApi)

void API::uploadFile(const QUrl &fileUrl, FileCompletion complete)
{
    uploadFile(fileUrl, QString(), QVariant(), std::move(complete));
}

void API::uploadFile(const QUrl &fileUrl, const QString &parentItem, const QVariant &order, FileCompletion complete)
{
    if (fileUrl.isEmpty()) {
        qCInfo(lcApi).noquote() << "[API] uploadFile: called with nil file";
        if (complete)
            complete(false, { { QStringLiteral("error"), QStringLiteral("File URL is nil") } });
        return;
    }
    FileUploadQueue::sharedQueue().addTask(FileUploadTask::create(fileUrl, parentItem, order, std::move(complete)));
}

void API::uploadFiles(const QList<QUrl> &fileUrls, const QString &parentItem, BatchCompletion complete)
{
    FileUploadQueue &queue = FileUploadQueue::sharedQueue();
    for (qsizetype i = 0; i < fileUrls.size(); ++i) {
        // Installed again for every file, always the same: it fires once when
        // the queue drains, then removes itself.
        queue.setBachCompletionHandler([&queue, complete](bool success, const QList<FileUploadTaskPtr> &) {
            queue.setBachCompletionHandler(nullptr);
            if (complete)
                complete(success);
        });
        uploadFile(fileUrls[i], parentItem, QVariant(qlonglong(i)), [](bool, const QVariantMap &) {});
    }
}
