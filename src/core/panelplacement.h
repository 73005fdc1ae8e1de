#pragma once

#include <QGuiApplication>
#include <QRect>
#include <QScreen>

// Where a panel of `size` goes next to the tray icon's `anchor` (global
// coordinates): centred below it, above it when the icon sits at the bottom,
// kept inside the available area of the anchor's screen.
inline QPoint panelPositionFor(const QRect &anchor, const QSize &size)
{
    QScreen *screen = QGuiApplication::screenAt(anchor.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(QPoint(0, 0), size);
    QPoint topLeft(anchor.center().x() - size.width() / 2, anchor.bottom() + 4);
    if (topLeft.y() + size.height() > area.bottom())
        topLeft.setY(anchor.top() - 4 - size.height());
    topLeft.setX(qBound(area.left(), topLeft.x(), area.right() - size.width()));
    topLeft.setY(qBound(area.top(), topLeft.y(), area.bottom() - size.height()));
    return topLeft;
}
