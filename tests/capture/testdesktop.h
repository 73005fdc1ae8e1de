#pragma once

#include <QColor>
#include <QList>
#include <QRect>
#include <QWidget>
#include <xcb/xcb.h>

// What a file manager puts on an X11 desktop, for the icon-hider tests: a
// wallpaper published on the root window (_XROOTPMAP_ID) and a window of
// EWMH type desktop that draws icons on a plain background.
class TestDesktop
{
public:
    static inline const QColor kBackground { 0x40, 0x40, 0x40 };
    static inline const QColor kIcon { 0xff, 0x00, 0xff };

    // Wallpaper over the whole root; the desktop window over `logical`.
    explicit TestDesktop(const QRect &logical);
    ~TestDesktop();

    // The wallpaper's colour at a native point: bands 100 pixels wide.
    static QColor wallpaperAt(const QPoint &native);

    // Icon rectangles, logical, relative to the desktop window.
    QList<QRect> icons() const;
    QWidget *window() const { return m_window; }

private:
    xcb_connection_t *m_connection = nullptr;
    xcb_pixmap_t m_pixmap = 0;
    QWidget *m_window = nullptr;
};
