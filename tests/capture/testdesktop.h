#pragma once

#include <QColor>
#include <QList>
#include <QRect>
#include <QWidget>
#include <xcb/xcb.h>

// What a file manager puts on an X11 desktop, for the icon-hider tests: a
// wallpaper published on the root window (_XROOTPMAP_ID) and a window of
// EWMH type desktop that draws icons over a background of its own. That
// background is also the window's X background pixmap, as file managers set
// it so the server paints it before they do; it differs from the root's
// wallpaper, so a test can tell which one covers the icons.
class TestDesktop
{
public:
    static inline const QColor kIcon { 0xff, 0x00, 0xff };

    // Wallpaper over the whole root; the desktop window over `logical`.
    explicit TestDesktop(const QRect &logical);
    ~TestDesktop();

    // The root wallpaper's colour at a native point: bands 100 pixels wide.
    static QColor wallpaperAt(const QPoint &native);
    // The desktop window's own background at a point relative to it:
    // bands 50 pixels high.
    static QColor backgroundAt(const QPoint &local);

    // Publishes the root wallpaper, or takes it back as a desktop that sets
    // none would have it.
    void publishWallpaper(bool published);

    // Icon rectangles, logical, relative to the desktop window.
    QList<QRect> icons() const;
    QWidget *window() const { return m_window; }
    // Mouse presses the desktop window has had.
    int presses() const;

private:
    xcb_connection_t *m_connection = nullptr;
    xcb_window_t m_root = 0;
    xcb_pixmap_t m_pixmap = 0;
    xcb_pixmap_t m_background = 0;
    QWidget *m_window = nullptr;
};
