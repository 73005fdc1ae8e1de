#include "tlwindowinspector.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QScreen>

Q_LOGGING_CATEGORY(lcWindowInspector, "tessly.capture.tlwindowinspector")

TLWindowInspector::TLWindowInspector()
    : m_list(WindowList::create())
{
}

TLWindowInspector::TLWindowInspector(std::unique_ptr<WindowList> list)
    : m_list(std::move(list))
{
}

TLWindowInspector::~TLWindowInspector() = default;

QList<CapturePanelModel::WindowFrame> TLWindowInspector::getWindowRects() const
{
    if (!m_list)
        return {};
    return windowRects(m_list->windows(), QCoreApplication::applicationPid(), &TLWindowInspector::toLogical);
}

QList<CapturePanelModel::WindowFrame> TLWindowInspector::windowRects(
    const QList<WindowInfo> &windows, qint64 ownPid, const std::function<QRectF(const QRect &native)> &toLogical)
{
    qCInfo(lcWindowInspector).noquote() << QString::asprintf(
        "Snap: CGWindowList returned %ld raw windows, myPID=%d", long(windows.size()), int(ownPid));
    QList<CapturePanelModel::WindowFrame> result;
    for (const WindowInfo &w : windows) {
        // Docks, panels and the desktop sit in layers of their own.
        if (w.type == WindowInfo::Type::Dock || w.type == WindowInfo::Type::Desktop)
            continue;
        if (ownPid != 0 && w.pid == ownPid)
            continue;
        const QRectF frame = toLogical(w.frame);
        if (frame.width() < 50 || frame.height() < 50)
            continue;
        const QString owner = w.title.isEmpty() ? QStringLiteral("(unknown)") : w.title;
        qCInfo(lcWindowInspector).noquote() << QString::asprintf("Snap:   + '%s' level=%d rect=(%.0f,%.0f %.0fx%.0f)",
            qPrintable(owner), 0, frame.x(), frame.y(), frame.width(), frame.height());
        result << CapturePanelModel::WindowFrame { owner, frame };
    }
    return result;
}

QRectF TLWindowInspector::toLogical(const QRect &native)
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    for (QScreen *screen : screens) {
        const QRect g = screen->geometry();
        const qreal ratio = screen->devicePixelRatio();
        const QRect nativeScreen(g.topLeft(), g.size() * ratio);
        if (nativeScreen.contains(native.center())) {
            return QRectF(g.x() + (native.x() - g.x()) / ratio, g.y() + (native.y() - g.y()) / ratio,
                native.width() / ratio, native.height() / ratio);
        }
    }
    return QRectF(native);
}
