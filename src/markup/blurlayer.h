#pragma once

#include "squarelayer.h"

// The blur box: a rectangle whose area pixelates the screenshot beneath it in
// cells of blurScale() points (see Pixelate). The pixelated area is the
// blurBackground() rectangle in canvas coordinates, which the canvas applies
// over the screenshot before any annotation is drawn. The white 1-point
// outline shows only while the box is selected; the whole area is clickable.
class BlurLayer : public SquareLayer
{
public:
    BlurLayer();
    Kind kind() const override { return Kind::Blur; }

    static constexpr int blurScale() { return 10; }

    // The pixelated rectangle, canvas coordinates; empty before the first path.
    QRectF blurBackground() const { return m_blurBackground; }

    void updatePath() override;
    void showHandles() override;
    void hideHandles() override;
    bool containsPoint(const QPointF &canvasPoint) const override;
    void setPosition(const QPointF &position) override;
    void handleDidChangePointTo(const QPointF &point, ShapeLayerHandle *sender) override;
    State state() const override;
    void restoreState(const State &state) override;

private:
    QRectF m_blurBackground;
};
