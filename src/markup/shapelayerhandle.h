#pragma once

#include <QPainterPath>
#include <QPointF>

class QPainter;
class ShapeLayer;

// The round handle a selected shape shows on its points: a 12-point blue disc
// with a white rim and a soft shadow, clickable up to 12 points from its
// centre. Its point is in the owning shape's coordinates (y grows upwards).
// Moving an active handle (the one under the pointer) tells the shape; a
// shape places its handles while they are inactive without being called back.
class ShapeLayerHandle
{
public:
    static constexpr qreal kSize = 12.0;
    static constexpr qreal kHitWidth = 12.0;

    explicit ShapeLayerHandle(ShapeLayer *shapeLayer);

    // The shape told when the handle moves; always the owning shape.
    ShapeLayer *handleDelegate() const { return m_shapeLayer; }
    ShapeLayer *shapeLayer() const { return m_shapeLayer; }

    QPointF representedPoint() const { return m_representedPoint; }
    // Moves the handle; an active handle then calls the shape's
    // handleDidChangePointTo(point, this).
    void setRepresentedPoint(const QPointF &point);

    bool active() const { return m_active; }
    void setActive(bool active) { m_active = active; }
    bool selected() const { return m_selected; }
    void setSelected(bool selected) { m_selected = selected; }
    bool isHidden() const { return m_hidden; }
    void setHidden(bool hidden) { m_hidden = hidden; }

    // The 12 by 12 circle around the point.
    QPainterPath path() const;
    QRectF frame() const;
    // A point in the shape's coordinates: within 12 points of the centre.
    bool containsPoint(const QPointF &point) const;

    // Painted in the shape's coordinates.
    void paint(QPainter &painter) const;

private:
    ShapeLayer *m_shapeLayer;
    QPointF m_representedPoint;
    bool m_active = false;
    bool m_selected = false;
    bool m_hidden = false;
};
