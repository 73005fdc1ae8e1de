#include "shapelayerhandle.h"

#include "shapelayer.h"

#include <QPainter>
#include <QPainterPathStroker>

ShapeLayerHandle::ShapeLayerHandle(ShapeLayer *shapeLayer)
    : m_shapeLayer(shapeLayer)
{
}

void ShapeLayerHandle::setRepresentedPoint(const QPointF &point)
{
    m_representedPoint = point;
    if (m_active && m_shapeLayer)
        m_shapeLayer->handleDidChangePointTo(point, this);
}

QRectF ShapeLayerHandle::frame() const
{
    return QRectF(m_representedPoint - QPointF(kSize / 2, kSize / 2), QSizeF(kSize, kSize));
}

QPainterPath ShapeLayerHandle::path() const
{
    QPainterPath circle;
    circle.addEllipse(frame());
    return circle;
}

bool ShapeLayerHandle::containsPoint(const QPointF &point) const
{
    // The rim stroked 12 wide: a disc twice the drawn radius.
    QPainterPathStroker stroker;
    stroker.setWidth(kHitWidth);
    stroker.setCapStyle(Qt::FlatCap);
    stroker.setJoinStyle(Qt::BevelJoin);
    QPainterPath area = stroker.createStroke(path());
    area.addPath(path());
    area.setFillRule(Qt::WindingFill);
    return area.contains(point);
}

void ShapeLayerHandle::paint(QPainter &painter) const
{
    if (m_hidden)
        return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    // A soft shadow: rings of fading black around the disc.
    painter.setPen(Qt::NoPen);
    for (int i = 3; i >= 1; --i) {
        painter.setBrush(QColor(0, 0, 0, 22));
        painter.drawEllipse(m_representedPoint, kSize / 2 + i, kSize / 2 + i);
    }
    painter.setBrush(QColor(0, 122, 255));
    painter.setPen(QPen(Qt::white, 1.5));
    painter.drawEllipse(m_representedPoint, kSize / 2, kSize / 2);
    painter.restore();
}
