#include "waylandcapture.h"
#include "capturesound.h"
#include "imagefile.h"
#include "portalscreenshot.h"
#include "terminationwatcher.h"

#include <QLoggingCategory>
#include <QTextStream>
#include <QTimer>

Q_LOGGING_CATEGORY(lcWaylandCapture, "tessly.capture.waylandcapture")

bool WaylandCapture::isWaylandSession()
{
    const QString type = qEnvironmentVariable("XDG_SESSION_TYPE");
    if (type == QLatin1String("wayland"))
        return true;
    if (type == QLatin1String("x11"))
        return false;
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

WaylandCapture::WaylandCapture(CaptureOptions options, QObject *parent)
    : QObject(parent)
    , m_options(std::move(options))
    , m_portal(new PortalScreenshot(QDBusConnection::sessionBus(), this))
    , m_termination(new TerminationWatcher(this))
{
    connect(m_portal, &PortalScreenshot::taken, this, &WaylandCapture::taken);
    connect(m_portal, &PortalScreenshot::cancelled, this, [this] { done(1); });
    connect(m_portal, &PortalScreenshot::failed, this, [this](const QString &message) { fail(message); });
    connect(m_termination, &TerminationWatcher::terminationRequested, this, [this] {
        m_portal->close();
        done(1);
    });
}

void WaylandCapture::start()
{
    if (m_options.record) {
        fail(QStringLiteral("recording the screen on Wayland comes in a later version; on an X11 session it works "
                            "today"),
            2);
        return;
    }
    if (m_options.rect || m_options.windowId) {
        fail(QStringLiteral("-R and -l need an X11 session; on Wayland the desktop does the selecting: use -i or -w"),
            2);
        return;
    }
    m_portal->take(true);
}

void WaylandCapture::taken(const QUrl &uri)
{
    if (!uri.isLocalFile()) {
        fail(QStringLiteral("the desktop portal's picture is not a local file: %1").arg(uri.toString()));
        return;
    }
    // The file is the portal's (often in the user's Pictures folder): it is
    // copied, never moved or removed.
    qCInfo(lcWaylandCapture).noquote() << "the portal's picture:" << uri.toLocalFile();
    QString error;
    if (!ImageFile::copyAsPng(uri.toLocalFile(), m_options.path, &error)) {
        fail(QStringLiteral("cannot write %1: %2").arg(m_options.path, error));
        return;
    }
    if (!m_options.silent)
        CaptureSound::play();
    done(0);
}

void WaylandCapture::fail(const QString &message, int exitCode)
{
    QTextStream(stderr) << "tessly-screencapture: " << message << "\n";
    done(exitCode);
}

void WaylandCapture::done(int exitCode)
{
    if (m_done)
        return;
    m_done = true;
    QTimer::singleShot(0, this, [this, exitCode] { Q_EMIT finished(exitCode); });
}
