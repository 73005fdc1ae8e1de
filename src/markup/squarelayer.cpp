#include "squarelayer.h"

#include "settingsstore.h"
#include "shapelayerhandle.h"

#include <cmath>

SquareLayer::SquareLayer()
{
    setFillColor(Qt::transparent);
    setStrokeColor(SettingsStore::instance().lineColor());
    setLineWidth(2.0);
}

QRectF SquareLayer::pathBounds() const
{
    QRectF r = ShapeLayer::pathBounds();
    if (proportional()) {
        const qreal side = std::min(r.width(), r.height());
        if (endPoint().x() < startPoint().x())
            r.moveLeft(r.x() + r.width() - side);
        if (endPoint().y() < startPoint().y())
            r.moveTop(r.y() + r.height() - side);
        r.setSize(QSizeF(side, side));
    }
    return r;
}

void SquareLayer::updatePath()
{
    QPainterPath path;
    path.addRoundedRect(pathBounds(), kCornerRadius, kCornerRadius);
    setPath(path);
}

void SquareLayer::showHandles()
{
    if (!m_topLeft) {
        m_topLeft = addHandle();
        m_topRight = addHandle();
        m_bottomLeft = addHandle();
        m_bottomRight = addHandle();
    }
    if (!highlight())
        updateHighlight();
    placeHandles();
    setHandlesHidden(false);
    ensureHighlight().hidden = false;
}

void SquareLayer::hideHandles()
{
    hideAllSublayers();
}

void SquareLayer::placeHandles()
{
    // Placed inactive, so the shape is not called back; each handle keeps its
    // own flag afterwards (only the one under the pointer is active).
    ShapeLayerHandle *const handles[] = { m_topLeft, m_topRight, m_bottomLeft, m_bottomRight };
    bool active[4];
    for (int i = 0; i < 4; ++i) {
        active[i] = handles[i]->active();
        handles[i]->setActive(false);
    }
    const QRectF r = path().boundingRect();
    m_topLeft->setRepresentedPoint(QPointF(r.left(), r.bottom()));
    m_topRight->setRepresentedPoint(QPointF(r.right(), r.bottom()));
    m_bottomLeft->setRepresentedPoint(QPointF(r.left(), r.top()));
    m_bottomRight->setRepresentedPoint(QPointF(r.right(), r.top()));
    for (int i = 0; i < 4; ++i)
        handles[i]->setActive(active[i]);
}

void SquareLayer::layoutHandles()
{
    // Leaving all four handles active here made the next selection
    // (showHandles) call the shape back through every handle, and a blur
    // box refitted its pixelation to where it was before a move: only the
    // dragged handle stays active now.
    if (m_topLeft)
        placeHandles();
}

void SquareLayer::selectAtPoint(const QPointF &point)
{
    setSelected(true);
    showHandles();
    for (auto *h : { m_topLeft, m_topRight, m_bottomLeft, m_bottomRight }) {
        if (h->frame().contains(point))
            h->setSelected(true);
    }
}

void SquareLayer::updateHighlight()
{
    QPainterPath plain;
    plain.addRect(pathBounds());
    Highlight &h = ensureHighlight();
    h.frame = QRectF(QPointF(0, 0), bounds());
    h.lineWidth = 12.0;
    h.path = roundOutline(plain, lineWidth());
}

void SquareLayer::handleDidChangePointTo(const QPointF &p, ShapeLayerHandle *sender)
{
    // In this model y grows upwards: "top" is the larger y.
    const QRectF r = ShapeLayer::pathBounds();
    const bool left = sender == m_topLeft || sender == m_bottomLeft;
    const bool top = sender == m_topLeft || sender == m_topRight;
    qreal x = r.x(), y = r.y(), w, h;
    if (left) {
        x = p.x();
        w = r.left() - p.x() + r.width();
    } else {
        w = r.width() + (p.x() - r.right());
    }
    if (top) {
        h = r.height() - (r.bottom() - p.y());
    } else {
        y = p.y();
        h = r.top() - p.y() + r.height();
    }
    if (proportional()) {
        const qreal side = std::min(w, h);
        if (left)
            x += w - side;
        if (!top)
            y += h - side;
        w = h = side;
    }
    setStartPoint(QPointF(x, y));
    setEndPoint(QPointF(x + w, y + h));
    updatePath();
    layoutHandles();
    updateHighlight();
}

void SquareLayer::restoreState(const State &state)
{
    ShapeLayer::restoreState(state);
    if (m_topLeft) {
        const bool wasHidden = m_topLeft->isHidden();
        placeHandles();
        updateHighlight();
        setHandlesHidden(wasHidden);
    }
}
