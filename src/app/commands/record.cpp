#include "captureoptions.h"
#include "cloudscreenrecorder.h"
#include "commands.h"
#include "terminationwatcher.h"
#include "tlcapturesession.h"
#include "tlcapturesessionoptions.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <utility>

// `tessly record [--gif] [--region x,y,w,h] [--duration S] [--no-audio]`
// records the screen without the framing panel, so recordings can be
// scripted: the region in global coordinates with the origin at the top left
// (the primary screen when none is given), for S seconds or until Ctrl-C,
// SIGTERM or the screen going away. The movie is optimised (or made a GIF)
// as the tray's recordings are, uploaded, and its share link printed. Sound
// comes from the chosen microphone, else the sound server's default input; a
// GIF has none.
// Exit codes: 0 uploaded, 1 the recording or the upload failed, 2 usage.

namespace Commands {

namespace {

struct RecordArguments
{
    bool gif = false;
    bool audio = true;
    std::optional<QRect> region;
    double duration = 0; // 0: until interrupted
};

// The screen holding most of the region, and the region as that screen's
// crop rectangle (screen-local points, origin at the bottom left).
QScreen *cropRectFor(const QRect &region, QRectF *cropRect)
{
    QScreen *best = nullptr;
    qint64 bestArea = 0;
    for (QScreen *screen : QGuiApplication::screens()) {
        const QRect overlap = screen->geometry() & region;
        const qint64 area = qint64(overlap.width()) * overlap.height();
        if (area > bestArea) {
            best = screen;
            bestArea = area;
        }
    }
    if (!best)
        return nullptr;
    const QRect g = best->geometry();
    *cropRect = QRectF(
        region.x() - g.x(), g.height() - (region.y() - g.y()) - region.height(), region.width(), region.height());
    return best;
}

} // namespace

int record(const QStringList &args)
{
    RecordArguments a;
    for (int i = 0; i < args.size(); ++i) {
        const QString &arg = args[i];
        if (arg == QLatin1String("--gif")) {
            a.gif = true;
        } else if (arg == QLatin1String("--no-audio")) {
            a.audio = false;
        } else if (arg == QLatin1String("--region") || arg == QLatin1String("--duration")) {
            if (i + 1 >= args.size())
                return usageError("record", QStringLiteral("%1 needs a value").arg(arg));
            const QString value = args[++i];
            if (arg == QLatin1String("--region")) {
                a.region = CaptureOptions::parseRect(value);
                if (!a.region)
                    return usageError("record",
                        QStringLiteral("--region takes x,y,width,height (sizes above 0), not '%1'").arg(value));
                if (a.region->width() < 2 || a.region->height() < 2)
                    return usageError(
                        "record", QStringLiteral("--region %1 is too small: at least 2x2 is needed").arg(value));
            } else {
                bool ok = false;
                a.duration = value.toDouble(&ok);
                if (!ok || a.duration <= 0)
                    return usageError(
                        "record", QStringLiteral("--duration takes seconds above 0, not '%1'").arg(value));
            }
        } else {
            return usageError("record", QStringLiteral("unknown argument '%1'").arg(arg));
        }
    }

    TLCaptureSessionOptions options;
    QRectF crop;
    QScreen *screen = QGuiApplication::primaryScreen();
    if (a.region) {
        screen = cropRectFor(*a.region, &crop);
        if (!screen) {
            const QRect &r = *a.region;
            return usageError("record",
                QStringLiteral("--region %1,%2,%3,%4 lies outside every screen")
                    .arg(r.x())
                    .arg(r.y())
                    .arg(r.width())
                    .arg(r.height()));
        }
    } else if (screen) {
        crop = QRectF(QPointF(0, 0), screen->geometry().size());
    }
    options.setTargetScreen(screen);
    // Kept now: the screen may go away while it is recorded.
    const qreal ratio = screen ? screen->devicePixelRatio() : 1.0;
    options.setCaptureRect(crop);
    options.setFormat(a.gif ? 1 : 0);
    options.setDisableAudioRecording(a.gif || !a.audio);
    if (!options.disableAudioRecording()) {
        const QString id = options.defaultMicID();
        options.setMic(CaptureDevice { id, id });
    }

    TLCaptureSession session;
    Error error;
    if (!session.beginRecordingWithOptions(options, &error)) {
        err() << "tessly record: " << error.localizedDescription << "\n";
        return 1;
    }
    const QRect native = session.nativeRect();
    err() << "tessly record: recording " << native.width() << "x" << native.height() << " pixels at " << native.x()
          << "," << native.y()
          << (a.duration > 0 ? QStringLiteral(" for %1 s").arg(a.duration) : QStringLiteral(" until Ctrl-C")) << "\n";
    err().flush();

    QEventLoop recording;
    QUrl movie;
    // Ctrl-C, SIGTERM, the duration and a failure each end the recording, but
    // only the first counts: a second Ctrl-C, or the duration running out
    // after one, must not end the movie's processing half-way.
    bool stopping = false;
    const auto stop = [&] {
        if (std::exchange(stopping, true))
            return;
        session.endRecordingComplete([&](const Error &e, const QUrl &url) {
            error = e;
            movie = url;
            recording.quit();
        });
    };
    TerminationWatcher termination;
    QObject::connect(&termination, &TerminationWatcher::terminationRequested, &recording, stop);
    QObject::connect(&session, &TLCaptureSession::recordingFailed, &recording, stop);
    const auto say = [](const QString &message) {
        err() << "tessly record: " << message << "\n";
        err().flush();
    };
    QObject::connect(&session, &TLCaptureSession::soundLost, &recording, say);
    // The screen going away ends the recording as Ctrl-C does: what was
    // recorded until then is uploaded.
    QObject::connect(&session, &TLCaptureSession::screenLost, &recording, [&](const QString &message) {
        say(message);
        stop();
    });
    // The duration counts from the first frame.
    if (a.duration > 0) {
        QObject::connect(&session, &TLCaptureSession::recordingStarted, &recording,
            [&] { QTimer::singleShot(int(a.duration * 1000), Qt::PreciseTimer, &recording, stop); });
    }
    recording.exec();
    if (error) {
        err() << "tessly record: " << error.localizedDescription << "\n";
        return 1;
    }

    err() << "tessly record: " << (a.gif ? "Converting to GIF..." : "Optimizing video...") << "\n";
    err().flush();
    QEventLoop processing;
    QUrl result;
    CloudScreenRecorder::processRecording(movie, options.format(), ratio, [&](const QUrl &file, const Error &e) {
        result = file;
        error = e;
        processing.quit();
    });
    processing.exec();
    if (a.gif && error) {
        err() << "tessly record: the GIF could not be made: " << error.localizedDescription << "\n";
        return 1;
    }
    if (error)
        err() << "tessly record: the movie is uploaded as recorded: " << error.localizedDescription << "\n";
    return uploadAndPrintLink(result.toLocalFile());
}

} // namespace Commands
