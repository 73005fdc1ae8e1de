#include "tlgifconverter.h"

#include "capturenaming.h"
#include "gifwriter.h"
#include "movieasset.h"
#include "movieindexmover.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "privateexecutables.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>
#include <QThread>
#include <QUuid>

#include <cmath>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <signal.h>
#include <sys/types.h>
#include <thread>

Q_LOGGING_CATEGORY(lcGifConverter, "tessly.postprocess.gifconverter")

namespace {

const QString kDomain = QStringLiteral("TLGIFConverter");

// Seconds each movie frame is shown in a frame-by-frame GIF, and each image
// in a GIF made from images.
constexpr int kMovieFrameDelay = 20;
constexpr int kImageFrameDelay = 8;

// After terminate and interrupt, how long ffmpeg still gets before it is
// killed: a process stuck in a read that signals do not break must not
// outlive its caller.
constexpr int kKillGraceMs = 5000;

void setError(Error *error, int code, const QString &text, const QVariantMap &info = {})
{
    if (error)
        *error = Error(kDomain, code, text, info);
}

// Step 5 of a GIF without ffmpeg: the output path holds no old file, and an
// empty file until the GIF is written over it.
void prepareOutput(const QString &path)
{
    QFile file(path);
    if (file.exists()) {
        if (!file.remove())
            qCInfo(lcGifConverter).noquote()
                << QStringLiteral("Error deleting existing movie %1").arg(file.errorString());
    } else {
        file.open(QIODevice::WriteOnly);
    }
}

// A failed ffmpeg run may leave half a file behind; it is no result.
void removePartialOutput(const QString &path)
{
    if (QFile::exists(path) && !QFile::remove(path))
        qCInfo(lcGifConverter).noquote() << QStringLiteral("Could not remove the unfinished %1").arg(path);
}

// How many decoded frames may wait for the writer.
constexpr int kFramesAhead = 3;

// Decoded frames on their way from the decoding thread to the writer. A null
// image ends the stream; close() releases a decoder the writer has given up on.
class FrameQueue
{
public:
    explicit FrameQueue(int capacity)
        : m_capacity(size_t(capacity))
    {
    }

    bool push(QImage frame)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_closed || m_frames.size() < m_capacity; });
        if (m_closed)
            return false;
        m_frames.push_back(std::move(frame));
        m_changed.notify_all();
        return true;
    }

    QImage pop()
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return !m_frames.empty(); });
        QImage frame = std::move(m_frames.front());
        m_frames.pop_front();
        m_changed.notify_all();
        return frame;
    }

    void close()
    {
        std::lock_guard lock(m_mutex);
        m_closed = true;
        m_frames.clear();
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<QImage> m_frames;
    size_t m_capacity;
    bool m_closed = false;
};

// Starts ffmpeg with empty input (so it never waits for keys) and logs it.
bool launch(QProcess &task, const QString &path, const QStringList &args, QProcess::ProcessChannelMode channels)
{
    task.setProgram(path);
    task.setArguments(args);
    task.setProcessChannelMode(channels);
    task.setStandardInputFile(QProcess::nullDevice());
    qCInfo(lcGifConverter).noquote() << QStringLiteral("Running Task: QProcess(%1) %2 (%3)")
                                            .arg(quintptr(&task), 0, 16)
                                            .arg(path, args.join(QStringLiteral(", ")));
    task.start();
    return task.waitForStarted(-1);
}

} // namespace

TLGIFConverter &TLGIFConverter::instance()
{
    static TLGIFConverter converter;
    return converter;
}

QString TLGIFConverter::captureTemporaryFilePathWithName(const QString &name, const QString &extension)
{
    return CaptureNaming::nameForFile(name, extension, true);
}

QString TLGIFConverter::executablePathNamed(const QString &name)
{
    QString path = PrivateExecutables::auxiliaryExecutable(name);
    if (path.isEmpty())
        path = PrivateExecutables::resource(name);
    if (!path.isEmpty()) {
        if (QFileInfo(path).isExecutable())
            return path;
        qCInfo(lcGifConverter).noquote() << QStringLiteral("File %1 for %2 is not executable").arg(path, name);
    }
    qCInfo(lcGifConverter).noquote() << QStringLiteral("Returning executable %1 (null)").arg(name);
    return {};
}

bool TLGIFConverter::FFMPEGPathExists()
{
    return !executablePathNamed(QStringLiteral("ffmpeg")).isEmpty();
}

