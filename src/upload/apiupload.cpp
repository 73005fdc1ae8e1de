// The single-request upload: the presign request, the one streamed PUT to the
// object store, cancelling the PUTs in flight, and the video thumbnail helper.
#include "api.h"

#include "capturenaming.h"
#include "curlsession.h"
#include "dispatch.h"
#include "fileurl.h"
#include "jsonserialization.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "privateexecutables.h"
#include "replytimeout.h"
#include "settingsstore.h"
#include "transporterror.h"

#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QStandardPaths>
#include <QStringDecoder>
#include <QTemporaryFile>

#include <cstdio>
#include <memory>

Q_DECLARE_LOGGING_CATEGORY(lcApi)

namespace {

// How long the thumbnail helper waits for ffmpeg.
constexpr int kThumbnailTimeoutMs = 30000;

QString orNull(const QString &text)
{
    return text.isNull() ? QStringLiteral("(null)") : text;
}

QString fileNameOf(const QUrl &fileUrl)
{
    return QFileInfo(fileUrl.toLocalFile()).fileName();
}

// The answer's body for the failure log: UTF-8 text, "<no response body>"
// when there is none.
QString responseBodyText(const QByteArray &data)
{
    if (data.isEmpty())
        return QStringLiteral("<no response body>");
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(data);
    return decoder.hasError() ? QStringLiteral("(null)") : text;
}

// Runs fn on the main thread: at once when already there.
void onMainThread(std::function<void()> fn)
{
    if (Dispatch::isMainThread())
        fn();
    else
        Dispatch::main(std::move(fn));
}

// Stand-in for the identifier a task gets when the caller names none.
quint64 nextTaskNumber()
{
    static quint64 next = 1;
    return next++;
}

// A file that cannot be read never reaches the network; it ends like a PUT
// that failed before any answer, with the reason in words.
Error fileError(const QFile &file, const QString &fileName)
{
    const int code = file.exists() ? -1102 : -1100; // no permission to read / file does not exist
    return Error(QString::fromLatin1(TransportError::Domain), code,
        QStringLiteral("The file “%1” couldn’t be opened: %2").arg(fileName, file.errorString()));
}

// The end of a PUT, whatever it was: the log lines, the notification and the
// completion. Only a transport failure fails the upload; a refused PUT is
// logged as failed and still reported as done.
void reportPutEnd(const QUrl &url, const QString &fileName, const QVariantMap &respDict,
    const API::PutCompletion &complete, const Error &error, int status, const QByteArray &data)
{
    const QString body = responseBodyText(data);
    if (error.isNull() && status >= 200 && status <= 299) {
        qCInfo(lcApi).noquote() << QStringLiteral("✅ S3 PUT succeeded for %1").arg(fileName);
    } else {
        // One pass over the pattern, so a "%" in a name or body stays as it is.
        qCInfo(lcApi).noquote() << QStringLiteral(
            "❌ S3 PUT failed for %1\n  error: %2\n  status: %3\n  url: %4\n body: %5\n")
                                       .arg(fileName, error.isNull() ? QStringLiteral("(null)") : error.toString(),
                                           QString::number(status), url.toString(), body);
        qCInfo(lcApi).noquote() << QStringLiteral("Body %1").arg(body);
    }
    NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::UploadCompleteNotification), respDict);
    if (complete)
        complete(error.isNull(), respDict);
}

} // namespace

