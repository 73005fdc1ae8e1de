#include "textlayer.h"

#include "settingsstore.h"
#include "shapelayerhandle.h"
#include "textoutline.h"

#include <QPainter>
#include <QPainterPathStroker>

#include <algorithm>

namespace {
qreal s_layoutWidth = 1920;
}

TextLayer::TextLayer() = default;

void TextLayer::setLayoutWidth(qreal width)
{
    if (width > 0)
        s_layoutWidth = width;
}

qreal TextLayer::layoutWidth()
{
    return s_layoutWidth;
}

QPainterPath TextLayer::outlineRect() const
{
    QPainterPath box;
    box.addRect(m_outline.boundingRect());
    return box;
}

void TextLayer::setStringContent(const QString &text, bool fit)
{
    m_stringContent = text;
    render(fit);
    m_outlineColor = SettingsStore::instance().lineColor();
}

void TextLayer::render(bool fit)
{
    // One layout gives the glyphs and the box, so the box (the hit area and
    // the glow) is the wrapped text's.
    TextOutline::Outline laidOut
        = TextOutline::layout(m_stringContent, TextOutline::font(m_fontSize), m_fontSize, s_layoutWidth);
    if (fit) {
        // y grows upwards: keeping the top edge moves the bottom.
        const QRectF old = frame();
        setFrame(QRectF(
            old.x(), old.y() + old.height() - laidOut.size.height(), laidOut.size.width(), laidOut.size.height()));
    }
    if (laidOut.path.isEmpty()) {
        m_glyphs = QPainterPath();
        m_outline = QPainterPath();
        return;
    }
    m_glyphs = laidOut.path.translated(0, bounds().height());
    QPainterPathStroker stroker;
    stroker.setWidth(m_fontSize * 0.3);
    stroker.setCapStyle(Qt::RoundCap);
    stroker.setJoinStyle(Qt::RoundJoin);
    stroker.setMiterLimit(0);
    m_outline = stroker.createStroke(m_glyphs);
    m_outline.addPath(m_glyphs);
    m_outline.setFillRule(Qt::WindingFill);
}

bool TextLayer::containsPoint(const QPointF &canvasPoint) const
{
    return frame().contains(canvasPoint);
}

void TextLayer::showHandles()
{
    if (!m_resizeHandle)
        m_resizeHandle = addHandle();
    Highlight &h = ensureHighlight();
    h = Highlight();
    h.frame = QRectF(QPointF(0, 0), bounds());
    h.filled = true;
    h.opacity = 0.2;
    QPainterPath glow;
    glow.addRoundedRect(QRectF(QPointF(0, 0), bounds()).adjusted(-12, -12, 12, 12), 6, 6);
    h.path = glow;
    m_resizeHandle->setActive(false);
    m_resizeHandle->setRepresentedPoint(QPointF(bounds().width(), 0));
    m_resizeHandle->setHidden(false);
}

void TextLayer::hideHandles()
{
    hideAllSublayers();
}

void TextLayer::handleDidChangePointTo(const QPointF &point, ShapeLayerHandle *sender)
{
    if (sender != m_resizeHandle)
        return;
    // Kept to sizes that can be drawn: a drag above the top edge gives the smallest.
    m_fontSize = std::clamp(int(bounds().height() - point.y()), 1, 2000);
    render();
    // The box follows the glyphs, its top edge fixed; the handle stays under the pointer.
    const QRectF glyphs = m_glyphs.boundingRect();
    Highlight &h = ensureHighlight();
    h.frame = QRectF(QPointF(0, 0), bounds());
    QPainterPath glow;
    glow.addRoundedRect(
        glyphs.adjusted(-0.4 * m_fontSize, -0.4 * m_fontSize, 0.4 * m_fontSize, 0.4 * m_fontSize), 6, 6);
    h.path = glow;
    m_resizeHandle->setActive(false);
    m_resizeHandle->setRepresentedPoint(QPointF(point.x(), point.y()));
    m_resizeHandle->setActive(true);
}

void TextLayer::handleDidFinishDrag(ShapeLayerHandle *)
{
    render(true);
    showHandles();
}

ShapeLayer::State TextLayer::state() const
{
    State s = ShapeLayer::state();
    s.fontSize = m_fontSize;
    s.text = m_stringContent;
    return s;
}

void TextLayer::restoreState(const State &state)
{
    m_fontSize = state.fontSize;
    setBounds(state.bounds);
    setPosition(state.position);
    setStartPoint(state.startPoint);
    setEndPoint(state.endPoint);
    m_stringContent = state.text;
    render();
    if (m_resizeHandle && !m_resizeHandle->isHidden())
        showHandles();
}

QRectF TextLayer::paintedBounds() const
{
    QRectF area = ShapeLayer::paintedBounds();
    if (!m_outline.isEmpty()) // with the 2-point rim
        area |= m_outline.controlPointRect().adjusted(-3, -3, 3, 3).translated(frame().topLeft());
    return area;
}

void TextLayer::paint(QPainter &painter, bool decorations) const
{
    if (decorations)
        paintHighlight(painter);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    if (!m_outline.isEmpty()) {
        // A soft dark rim keeps light colours readable on light pictures.
        painter.setPen(QPen(QColor(0, 0, 0, 60), 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(m_outline);
        painter.fillPath(m_outline, m_outlineColor);
        painter.fillPath(m_glyphs, Qt::white);
    }
    painter.restore();
    if (decorations)
        paintHandles(painter);
}