QUrl TLGIFConverter::convertFileAtPath(const QUrl &fileUrl, const QString &name, double scaleFactor, Error *error)
{
    const QString source = fileUrl.toLocalFile();
    const QString output
        = CaptureNaming::temporaryDirectory() + captureTemporaryFilePathWithName(name, QStringLiteral("gif"));
    if (error)
        *error = Error();

    if (FFMPEGPathExists()) {
        qCInfo(lcGifConverter).noquote() << "Executing FFMPEG";
        const QString palette = CaptureNaming::temporaryDirectory()
            + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + QStringLiteral(".png");
        Error paletteError;
        if (!runFFMPEGTaskWithArgs({ QStringLiteral("-y"), QStringLiteral("-i"), source, QStringLiteral("-vf"),
                                       QStringLiteral("fps=10,scale=-1:-1:flags=lanczos,palettegen"), palette },
                60, &paletteError))
            qCInfo(lcGifConverter).noquote()
                << QStringLiteral("Palette generation failed, falling back. Error: %1").arg(paletteError.toString());
        // Run whatever became of the palette: without one this fails too,
        // and says why.
        Error gifError;
        if (!runFFMPEGTaskWithArgs({ QStringLiteral("-y"), QStringLiteral("-i"), source, QStringLiteral("-i"), palette,
                                       QStringLiteral("-lavfi"),
                                       QStringLiteral("fps=10,scale=-1:-1:flags=lanczos [x]; [x][1:v] paletteuse"),
                                       QStringLiteral("-f"), QStringLiteral("gif"), output },
                120, &gifError)) {
            removePartialOutput(output);
            if (error)
                *error = paletteError ? paletteError : gifError;
        }
        return QUrl::fromLocalFile(output);
    }

    prepareOutput(output);
    qCInfo(lcGifConverter).noquote() << QStringLiteral("Saved GIF to: %1").arg(output);
    MovieAsset asset(source);
    makeAnimatedGifFromAsset(asset, QUrl::fromLocalFile(output), scaleFactor, error);
    return QUrl::fromLocalFile(output);
}

QUrl TLGIFConverter::optimizeVideoAtPath(const QUrl &fileUrl, const QString &name, Error *error)
{
    const QString source = fileUrl.toLocalFile();
    const QString output
        = CaptureNaming::temporaryDirectory() + captureTemporaryFilePathWithName(name, QStringLiteral("mp4"));
    if (error)
        *error = Error();
    // Moving the index takes no process and passes the media data through
    // once, inside the kernel: about what copying the file takes, where
    // ffmpeg's stream copy writes the data twice after starting up
    // (bench/gif). ffmpeg takes what the mover leaves.
    QString why;
    if (MovieIndexMover::copy(source, output, &why)) {
        qCInfo(lcGifConverter).noquote() << QStringLiteral("Moved the index to the front: %1").arg(output);
        return QUrl::fromLocalFile(output);
    }
    qCInfo(lcGifConverter).noquote() << QStringLiteral("The index stays for ffmpeg to move: %1").arg(why);
    if (!FFMPEGPathExists()) {
        setError(error, 1, QStringLiteral("ffmpeg executable not found"));
        return fileUrl;
    }
    qCInfo(lcGifConverter).noquote() << "Executing FFMPEG";
    if (runFFMPEGTaskWithArgs(
            { QStringLiteral("-y"), QStringLiteral("-i"), source, QStringLiteral("-c"), QStringLiteral("copy"),
                QStringLiteral("-movflags"), QStringLiteral("+faststart"), output },
            60, error))
        return QUrl::fromLocalFile(output);
    removePartialOutput(output);
    return fileUrl;
}

QUrl TLGIFConverter::saveImageSequenceAsGIF(const QList<QImage> &images, const QString &name, Error *error)
{
    const QString output
        = CaptureNaming::temporaryDirectory() + captureTemporaryFilePathWithName(name, QStringLiteral("gif"));
    prepareOutput(output);
    qCInfo(lcGifConverter).noquote() << QStringLiteral("Saved GIF to: %1").arg(output);
    makeAnimatedGifFromArray(images, QUrl::fromLocalFile(output), error);
    return QUrl::fromLocalFile(output);
}