void API::requestUploadURLForFile(
    const QUrl &fileUrl, const QString &parentItem, const QVariant &order, PresignCompletion completion)
{
    const QString domain = orNull(SettingsStore::instance().domain());
    URLRequest request = requestForEndpoint(QStringLiteral("/v1/files/%1").arg(domain), QStringLiteral("POST"));

    const QString name = fileNameOf(fileUrl);
    QVariantMap body { { QStringLiteral("name"), FileUrl::serviceName(name) },
        { QStringLiteral("mimeType"), FileUrl::mimeType(name) } };
    if (!parentItem.isNull())
        body.insert(QStringLiteral("parentItem"), parentItem);
    if (order.isValid())
        body.insert(QStringLiteral("order"), order.toString()); // the service reads a file's order as text
    Error error;
    request.httpBody = JSONSerialization::dataWithJSONObject(body, &error);
    if (request.httpBody.isNull()) {
        qCInfo(lcApi).noquote() << QStringLiteral("[API] JSON serialization error: %1").arg(error.toString());
        if (completion)
            completion(false, {}, error);
        return;
    }
    request.setValue(QByteArrayLiteral("application/json"), QByteArrayLiteral("Content-Type"));

    const int timeoutMs = m_requestTimeoutMs;
    onMainThread([this, request, fileUrl, completion, timeoutMs] {
        // A manager for this one request, as for every API call.
        auto *session = new QNetworkAccessManager(this);
        QNetworkReply *reply = session->sendCustomRequest(request.request, request.httpMethod, request.httpBody);
        ReplyTimeout::watch(reply, timeoutMs);
        m_dataTasks.append(reply);
        auto sslErrors = std::make_shared<QList<QSslError>>();
        connect(reply, &QNetworkReply::sslErrors, reply,
            [sslErrors](const QList<QSslError> &errors) { *sslErrors += errors; });
        connect(
            reply, &QNetworkReply::finished, this, [this, reply, session, sslErrors, fileUrl, completion] {
                m_dataTasks.removeAll(reply);
                reply->deleteLater();
                session->deleteLater();
                if (TransportError::isTransportFailure(reply)) {
                    const Error error = TransportError::fromReply(reply, *sslErrors);
                    qCInfo(lcApi).noquote()
                        << QStringLiteral("POST→S3 prep failed for %1: %2").arg(fileUrl.toString(), error.toString());
                    if (completion)
                        completion(false, {}, error);
                    return;
                }
                // The status is not examined: an answer with a "url" is a presign,
                // whatever else it says.
                const QVariantMap response = JSONSerialization::JSONObjectWithData(reply->readAll()).toMap();
                const bool hasUrl = response.value(QStringLiteral("url")).typeId() == QMetaType::QString;
                if (!hasUrl)
                    qCInfo(lcApi).noquote() << QStringLiteral("No S3 URL returned for %1").arg(fileUrl.toString());
                if (completion)
                    completion(hasUrl, response, {});
            });
    });
}

void API::uploadFileToS3(
    const QUrl &url, const QUrl &fileUrl, const QVariantMap &respDict, const QString &taskId, PutCompletion complete)
{
    const int timeoutMs = m_requestTimeoutMs;
    onMainThread([url, fileUrl, respDict, taskId, complete, timeoutMs] {
        const QString fileName = fileNameOf(fileUrl);
        const QString description = taskId.isNull() ? QString::number(nextTaskNumber()) : taskId;

        const auto finish
            = [url, fileName, respDict, complete](const Error &error, int status, const QByteArray &data) {
                  reportPutEnd(url, fileName, respDict, complete, error, status, data);
              };

        auto file = std::make_shared<QFile>(fileUrl.toLocalFile());
        if (!file->open(QIODevice::ReadOnly)) {
            const Error error = fileError(*file, fileName);
            // Completions never run inside the call that started the upload.
            Dispatch::main([finish, error] { finish(error, 0, {}); });
            return;
        }

        ObjectPut::Request request;
        request.url = url;
        request.contentType = FileUrl::mimeType(fileName).toUtf8();
        request.file = file; // streamed from disk while the PUT runs
        request.idleTimeoutMs = timeoutMs;
        ObjectPut *put = API::instance().uploadSession()->put(std::move(request));

        auto previous = std::make_shared<qint64>(0);
        const QString urlString = url.toString(QUrl::FullyEncoded);
        QObject::connect(
            put, &ObjectPut::uploadProgress, put, [previous, description, urlString](qint64 sent, qint64 total) {
                const qint64 increment = sent - *previous;
                *previous = sent;
                qCInfo(lcApi).noquote() << QStringLiteral("task.taskDescription %1").arg(description);
                const float progress = total < 1 ? 0.0f : float(double(sent) / double(total));
                NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::UploadProgressNotification),
                    QVariantMap { { QStringLiteral("taskId"), description },
                        { QStringLiteral("progress"), QVariant::fromValue(progress) },
                        { QStringLiteral("bytesSent"), QVariant::fromValue(increment) },
                        { QStringLiteral("url"), urlString } });
            });
        QObject::connect(put, &ObjectPut::finished, put, [put, finish] {
            put->deleteLater();
            finish(put->error(), put->status(), put->responseBody());
        });
    });
}

