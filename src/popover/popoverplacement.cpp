#include "popoverplacement.h"

#include <QGuiApplication>
#include <QScreen>

namespace {

// One reflection about the primary screen's middle converts between the two
// conventions, both ways.
qreal flipBase()
{
    const QScreen *primary = QGuiApplication::primaryScreen();
    return primary ? primary->geometry().top() + primary->geometry().bottom() + 1 : 0;
}

QRectF flipped(const QRectF &rect, qreal base)
{
    return QRectF(rect.x(), base - rect.y() - rect.height(), rect.width(), rect.height());
}

} // namespace

QRectF PopoverPlacement::frame(const QSizeF &size, const QRectF &buttonRect, const QRectF &visibleFrame)
{
    const qreal width = size.width();
    const qreal height = size.height();
    qreal x = buttonRect.x() + buttonRect.width() / 2 - width / 2.0;
    qreal y = buttonRect.y() - height;
    const qreal right = visibleFrame.x() + visibleFrame.width();
    const qreal top = visibleFrame.y() + visibleFrame.height();
    if (right < x + width)
        x = right - width - 4;
    if (x < visibleFrame.x())
        x = visibleFrame.x() + 4;
    // A panel along the screen's bottom edge: the dashboard opens upwards.
    if (y < visibleFrame.y())
        y = buttonRect.y() + buttonRect.height();
    if (y + height > top)
        y = top - height;
    if (y < visibleFrame.y())
        y = visibleFrame.y();
    return QRectF(x, y, width, height);
}

QPoint PopoverPlacement::topLeftForAnchor(const QSizeF &size, const QRect &anchor)
{
    QScreen *screen = QGuiApplication::screenAt(anchor.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRectF visible = screen ? QRectF(screen->availableGeometry()) : QRectF();
    const qreal base = flipBase();
    return flipped(frame(size, flipped(QRectF(anchor), base), flipped(visible, base)), base).topLeft().toPoint();
}