bool TLGIFConverter::makeAnimatedGifFromAsset(MovieAsset &asset, const QUrl &destination, double, Error *error)
{
    // Every frame at the movie's own rate, truncated to whole frames a
    // second; the count rounded to the nearest frame.
    const int rate = int(asset.nominalFrameRate());
    const qint64 frameCount = rate > 0 ? std::llround(asset.duration() * rate) : 0;
    auto &center = NotificationCenter::defaultCenter();
    center.post(QString::fromLatin1(Notifications::TLNotificationGIFCreationBegan), {},
        { { QStringLiteral("TLGIFCreationProgressMinValueKey"), 1 },
            { QStringLiteral("TLGIFCreationProgressMaxValueKey"), frameCount } });
    qCInfo(lcGifConverter).noquote() << QStringLiteral("Frame Count: %1").arg(frameCount);

    QString failure;
    GifWriter writer(destination.toLocalFile());
    if (!asset.isReadable())
        failure = asset.errorString();
    else if (frameCount <= 0)
        failure = QStringLiteral("the movie has no frames");
    // Frames are decoded on a thread of their own, a few ahead of the
    // writer, so decoding and colour reduction overlap; memory stays at those
    // few frames however long the movie.
    FrameQueue frames(kFramesAhead);
    std::thread decoder;
    if (failure.isEmpty()) {
        decoder = std::thread([&] {
            for (qint64 i = 0; i < frameCount; ++i) {
                QImage frame = asset.copyImageAtTime(double(i) / rate);
                const bool last = frame.isNull();
                if (!frames.push(std::move(frame)) || last)
                    return;
            }
        });
    }
    for (qint64 i = 0; failure.isEmpty() && i < frameCount; ++i) {
        center.post(QString::fromLatin1(Notifications::TLNotificationGIFCreationProgress), {},
            { { QStringLiteral("TLGIFCreationProgressValueKey"), double(i) / double(frameCount) } });
        const QImage frame = frames.pop();
        if (frame.isNull())
            failure = asset.errorString().isEmpty() ? QStringLiteral("a frame could not be read") : asset.errorString();
        else if (!writer.addFrame(frame, kMovieFrameDelay))
            failure = writer.errorString();
    }
    frames.close();
    if (decoder.joinable())
        decoder.join();
    if (failure.isEmpty() && !writer.finish()) {
        failure = writer.errorString();
        qCInfo(lcGifConverter).noquote() << "failed to finalize image destination";
    }
    center.post(QString::fromLatin1(Notifications::TLNotificationGIFCreationComplete));
    if (failure.isEmpty())
        return true;
    qCInfo(lcGifConverter).noquote() << QStringLiteral("No GIF from %1: %2").arg(destination.toLocalFile(), failure);
    setError(error, -1, QStringLiteral("The GIF could not be made: %1").arg(failure));
    return false;
}

bool TLGIFConverter::makeAnimatedGifFromArray(const QList<QImage> &images, const QUrl &destination, Error *error)
{
    GifWriter writer(destination.toLocalFile());
    for (const QImage &image : images) {
        if (!writer.addFrame(image, kImageFrameDelay))
            break;
    }
    if (writer.finish())
        return true;
    qCInfo(lcGifConverter).noquote() << "failed to finalize image destination";
    setError(error, -1, QStringLiteral("The GIF could not be made: %1").arg(writer.errorString()));
    return false;
}

bool TLGIFConverter::runFFMPEGTaskWithArgs(
    const QStringList &args, double timeout, Error *error, QString *standardError)
{
    if (standardError)
        standardError->clear();
    const QString path = executablePathNamed(QStringLiteral("ffmpeg"));
    if (path.isEmpty()) {
        setError(error, 1, QStringLiteral("ffmpeg executable not found"));
        return false;
    }

    // Standard error is read as ffmpeg writes it (QProcess drains the pipe
    // into its buffer while we wait), so a chatty ffmpeg never blocks on a
    // full pipe. Standard output stays ours.
    QProcess task;
    if (!launch(task, path, args, QProcess::ForwardedOutputChannel)) {
        const QString reason = task.errorString();
        setError(error, 2, reason.isEmpty() ? QStringLiteral("Failed to launch ffmpeg") : reason);
        return false;
    }

    if (timeout > 0) {
        const QDeadlineTimer deadline(qint64(timeout * 1000));
        while (!task.waitForFinished(50)) {
            if (task.state() == QProcess::NotRunning)
                break;
            if (!deadline.hasExpired())
                continue;
            qCInfo(lcGifConverter).noquote() << "Error: terminating ffmpeg task, timeout was reached.";
            task.terminate();
            bool stopped = false;
            for (int i = 0; i < 10 && !stopped; ++i)
                stopped = task.waitForFinished(100) || task.state() == QProcess::NotRunning;
            if (!stopped) {
                ::kill(pid_t(task.processId()), SIGINT);
                if (!task.waitForFinished(kKillGraceMs) && task.state() != QProcess::NotRunning)
                    task.kill();
            }
            break;
        }
    }
    task.waitForFinished(-1);

    const QByteArray captured = task.readAllStandardError();
    const QString text = captured.isEmpty() ? QString(QLatin1String("")) : QString::fromUtf8(captured);
    if (standardError)
        *standardError = text;
    const int status = task.exitStatus() == QProcess::NormalExit ? task.exitCode() : 255;
    if (status == 0)
        return true;
    qCInfo(lcGifConverter).noquote()
        << QStringLiteral("ffmpeg failed with status %1. stderr: %2").arg(status).arg(text);
    setError(error, status, QStringLiteral("ffmpeg failed"),
        { { QStringLiteral("args"), args }, { QStringLiteral("stderr"), text } });
    return false;
}

void TLGIFConverter::executeFFMPEGTaskWithArgs(const QStringList &args)
{
    const QString path = executablePathNamed(QStringLiteral("ffmpeg"));
    QProcess task;
    if (!launch(task, path, args, QProcess::ForwardedChannels))
        return;
    const QDeadlineTimer deadline(60 * 1000);
    while (!task.waitForFinished(1000) && task.state() != QProcess::NotRunning) {
        if (deadline.hasExpired()) {
            qCInfo(lcGifConverter).noquote() << "Error: terminating task, timeout was reached.";
            task.terminate();
        }
    }
}
