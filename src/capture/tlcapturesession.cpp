#include "tlcapturesession.h"
#include "capturenaming.h"
#include "clickmarker.h"
#include "dispatch.h"
#include "screenrecorder.h"
#include "tlcapturesessionoptions.h"
#include "tlgifconverter.h"
#include "waylandcapture.h"

#include <cmath>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QScreen>
#include <QTimer>

Q_LOGGING_CATEGORY(lcCaptureSession, "tessly.capture.tlcapturesession")

namespace {

// What the user is told when x11grab can no longer grab the area.
const QString kAreaLeftTheScreen = QStringLiteral(
    "The recorded area is no longer on the screen (it changed size or moved), so the recording stopped; what was "
    "recorded until then is kept");

Error sessionError(const QString &text)
{
    return Error(QStringLiteral("TLCaptureSession"), -1, text);
}

// Whether ffmpeg finalised the movie: a QuickTime file plays only once its
// index (the "moov" box) has been written after the frames, which a killed
// ffmpeg or a full disk never gets to. The top-level boxes are walked; a box
// that runs past the end of the file means the writing was cut short.
bool isFinalisedMovie(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const qint64 end = file.size();
    qint64 at = 0;
    bool index = false, frames = false;
    while (at + 8 <= end) {
        file.seek(at);
        const QByteArray header = file.read(16);
        if (header.size() < 8)
            return false;
        const auto be = [&header](int from, int bytes) {
            quint64 v = 0;
            for (int i = 0; i < bytes; ++i)
                v = (v << 8) | quint8(header[from + i]);
            return v;
        };
        quint64 size = be(0, 4);
        int headerSize = 8;
        if (size == 1) { // a 64-bit size follows the type
            if (header.size() < 16)
                return false;
            size = be(8, 8);
            headerSize = 16;
        }
        if (size == 0 || size < quint64(headerSize) || at + qint64(size) > end)
            return false; // open-ended or cut short
        const QByteArray type = header.mid(4, 4);
        index = index || type == "moov";
        frames = frames || (type == "mdat" && size > quint64(headerSize));
        at += qint64(size);
    }
    return index && frames && at == end;
}

} // namespace

TLCaptureSession::TLCaptureSession(QObject *parent)
    : QObject(parent)
{
}

TLCaptureSession::~TLCaptureSession() = default; // the recorder finalises a running movie

QRect TLCaptureSession::nativeRect(const QRectF &cropRect, const QRect &screenGeometry, qreal ratio)
{
    // Bottom-left points to top-left points, then to device pixels. Qt puts a
    // screen's native origin at its logical origin and scales the extent.
    // Edges are rounded, not origin and size apart, so an area that ends at
    // the screen's edge ends there in pixels too.
    const QRectF rect = cropRect.normalized();
    const qreal top = screenGeometry.height() - rect.y() - rect.height();
    const QPoint origin = screenGeometry.topLeft();
    const auto px = [ratio](qreal points) { return int(std::lround(points * ratio)); };
    QRect native(QPoint(origin.x() + px(rect.x()), origin.y() + px(top)),
        QPoint(origin.x() + px(rect.x() + rect.width()) - 1, origin.y() + px(top + rect.height()) - 1));
    const QSize screenNative(px(screenGeometry.width()), px(screenGeometry.height()));
    native &= QRect(origin, screenNative);
    native.setWidth(native.width() & ~1);
    native.setHeight(native.height() & ~1);
    if (native.width() < 2 || native.height() < 2)
        return {};
    return native;
}

QString TLCaptureSession::unsupportedReason(const QString &platformName)
{
    // Wayland: the ScreenCast portal and PipeWire will be the source; until
    // then the user is told plainly. Run through XWayland (Qt's xcb platform
    // in a Wayland session), x11grab sees only the X clients' windows and
    // black elsewhere: that is Wayland too.
    if (platformName != QLatin1String("xcb") || WaylandCapture::isWaylandSession()) {
        return QStringLiteral("Recording the screen on Wayland comes in a later version; log in to an X11 "
                              "session (\"GNOME on Xorg\", \"Plasma (X11)\") to record");
    }
    return {};
}

