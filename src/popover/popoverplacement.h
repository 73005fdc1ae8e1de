#pragma once

#include <QPoint>
#include <QRect>
#include <QRectF>

// Where the dashboard panel goes. The rule is written in points with the
// origin at the bottom left, the way the panel hangs from a menu bar; Qt's
// global coordinates have theirs at the top left, and topLeftForAnchor()
// converts once, both ways.
class PopoverPlacement
{
public:
    // Centred under the button, 4 points inside the visible frame's sides;
    // above the button when there is no room below (a panel at the bottom).
    static QRectF frame(const QSizeF &size, const QRectF &buttonRect, const QRectF &visibleFrame);
    // The panel's top-left corner in Qt's global coordinates for an anchor
    // there (the tray icon's geometry, or a 1x1 rectangle at the pointer),
    // on the anchor's screen.
    static QPoint topLeftForAnchor(const QSizeF &size, const QRect &anchor);
};
