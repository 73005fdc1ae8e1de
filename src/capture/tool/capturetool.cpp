#include "capturetool.h"
#include "capturesession.h"
#include "capturesound.h"
#include "clickmarker.h"
#include "desktopentry.h"
#include "imagefile.h"
#include "screenrecorder.h"
#include "terminationwatcher.h"

#include <cmath>
#include <QFileInfo>
#include <QGuiApplication>
#include <QTextStream>
#include <QTimer>

namespace {

void tell(const QString &message)
{
    QTextStream(stderr) << "tessly-screencapture: " << message << "\n";
}

} // namespace

CaptureTool::CaptureTool(CaptureOptions options, QObject *parent)
    : QObject(parent)
    , m_options(std::move(options))
    , m_termination(new TerminationWatcher(this))
{
    connect(m_termination, &TerminationWatcher::terminationRequested, this, &CaptureTool::terminate);
}

CaptureTool::~CaptureTool() = default;

void CaptureTool::start()
{
    if (QGuiApplication::platformName() != QLatin1String("xcb")) {
        fail(QStringLiteral("capturing needs an X11 session; the %1 platform is not supported yet")
                 .arg(QGuiApplication::platformName()));
        return;
    }
    m_windowList = WindowList::create();
    m_desktop = FrozenDesktop::grab();
    if (m_desktop.isEmpty()) {
        fail(QStringLiteral("no screen to capture"));
        return;
    }

    if (m_options.rect) {
        const QRectF rect(*m_options.rect);
        if (!QRectF(m_desktop.geometry()).intersects(rect)) {
            fail(QStringLiteral("-R %1,%2,%3,%4 lies outside every screen")
                     .arg(rect.x())
                     .arg(rect.y())
                     .arg(rect.width())
                     .arg(rect.height()),
                2);
            return;
        }
        takeRegion(rect);
    } else if (m_options.windowId) {
        const std::optional<WindowInfo> window = m_windowList->window(*m_options.windowId);
        if (!window) {
            fail(QStringLiteral("there is no window 0x%1").arg(*m_options.windowId, 0, 16), 2);
            return;
        }
        takeWindow(*window);
    } else {
        startInteractive();
    }
}

void CaptureTool::startInteractive()
{
    m_session = std::make_unique<CaptureSession>(m_desktop, m_windowList->windows(), m_options.windowMode);
    connect(m_session.get(), &CaptureSession::regionSelected, this, &CaptureTool::takeRegion);
    connect(m_session.get(), &CaptureSession::windowSelected, this, &CaptureTool::takeWindow);
    connect(m_session.get(), &CaptureSession::cancelled, this, [this] { done(1); });
    m_session->start();
}

void CaptureTool::takeRegion(const QRectF &logical)
{
    if (m_options.record) {
        const QPointF a = m_desktop.toNative(logical.topLeft());
        const QPointF b = m_desktop.toNative(logical.bottomRight() - QPointF(0.001, 0.001));
        record(QRect(QPoint(int(std::lround(a.x())), int(std::lround(a.y()))),
            QPoint(int(std::ceil(b.x())) - 1, int(std::ceil(b.y())) - 1)));
        return;
    }
    save(m_desktop.region(logical));
}

void CaptureTool::takeWindow(const WindowInfo &window)
{
    QRect native = window.frame;
    QRect desktopNative;
    for (const FrozenDesktop::Screen &s : m_desktop.screens())
        desktopNative |= s.nativeGeometry();
    native &= desktopNative;
    if (native.isEmpty()) {
        fail(QStringLiteral("window 0x%1 is not on any screen").arg(window.id, 0, 16), m_options.windowId ? 2 : 1);
        return;
    }
    if (m_options.record) {
        record(native);
        return;
    }
    save(m_desktop.nativeRegion(native));
}

void CaptureTool::save(const QImage &image)
{
    QString error;
    if (!ImageFile::writePng(image, m_options.path, &error)) {
        fail(QStringLiteral("cannot write %1: %2").arg(m_options.path, error));
        return;
    }
    if (!m_options.silent)
        CaptureSound::play();
    done(0);
}

void CaptureTool::record(const QRect &native)
{
    m_recorder = new ScreenRecorder(this);
    connect(m_recorder, &ScreenRecorder::finished, this, &CaptureTool::recordingEnded);
    ScreenRecorder::Settings settings;
    settings.native = native;
    settings.audio = m_options.recordAudio && ScreenRecorder::hasSoundServer();
    if (m_options.recordAudio && !settings.audio)
        tell(QStringLiteral("no sound server answers; recording without sound"));
    settings.display = qEnvironmentVariable("DISPLAY");
    settings.path = m_options.path;
    if (m_options.showClicks) {
        m_clickMarker = ClickMarker::create();
        if (!m_clickMarker)
            tell(QStringLiteral("clicks cannot be shown on this display; recording without them"));
    }
    QString error;
    if (!m_recorder->start(settings, &error)) {
        m_clickMarker.reset();
        fail(QStringLiteral("cannot record: %1").arg(error));
    }
}

void CaptureTool::recordingEnded(bool ok, const QString &error)
{
    m_clickMarker.reset();
    if (!ok || !QFileInfo::exists(m_options.path)) {
        fail(QStringLiteral("the recording failed: %1").arg(error.isEmpty() ? QStringLiteral("no movie") : error));
        return;
    }
    if (!m_options.openWith.isEmpty()) {
        QString launchError;
        if (!DesktopEntry::launch(m_options.openWith, m_options.path, &launchError))
            tell(QStringLiteral("the movie is at %1 but could not be handed on: %2").arg(m_options.path, launchError));
    }
    done(0);
}

void CaptureTool::terminate()
{
    if (m_recorder) {
        m_recorder->stop(); // recordingEnded() follows
        return;
    }
    if (m_session)
        m_session->key(Qt::Key_Escape);
    else
        done(1);
}

void CaptureTool::fail(const QString &message, int exitCode)
{
    tell(message);
    done(exitCode);
}

void CaptureTool::done(int exitCode)
{
    if (m_done)
        return;
    m_done = true;
    QTimer::singleShot(0, this, [this, exitCode] { Q_EMIT finished(exitCode); });
}
