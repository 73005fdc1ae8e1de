// Records a region of the display with the recording session, as the tray
// application does, for bench/record/run:
//
//   tessly-bench-record SECONDS X,Y,W,H
//   tessly-bench-record clock X,Y
//
// The SECONDS count from the first frame (when ffmpeg has made the movie),
// and the recording then ends the way the application ends it ("q"), as
// bench/record/run does with the bare ffmpeg. No sound is recorded, as
// there; clicks are watched for, as they are by default (nobody clicks, so
// no ring is drawn, and the watching is what it costs). The options are set
// in a settings file of the run's own, so the user's stay as they are.
//
// Prints "cpu SECONDS" (user and system time of this process from the start
// of the session on, and of ffmpeg) and "movie PATH".
//
// "clock" shows, with its top-left corner at X,Y, a strip of kClockBits
// squares of kClockSquare pixels that spells in binary (white for 1, the
// lowest bit on the left) the milliseconds since it started, repainted every
// kClockPeriodMs ms until it is killed. Each frame of a movie of the screen
// then says when it was grabbed: a frame that says the same as the one before
// is one the recorder had no new picture for.
#include "tlcapturesession.h"
#include "tlcapturesessionoptions.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QPainter>
#include <QScreen>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>
#include <QWidget>
#include <sys/resource.h>

namespace {

constexpr int kClockBits = 20; // 17 minutes
constexpr int kClockSquare = 48;
constexpr int kClockPeriodMs = 4;

class ClockStrip : public QWidget
{
public:
    ClockStrip()
        : QWidget(nullptr,
            Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint
                | Qt::WindowDoesNotAcceptFocus)
    {
        setAttribute(Qt::WA_OpaquePaintEvent);
        resize(kClockBits * kClockSquare, kClockSquare);
        m_since.start();
        m_tick.setTimerType(Qt::PreciseTimer);
        m_tick.setInterval(kClockPeriodMs);
        connect(&m_tick, &QTimer::timeout, this, [this] { repaint(); });
        m_tick.start();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        const qint64 ms = m_since.elapsed();
        for (int bit = 0; bit < kClockBits; ++bit)
            painter.fillRect(
                bit * kClockSquare, 0, kClockSquare, kClockSquare, (ms >> bit) & 1 ? Qt::white : Qt::black);
    }

private:
    QElapsedTimer m_since;
    QTimer m_tick;
};

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
    if (args.value(1) == QLatin1String("clock")) {
        const QStringList at = args.value(2).split(QLatin1Char(','));
        ClockStrip clock;
        clock.move(at.value(0).toInt(), at.value(1).toInt());
        clock.show();
        return app.exec();
    }
    const QStringList r = args.value(2).split(QLatin1Char(','));
    if (args.size() != 3 || r.size() != 4) {
        QTextStream(stderr) << "usage: tessly-bench-record SECONDS X,Y,W,H | clock X,Y\n";
        return 2;
    }
    QScreen *screen = QGuiApplication::primaryScreen();
    const int h = screen->geometry().height();
    TLCaptureSessionOptions options;
    options.setShowMouseClicks(true);
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
        // Precise: a coarse timer (Qt's choice for long ones) may fire half a
        // second late, a longer movie than the bare ffmpeg's.
        QTimer::singleShot(int(args[1].toDouble() * 1000), Qt::PreciseTimer, &loop, [&] {
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
