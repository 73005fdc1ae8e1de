#pragma once

#include <memory>
#include <QImage>
#include <QObject>
#include <QRect>
#include <QString>
#include <QWindow>

// What the desktop-icon hider needs from the desktop beyond Qt: the wallpaper
// behind the icons, a cover window stacked right above the desktop window (or,
// with no wallpaper published, one inside it), and word of workspace switches.
//
// create() picks the backend for the build (X11: the root window's
// _XROOTPMAP_ID pixmap and EWMH); TESSLY_PLATFORM_BACKEND=null, or no
// reachable display, gives the null backend, which has no wallpaper, so
// nothing gets covered.
class DesktopShell : public QObject
{
    Q_OBJECT
public:
    static std::unique_ptr<DesktopShell> create();
    static std::unique_ptr<DesktopShell> create(const QString &backend);

    virtual QString backendName() const = 0;

    // The wallpaper for a rectangle in native pixels of the root window, as
    // the desktop shows it under its icons; a null image when the desktop
    // publishes none.
    virtual QImage wallpaper(const QRect &nativeRect) = 0;

    // Stacks a top-level window that bypasses the window manager directly
    // above another window (a client id; its frame, if it has one), so it
    // is below every window above that one.
    virtual void stackAbove(QWindow *window, quint32 windowId) = 0;

    // Covers a rectangle (native pixels of the root window) of another
    // client's window with a child window that shows that window's own
    // background, which the display server paints: what the client drew
    // there (the icons) is hidden, the window's other children and every
    // window above it are not, and clicks go through to the window. Returns
    // the cover's id, 0 when the window is gone or the backend cannot. The
    // cover shows nothing useful when the window has no background of its own.
    virtual quint32 coverWithOwnBackground(quint32 windowId, const QRect &nativeRect) = 0;

    // Removes a cover made by coverWithOwnBackground(); the window below
    // repaints what it hid.
    virtual void removeCover(quint32 cover) = 0;

    // Returns once the display server has handled every request sent so far,
    // so windows just shown are on screen for other processes.
    virtual void sync() = 0;

Q_SIGNALS:
    // The user switched to another workspace.
    void workspaceChanged();
};