bool TLCaptureSession::beginRecordingWithOptions(const TLCaptureSessionOptions &options, Error *error)
{
    const auto fail = [&](const QString &text) {
        qCWarning(lcCaptureSession).noquote() << text;
        if (error)
            *error = sessionError(text);
        return false;
    };
    if (const QString reason = unsupportedReason(); !reason.isEmpty())
        return fail(reason);
    QScreen *screen = options.targetScreen() ? options.targetScreen() : QGuiApplication::primaryScreen();
    if (!screen)
        return fail(QStringLiteral("There is no screen to record"));
    m_native = nativeRect(options.captureRect(), screen->geometry(), screen->devicePixelRatio());
    if (m_native.isEmpty()) {
        const QRectF r = options.captureRect();
        return fail(QStringLiteral("The area %1x%2 at %3,%4 has nothing to record on screen %5")
                        .arg(r.width())
                        .arg(r.height())
                        .arg(r.x())
                        .arg(r.y())
                        .arg(screen->name()));
    }

    ScreenRecorder::Settings settings;
    settings.native = m_native;
    settings.display = qEnvironmentVariable("DISPLAY");
    settings.ffmpeg = TLGIFConverter::executablePathNamed(QStringLiteral("ffmpeg"));
    if (options.mic() && !options.disableAudioRecording()) {
        if (ScreenRecorder::hasSoundServer()) {
            settings.audio = true;
            settings.audioSource = options.mic()->id;
        } else {
            qCWarning(lcCaptureSession) << "No sound server answers; recording without sound";
        }
    }

    // 7. A file left under the name is replaced.
    m_path = CaptureNaming::captureTemporaryFilePathVideo(QStringLiteral("Screen Capture"));
    if (QFile::exists(m_path) && !QFile::remove(m_path))
        qCWarning(lcCaptureSession).noquote() << QStringLiteral("Error deleting existing movie %1").arg(m_path);
    settings.path = m_path;

    if (options.showMouseClicks()) {
        m_clickMarker = ClickMarker::create();
        if (!m_clickMarker)
            qCWarning(lcCaptureSession) << "Clicks cannot be shown on this display; recording without them";
    }
    m_recorder = new ScreenRecorder(this);
    connect(m_recorder, &ScreenRecorder::finished, this, &TLCaptureSession::recorderFinished);
    connect(m_recorder, &ScreenRecorder::soundLost, this, [this](const QString &why) {
        const QString message = QStringLiteral("The sound stopped (%1). The recording goes on without sound.").arg(why);
        qCInfo(lcCaptureSession).noquote() << message;
        Q_EMIT soundLost(message);
    });
    connect(m_recorder, &ScreenRecorder::screenLost, this, [this](const QString &why) {
        qCInfo(lcCaptureSession).noquote() << why;
        announceScreenLost(kAreaLeftTheScreen);
    });
    qCInfo(lcCaptureSession).noquote()
        << QStringLiteral("Recording to: %1").arg(QUrl::fromLocalFile(m_path).toString());
    QString message;
    if (!m_recorder->start(settings, &message)) {
        m_clickMarker.reset();
        delete m_recorder;
        m_recorder = nullptr;
        return fail(QStringLiteral("Cannot record the screen: %1").arg(message));
    }
    // ffmpeg records once every input is open (the sound server can take
    // a second or two); it creates the movie then.
    auto *started = new QTimer(this);
    started->setInterval(20);
    connect(started, &QTimer::timeout, this, [this, started] {
        if (!QFileInfo::exists(m_path) && m_recorder && m_recorder->isRunning())
            return;
        started->deleteLater();
        if (!m_recorder || !m_recorder->isRunning() || m_ended)
            return;
        Q_EMIT recordingStarted();
        if (m_recordingDidStart)
            m_recordingDidStart();
    });
    started->start();
    watchScreen(screen);
    return true;
}