void API::cancelAllS3Uploads()
{
    qCInfo(lcApi).noquote() << "[API] Cancelling all S3 upload tasks";
    onMainThread([] {
        const QList<ObjectPut *> puts = API::instance().uploadSession()->transfers();
        qCInfo(lcApi).noquote() << QStringLiteral("[API] Found %1 upload tasks to cancel").arg(puts.size());
        // Aborting finishes a PUT at once; its completion reports the
        // cancellation.
        for (ObjectPut *put : puts) {
            qCInfo(lcApi).noquote() << QStringLiteral("[API] Cancelling upload task: %1").arg(put->url().toString());
            put->abort();
        }
        for (const QPointer<QNetworkReply> &task : API::instance().m_dataTasks) {
            if (!task)
                continue;
            qCInfo(lcApi).noquote() << QStringLiteral("[API] Cancelling data task: %1").arg(task->url().toString());
            task->abort();
        }
        qCInfo(lcApi).noquote() << "[API] All S3 upload tasks cancelled";
    });
}

void API::mockUploads() { }

QUrl API::getVideoThumbnail(const QUrl &videoUrl)
{
    // Debian's ffmpeg decodes every format a recording or a dropped video may
    // have. The one linked into the private executables folder wins.
    QString ffmpeg = PrivateExecutables::auxiliaryExecutable(QStringLiteral("ffmpeg"));
    if (!QFileInfo(ffmpeg).isExecutable())
        ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
    const QString target = CaptureNaming::temporaryDirectory() + QStringLiteral("video-thumbnail.png");
    if (ffmpeg.isEmpty()) {
        qCInfo(lcApi).noquote() << "[API] getVideoThumbnail: ffmpeg not found";
        return {};
    }

    // Written beside the target and renamed over it, so a reader never sees
    // half a picture.
    QTemporaryFile partial(CaptureNaming::temporaryDirectory() + QStringLiteral("video-thumbnail-XXXXXX.png"));
    if (!partial.open()) {
        qCInfo(lcApi).noquote() << QStringLiteral("[API] getVideoThumbnail: %1").arg(partial.errorString());
        return {};
    }
    partial.close();

    // The frame at 1/65 s, in the size it was stored (no rotation applied),
    // as PNG at the strongest compression.
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(ffmpeg,
        { QStringLiteral("-nostdin"), QStringLiteral("-hide_banner"), QStringLiteral("-loglevel"),
            QStringLiteral("error"), QStringLiteral("-noautorotate"), QStringLiteral("-ss"),
            QString::number(1.0 / 65, 'f', 6), QStringLiteral("-i"), videoUrl.toLocalFile(),
            QStringLiteral("-frames:v"), QStringLiteral("1"), QStringLiteral("-c:v"), QStringLiteral("png"),
            QStringLiteral("-compression_level"), QStringLiteral("9"), QStringLiteral("-f"), QStringLiteral("image2"),
            QStringLiteral("-update"), QStringLiteral("1"), QStringLiteral("-y"), partial.fileName() });
    const bool finished = process.waitForFinished(kThumbnailTimeoutMs);
    if (!finished)
        process.kill();
    if (!finished || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0
        || QFileInfo(partial.fileName()).size() == 0) {
        qCInfo(lcApi).noquote() << QStringLiteral("[API] getVideoThumbnail: no frame from %1: %2")
                                       .arg(videoUrl.toLocalFile(),
                                           QString::fromLocal8Bit(process.readAllStandardError()).trimmed());
        return {};
    }
    if (std::rename(QFile::encodeName(partial.fileName()).constData(), QFile::encodeName(target).constData()) != 0) {
        qCInfo(lcApi).noquote() << QStringLiteral("[API] getVideoThumbnail: cannot write %1").arg(target);
        return {};
    }
    partial.setAutoRemove(false);
    return QUrl::fromLocalFile(target);
}
