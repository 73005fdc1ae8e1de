// Records a region of the display with the recording session, as the tray
// application does, for bench/record/run:
//
//   tessly-bench-record SECONDS X,Y,W,H
//
// Prints "cpu SECONDS" (user and system time of this process and ffmpeg)
// and "movie PATH".
#include "tlcapturesession.h"
#include "tlcapturesessionoptions.h"

#include <QApplication>
#include <QEventLoop>
#include <QScreen>
#include <QTextStream>
#include <QTimer>
#include <sys/resource.h>

namespace {

double seconds(const timeval &t)
{
    return double(t.tv_sec) + double(t.tv_usec) / 1e6;
}

} // namespace

int main(int argc, char *argv[])
{
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

    TLCaptureSession session;
    Error error;
    if (!session.beginRecordingWithOptions(options, &error)) {
        QTextStream(stderr) << error.localizedDescription << "\n";
        return 1;
    }
    QEventLoop loop;
    QUrl movie;
    QTimer::singleShot(int(args[1].toDouble() * 1000), &loop, [&] {
        session.endRecordingComplete([&](const Error &e, const QUrl &url) {
            error = e;
            movie = url;
            loop.quit();
        });
    });
    loop.exec();
    if (error) {
        QTextStream(stderr) << error.localizedDescription << "\n";
        return 1;
    }
    rusage self {}, children {};
    getrusage(RUSAGE_SELF, &self);
    getrusage(RUSAGE_CHILDREN, &children);
    QTextStream(stdout) << "cpu "
                        << seconds(self.ru_utime) + seconds(self.ru_stime) + seconds(children.ru_utime)
            + seconds(children.ru_stime)
                        << "\nmovie " << movie.toLocalFile() << "\n";
    return 0;
}
