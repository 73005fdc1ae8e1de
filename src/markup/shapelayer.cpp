#include "shapelayer.h"

#include "shapelayerhandle.h"

#include <QPainter>
#include <QPainterPathStroker>

#include <cmath>

ShapeLayer::ShapeLayer() = default;
ShapeLayer::~ShapeLayer() = default;

QRectF ShapeLayer::frame() const
{
    return QRectF(m_position - QPointF(m_bounds.width() / 2, m_bounds.height() / 2), m_bounds);
}

void ShapeLayer::setFrame(const QRectF &frame)
{
    m_bounds = frame.size();
    setPosition(frame.center());
}

QPointF ShapeLayer::toLocal(const QPointF &canvasPoint) const
{
    return QPointF(canvasPoint.x() - m_position.x() + m_bounds.width() * 0.5,
        canvasPoint.y() - m_position.y() + m_bounds.height() * 0.5);
}

QPointF ShapeLayer::toCanvas(const QPointF &localPoint) const
{
    return localPoint + frame().topLeft();
}

QRectF ShapeLayer::pathBounds() const
{
    return QRectF(std::min(m_startPoint.x(), m_endPoint.x()), std::min(m_startPoint.y(), m_endPoint.y()),
        std::abs(m_startPoint.x() - m_endPoint.x()), std::abs(m_startPoint.y() - m_endPoint.y()));
}

void ShapeLayer::deselect()
{
    m_selected = false;
    hideAllSublayers();
}

bool ShapeLayer::containsPoint(const QPointF &canvasPoint) const
{
    QPainterPathStroker stroker;
    stroker.setWidth(2 * m_lineWidth);
    stroker.setCapStyle(Qt::FlatCap);
    stroker.setJoinStyle(Qt::BevelJoin);
    stroker.setMiterLimit(0);
    QPainterPath area = stroker.createStroke(m_path);
    area.setFillRule(Qt::WindingFill);
    return area.contains(toLocal(canvasPoint));
}

QPainterPath ShapeLayer::outlinePath() const
{
    QPainterPathStroker stroker;
    stroker.setWidth(3.0);
    stroker.setCapStyle(Qt::FlatCap);
    stroker.setJoinStyle(Qt::MiterJoin);
    stroker.setMiterLimit(0);
    return stroker.createStroke(m_path);
}

ShapeLayerHandle *ShapeLayer::selectedHandle() const
{
    for (const auto &handle : m_handles) {
        if (handle->selected())
            return handle.get();
    }
    return nullptr;
}

ShapeLayerHandle *ShapeLayer::handleAt(const QPointF &canvasPoint) const
{
    const QPointF local = toLocal(canvasPoint);
    for (auto it = m_handles.rbegin(); it != m_handles.rend(); ++it) {
        if (!(*it)->isHidden() && (*it)->containsPoint(local))
            return it->get();
    }
    return nullptr;
}

void ShapeLayer::handleDidChangePointTo(const QPointF &, ShapeLayerHandle *) { }

ShapeLayer::State ShapeLayer::state() const
{
    State s;
    s.startPoint = m_startPoint;
    s.endPoint = m_endPoint;
    s.position = m_position;
    s.bounds = m_bounds;
    return s;
}

void ShapeLayer::restoreState(const State &state)
{
    m_startPoint = state.startPoint;
    m_endPoint = state.endPoint;
    m_bounds = state.bounds;
    setPosition(state.position);
    updatePath();
}

ShapeLayerHandle *ShapeLayer::addHandle()
{
    m_handles.push_back(std::make_unique<ShapeLayerHandle>(this));
    return m_handles.back().get();
}

ShapeLayer::Highlight &ShapeLayer::ensureHighlight()
{
    if (!m_highlight)
        m_highlight = std::make_unique<Highlight>();
    return *m_highlight;
}

void ShapeLayer::setHandlesHidden(bool hidden)
{
    for (const auto &handle : m_handles)
        handle->setHidden(hidden);
}

void ShapeLayer::hideAllSublayers()
{
    setHandlesHidden(true);
    if (m_highlight)
        m_highlight->hidden = true;
}

QPainterPath ShapeLayer::roundOutline(const QPainterPath &path, qreal width) const
{
    QPainterPathStroker stroker;
    stroker.setWidth(width);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    QPainterPath outline = stroker.createStroke(path);
    outline.setFillRule(Qt::WindingFill);
    return outline;
}

QRectF ShapeLayer::paintedBounds() const
{
    QRectF area;
    if (!m_path.isEmpty() && (m_lineWidth > 0 || m_fillColor.alpha() > 0)) {
        // A miter reaches at most lineWidth (the pen's limit of 2) from the path.
        const qreal grow = m_lineWidth + 2;
        area = m_path.controlPointRect().adjusted(-grow, -grow, grow, grow);
    }
    if (m_highlight && !m_highlight->hidden && !m_highlight->path.isEmpty()) {
        const qreal grow = (m_highlight->filled ? 0 : m_highlight->lineWidth / 2) + 2;
        area |= m_highlight->path.controlPointRect()
                    .translated(m_highlight->frame.topLeft())
                    .adjusted(-grow, -grow, grow, grow);
    }
    for (const auto &handle : m_handles) {
        if (!handle->isHidden())
            area |= handle->frame().adjusted(-6, -6, 6, 6); // the shadow's rings and the rim
    }
    return area.isNull() ? area : area.translated(frame().topLeft());
}

void ShapeLayer::paint(QPainter &painter, bool decorations) const
{
    if (decorations)
        paintHighlight(painter);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_fillColor.alpha() > 0)
        painter.fillPath(m_path, m_fillColor);
    if (m_lineWidth > 0 && m_strokeColor.alpha() > 0) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(m_strokeColor, m_lineWidth, Qt::SolidLine, m_lineCap, m_lineJoin));
        painter.drawPath(m_path);
    }
    painter.restore();
    if (decorations)
        paintHandles(painter);
}

void ShapeLayer::paintDecorations(QPainter &painter) const
{
    paintHighlight(painter);
    paintHandles(painter);
}

void ShapeLayer::paintHighlight(QPainter &painter) const
{
    if (!m_highlight || m_highlight->hidden)
        return;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(m_highlight->frame.topLeft());
    painter.setOpacity(m_highlight->opacity);
    const QColor blue(0, 122, 255);
    if (m_highlight->filled) {
        painter.fillPath(m_highlight->path, blue);
    } else {
        // A shape layer's default fill (black) under the wide blue stroke.
        painter.setPen(QPen(blue, m_highlight->lineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::black);
        painter.drawPath(m_highlight->path);
    }
    painter.restore();
}

void ShapeLayer::paintHandles(QPainter &painter) const
{
    for (const auto &handle : m_handles)
        handle->paint(painter);
}
