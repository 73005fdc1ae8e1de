#pragma once

#include "shapelayer.h"

// The arrow: a quadratic curve from the start to the end point with a closed
// triangular head at the end, 10 points long and 12 wide whatever the line
// width. It is straight while drawn; dragging its middle handle bends it, and
// it stays bent when its ends move afterwards. Arrows shorter than 10 points
// are not drawn (they keep their last longer path while dragged).
class ArrowLayer : public ShapeLayer
{
public:
    ArrowLayer();
    Kind kind() const override { return Kind::Arrow; }

    bool isBent() const { return m_isBent; }
    QPointF controlPoint() const { return m_controlPoint; }
    ShapeLayerHandle *startHandle() const { return m_startHandle; }
    ShapeLayerHandle *endHandle() const { return m_endHandle; }
    ShapeLayerHandle *controlHandle() const { return m_controlHandle; }

    void updatePath() override;
    // The curve's point at its parameter midpoint.
    QPointF curveMiddlePoint() const;
    // The control point that makes the curve pass through `point` at its midpoint.
    QPointF controlPointFromCurvePoint(const QPointF &point) const;
    static void addArrowheadToPath(QPainterPath &path, const QPointF &from, const QPointF &to);

    void showHandles() override;
    void hideHandles() override;
    void handleDidChangePointTo(const QPointF &point, ShapeLayerHandle *sender) override;

    State state() const override;
    void restoreState(const State &state) override;

private:
    void updateHighlight();
    void placeHandles();

    bool m_isBent = false;
    QPointF m_controlPoint;
    ShapeLayerHandle *m_startHandle = nullptr;
    ShapeLayerHandle *m_endHandle = nullptr;
    ShapeLayerHandle *m_controlHandle = nullptr;
};
