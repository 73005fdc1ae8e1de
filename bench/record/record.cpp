// Records a region of the display with the recording session, as the tray
// application does, for bench/record/run:
//
//   tessly-bench-record SECONDS X,Y,W,H
//
// The SECONDS count from the first frame (when ffmpeg has made the movie),
// and the recording then ends the way the application ends it ("q"), as
// bench/record/run does with the bare ffmpeg. Clicks are not shown and no
// sound is recorded, as there. The options are set in a settings file of
// the run's own, so the user's stay as they are.
//
// Prints "cpu SECONDS" (user and system time of this process from the start
// of the session on, and of ffmpeg) and "movie PATH".
#include "tlcapturesession.h"
#include "tlcapturesessionoptions.h"

#include <QApplication>
#include <QEventLoop>
#include <QScreen>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>
#include <sys/resource.h>

namespace {

double cpuSeconds(int who)
{
    rusage usage {};
    getrusage(who, &usage);
    const auto seconds = [](const timeval &t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

} // namespace

int main(int argc, char *argv[])
{
    QTemporaryDir profile;
    if (!profile.isValid())
        return 1;
    qputenv("XDG_CONFIG_HOME", profile.path().toLocal8Bit());
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    const QStringList r = args.value(2).split(QLatin1Char(','));
    if (args.size() != 3 || r.size() != 4) {
        QTextStream(stderr) << "usage: tessly-bench-record SECONDS X,Y,W,H\n";
        return 2;
    }
    QScreen *screen = QGuiApplication::primaryScreen();
    const int h = screen->geometry().height();
    TLCaptureSessionOptions options;
    options.setShowMouseClicks(false);
    options.setDisableAudioRecording(true);
    options.setTargetScreen(screen);
    options.setCaptureRect(QRectF(r[0].toInt(), h - r[1].toInt() - r[3].toInt(), r[2].toInt(), r[3].toInt()));

    const double before = cpuSeconds(RUSAGE_SELF);
    TLCaptureSession session;
    Error error;
    if (!session.beginRecordingWithOptions(options, &error)) {
        QTextStream(stderr) << error.localizedDescription << "\n";
        return 1;
    }
    QEventLoop loop;
    QUrl movie;
    QObject::connect(&session, &TLCaptureSession::recordingStarted, &loop, [&] {
        QTimer::singleShot(int(args[1].toDouble() * 1000), &loop, [&] {
            session.endRecordingComplete([&](const Error &e, const QUrl &url) {
                error = e;
                movie = url;
                loop.quit();
            });
        });
    });
    QObject::connect(&session, &TLCaptureSession::recordingFailed, &loop, [&](const Error &e) {
        error = e;
        loop.quit();
    });
    loop.exec();
    if (error) {
        QTextStream(stderr) << error.localizedDescription << "\n";
        return 1;
    }
    QTextStream(stdout) << "cpu " << cpuSeconds(RUSAGE_SELF) - before + cpuSeconds(RUSAGE_CHILDREN) << "\nmovie "
                        << movie.toLocalFile() << "\n";
    return 0;
}