void TLCaptureSession::watchScreen(QScreen *screen)
{
    // x11grab knows only the root window: a screen unplugged or turned off
    // leaves it grabbing the place where that screen was.
    const QString name = screen->name();
    connect(qApp, &QGuiApplication::screenRemoved, this, [this, screen, name](QScreen *gone) {
        if (gone != screen || !isRecording())
            return;
        announceScreenLost(
            QStringLiteral("The screen %1 went away, so the recording stopped; what was recorded until then is kept")
                .arg(name));
    });
}

void TLCaptureSession::announceScreenLost(const QString &message)
{
    if (std::exchange(m_screenLost, true))
        return;
    qCWarning(lcCaptureSession).noquote() << message;
    // Not while Qt is still taking the screen down, nor from inside ffmpeg's end.
    QMetaObject::invokeMethod(
        this, [this, message] { Q_EMIT screenLost(message); }, Qt::QueuedConnection);
}

bool TLCaptureSession::isRecording() const
{
    return m_recorder && m_recorder->isRunning() && !m_ended;
}

qint64 TLCaptureSession::recorderProcessId() const
{
    return m_recorder && m_recorder->isRunning() ? m_recorder->processId() : 0;
}

void TLCaptureSession::endRecordingComplete(Complete complete)
{
    m_complete = std::move(complete);
    if (m_ended || !m_recorder || !m_recorder->isRunning()) {
        finish(m_failure ? m_failure : (m_recorder ? Error() : sessionError(QStringLiteral("Nothing was recorded"))));
        return;
    }
    m_recorder->stop(); // recorderFinished() follows
}

void TLCaptureSession::recorderFinished(bool ok, const QString &message)
{
    m_clickMarker.reset();
    const bool wanted = bool(m_complete);
    m_ended = true;
    Error error;
    if (!ok) {
        error = sessionError(QStringLiteral("The recording stopped: %1").arg(message));
    } else if (!QFileInfo(m_path).isFile() || QFileInfo(m_path).size() == 0) {
        error = sessionError(QStringLiteral("The recording stopped: no movie was written"));
    } else if (!isFinalisedMovie(m_path)) {
        // ffmpeg ends well even when the movie's index could not be written
        // (the disk is full): such a movie plays nowhere.
        const QString why = m_recorder->lastMessage();
        error = sessionError(QStringLiteral("The recording stopped: %1")
                                 .arg(why.isEmpty() ? QStringLiteral("the movie's end could not be written") : why));
    }
    if (error)
        keepOrRemoveMovie(&error);
    qCInfo(lcCaptureSession).noquote() << QStringLiteral("Did finish recording to %1 due to error %2")
                                              .arg(QUrl::fromLocalFile(m_path).toString(),
                                                  error ? error.toString() : QStringLiteral("(null)"));
    if (wanted) {
        finish(error);
        return;
    }
    if (!error) {
        // ffmpeg ended before anyone asked, well and with a movie that plays:
        // x11grab could no longer grab the area, as the X screen shrank or
        // moved away from under it. Ended as a removed screen is: the stop
        // keeps what was recorded.
        announceScreenLost(kAreaLeftTheScreen);
        return;
    }
    // ffmpeg failed before anyone asked: keep what it says for the stop.
    m_failure = error;
    Q_EMIT recordingFailed(m_failure);
}

void TLCaptureSession::keepOrRemoveMovie(Error *error) const
{
    // The user is told where the movie so far is only when it plays; a file
    // without its index is of no use to anyone and goes.
    if (isFinalisedMovie(m_path)) {
        error->localizedDescription += QStringLiteral(". What was recorded is in %1").arg(m_path);
        error->userInfo.insert(QStringLiteral("file"), m_path);
        return;
    }
    if (QFile::exists(m_path) && !QFile::remove(m_path))
        qCWarning(lcCaptureSession).noquote() << QStringLiteral("Error deleting broken movie %1").arg(m_path);
    error->localizedDescription += QStringLiteral(". Nothing was kept, as the movie could not be finished.");
}

void TLCaptureSession::finish(const Error &error)
{
    Complete complete = std::exchange(m_complete, {});
    if (complete)
        complete(error, QUrl::fromLocalFile(m_path));
}
