#include "desktopiconhider.h"
#include "overlaywindowcontroller.h"

#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QLabel>
#include <QLoggingCategory>
#include <QPointer>
#include <QScreen>
#include <QWidget>
#include <QWindow>

Q_LOGGING_CATEGORY(lcDesktopIconHider, "tessly.capture.desktopiconhider")

namespace {

// Rectangles are logged the way the rest of the system writes them:
// {{x, y}, {width, height}}.
QString rectString(const QRect &r)
{
    return QStringLiteral("{{%1, %2}, {%3, %4}}").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}

// A screen in native pixels: Qt keeps its origin and scales its extent.
QRect nativeFrame(QScreen *screen)
{
    const QRect g = screen->geometry();
    return QRect(g.topLeft(), g.size() * screen->devicePixelRatio());
}

// Native rectangle of this screen to logical.
QRect toLogical(const QRect &native, QScreen *screen)
{
    const QPoint origin = screen->geometry().topLeft();
    const qreal r = screen->devicePixelRatio();
    return QRect(origin + (native.topLeft() - origin) / r, native.size() / r);
}

} // namespace

DesktopIconHider::DesktopIconHider(QObject *parent)
    : QObject(parent)
    , m_shell(DesktopShell::create())
    , m_windowList(WindowList::create())
{
    connect(m_shell.get(), &DesktopShell::workspaceChanged, this, &DesktopIconHider::reapplyIfVisible);
    connect(qApp, &QGuiApplication::screenAdded, this, [this](QScreen *screen) {
        watchScreen(screen);
        reapplyIfVisible();
    });
    connect(qApp, &QGuiApplication::screenRemoved, this, &DesktopIconHider::reapplyIfVisible);
    for (QScreen *screen : QGuiApplication::screens())
        watchScreen(screen);
}

DesktopIconHider::~DesktopIconHider()
{
    qDeleteAll(m_overlayControllers);
}

void DesktopIconHider::watchScreen(QScreen *screen)
{
    connect(screen, &QScreen::geometryChanged, this, &DesktopIconHider::reapplyIfVisible);
}

void DesktopIconHider::hideDesktopIcons()
{
    if (!m_overlayControllers.isEmpty())
        return;
    for (QScreen *screen : QGuiApplication::screens()) {
        const quint32 id = findDesktopIconWindowIDOnScreen(screen);
        if (id == 0)
            continue;
        qCInfo(lcDesktopIconHider).noquote()
            << QStringLiteral("Capturing Screen %1").arg(rectString(screen->geometry()));
        const QRect bounds = boundsForWindowID(id);
        // A desktop window often spans every screen; this screen's cover
        // holds the part of it on this screen.
        const QRect part = bounds & nativeFrame(screen);
        if (part.isEmpty())
            continue;
        const QImage picture = m_shell->wallpaper(part);
        if (picture.isNull()) {
            // No wallpaper published: the desktop window's own background,
            // which the display server paints into a cover inside it.
            const quint32 cover = m_shell->coverWithOwnBackground(id, part);
            if (cover != 0) {
                qCInfo(lcDesktopIconHider) << "no wallpaper published; covering with the desktop window's background";
                m_overlayControllers << new OverlayWindowController(m_shell.get(), cover);
            }
            continue;
        }

        auto *controller = new OverlayWindowController;
        QWidget *window = controller->window();
        window->setScreen(screen);
        window->setGeometry(toLogical(part, screen));
        controller->setPicture(picture, screen->devicePixelRatio());
        window->winId();
        m_shell->stackAbove(window->windowHandle(), id); // before it maps, so it never flashes on top
        window->show();
        m_shell->stackAbove(window->windowHandle(), id);
        m_overlayControllers << controller;
    }
    if (m_overlayControllers.isEmpty())
        return;

    // Other processes (the capture tool) look at the screen right after this
    // returns: the covers must be painted by then.
    // The wait runs the event loop, and an unhide or a screen change in it
    // deletes the covers: hold the windows weakly, not the list.
    QList<QPointer<QWidget>> windows;
    for (OverlayWindowController *controller : std::as_const(m_overlayControllers)) {
        if (controller->window()) // otherwise painted by the display server as it maps
            windows << controller->window();
    }
    QDeadlineTimer deadline(1000);
    for (const QPointer<QWidget> &window : std::as_const(windows)) {
        while (window && window->windowHandle() && !window->windowHandle()->isExposed() && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (window)
            window->repaint();
    }
    m_shell->sync();
}

void DesktopIconHider::unhideDesktopIcons()
{
    for (OverlayWindowController *controller : std::as_const(m_overlayControllers)) {
        if (controller->window())
            controller->window()->hide();
    }
    qDeleteAll(m_overlayControllers);
    m_overlayControllers.clear();
    m_shell->sync();
}

void DesktopIconHider::reapplyIfVisible()
{
    if (m_overlayControllers.isEmpty())
        return;
    unhideDesktopIcons();
    hideDesktopIcons();
}

quint32 DesktopIconHider::findDesktopIconWindowIDOnScreen(QScreen *screen)
{
    const QRect frame = nativeFrame(screen);
    for (const WindowInfo &window : m_windowList->windows()) {
        if (window.type == WindowInfo::Type::Desktop && window.frame.intersects(frame)) {
            qCInfo(lcDesktopIconHider).noquote() << QStringLiteral("Window Frame %1").arg(rectString(window.frame));
            return window.id;
        }
    }
    return 0;
}

QRect DesktopIconHider::boundsForWindowID(quint32 windowId)
{
    const std::optional<WindowInfo> window = m_windowList->window(windowId);
    return window ? window->frame : QRect();
}
