#include "blurlayer.h"

BlurLayer::BlurLayer()
{
    setFillColor(Qt::transparent);
    setStrokeColor(QColor(0, 122, 255));
    setLineWidth(1.0);
}

void BlurLayer::updatePath()
{
    SquareLayer::updatePath();
    setFillColor(Qt::transparent);
    setStrokeColor(Qt::white);
    setLineWidth(1.0);
    m_blurBackground = path().boundingRect();
}

void BlurLayer::showHandles()
{
    SquareLayer::showHandles();
    setLineWidth(1.0);
}

void BlurLayer::hideHandles()
{
    SquareLayer::hideHandles();
    setLineWidth(0.0);
}

bool BlurLayer::containsPoint(const QPointF &canvasPoint) const
{
    return m_blurBackground.contains(canvasPoint);
}

void BlurLayer::setPosition(const QPointF &position)
{
    SquareLayer::setPosition(position);
    m_blurBackground = pathBounds().translated(frame().topLeft());
}

void BlurLayer::handleDidChangePointTo(const QPointF &point, ShapeLayerHandle *sender)
{
    SquareLayer::handleDidChangePointTo(point, sender);
    // The path's box in the shape's own coordinates: the canvas's only while
    // the box has not been moved.
    m_blurBackground = path().boundingRect();
}

ShapeLayer::State BlurLayer::state() const
{
    State s = SquareLayer::state();
    s.blurBackground = m_blurBackground;
    return s;
}

void BlurLayer::restoreState(const State &state)
{
    const qreal width = lineWidth();
    SquareLayer::restoreState(state);
    setLineWidth(width);
    // Where the pixelation was, not where the outline is: they differ after
    // a moved box was resized, and undo and redo show what the user saw.
    m_blurBackground = state.blurBackground;
}
