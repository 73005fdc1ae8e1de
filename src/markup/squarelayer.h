#pragma once

#include "shapelayer.h"

// The rectangle: an unfilled rectangle with corners rounded by 6 points,
// spanned by two opposite corners (startPoint and endPoint, in either order),
// resized by four corner handles. There is no minimum size: a corner dragged
// past the opposite edge flips the rectangle.
class SquareLayer : public ShapeLayer
{
public:
    static constexpr qreal kCornerRadius = 6.0;

    SquareLayer();
    Kind kind() const override { return Kind::Square; }

    ShapeLayerHandle *topLeftHandle() const { return m_topLeft; }
    ShapeLayerHandle *topRightHandle() const { return m_topRight; }
    ShapeLayerHandle *bottomLeftHandle() const { return m_bottomLeft; }
    ShapeLayerHandle *bottomRightHandle() const { return m_bottomRight; }

    QRectF pathBounds() const override;
    void updatePath() override;
    void showHandles() override;
    void hideHandles() override;
    // Puts the four handles on the corners of the current path without being
    // called back; each keeps its active flag (the dragged one stays active).
    void layoutHandles();
    void selectAtPoint(const QPointF &point);
    void handleDidChangePointTo(const QPointF &point, ShapeLayerHandle *sender) override;
    void restoreState(const State &state) override;

protected:
    void updateHighlight();

private:
    void placeHandles();

    ShapeLayerHandle *m_topLeft = nullptr;
    ShapeLayerHandle *m_topRight = nullptr;
    ShapeLayerHandle *m_bottomLeft = nullptr;
    ShapeLayerHandle *m_bottomRight = nullptr;
};
