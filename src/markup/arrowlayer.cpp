#include "arrowlayer.h"

#include "settingsstore.h"
#include "shapelayerhandle.h"

#include <algorithm>
#include <QLineF>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcArrowLayer, "tessly.markup.arrowlayer")

ArrowLayer::ArrowLayer()
{
    setFillColor(Qt::transparent);
    setStrokeColor(SettingsStore::instance().lineColor());
    setLineWidth(2.0);
    setLineCap(Qt::RoundCap);
    setLineJoin(Qt::RoundJoin);
}

void ArrowLayer::updatePath()
{
    if (QLineF(startPoint(), endPoint()).length() < 10)
        return;
    if (!m_isBent)
        m_controlPoint = (startPoint() + endPoint()) / 2;
    QPainterPath path(startPoint());
    path.quadTo(m_controlPoint, endPoint());
    addArrowheadToPath(path, m_controlPoint, endPoint());
    setPath(path);
}

QPointF ArrowLayer::curveMiddlePoint() const
{
    return 0.25 * startPoint() + 0.5 * m_controlPoint + 0.25 * endPoint();
}

QPointF ArrowLayer::controlPointFromCurvePoint(const QPointF &point) const
{
    return 2 * point - (startPoint() + endPoint()) / 2;
}

void ArrowLayer::addArrowheadToPath(QPainterPath &path, const QPointF &from, const QPointF &to)
{
    const QPointF d = to - from;
    const qreal l = QLineF(from, to).length();
    if (l < 10)
        return;
    const qreal h = std::min(l, 6.0);
    const QPointF u = d / l;
    const QPointF base = to - 10 * u;
    path.moveTo(base.x() + h * u.y(), base.y() - h * u.x());
    path.lineTo(to);
    path.lineTo(base.x() - h * u.y(), base.y() + h * u.x());
    path.closeSubpath();
}

void ArrowLayer::showHandles()
{
    if (!m_startHandle) {
        m_startHandle = addHandle();
        m_endHandle = addHandle();
        m_controlHandle = addHandle();
    }
    if (!highlight())
        updateHighlight();
    placeHandles();
    setHandlesHidden(false);
    ensureHighlight().hidden = false;
}

void ArrowLayer::hideHandles()
{
    hideAllSublayers();
}

void ArrowLayer::placeHandles()
{
    m_startHandle->setRepresentedPoint(startPoint());
    m_endHandle->setRepresentedPoint(endPoint());
    m_controlHandle->setRepresentedPoint(curveMiddlePoint());
}

void ArrowLayer::updateHighlight()
{
    Highlight &h = ensureHighlight();
    h.frame = QRectF(QPointF(0, 0), bounds());
    h.lineWidth = 12.0;
    h.path = roundOutline(path(), lineWidth());
}

void ArrowLayer::handleDidChangePointTo(const QPointF &point, ShapeLayerHandle *sender)
{
    qCDebug(lcArrowLayer).noquote() << QStringLiteral("handleDidChangePointTo {%1, %2}").arg(point.x()).arg(point.y());
    if (sender == m_startHandle)
        setStartPoint(point);
    if (sender == m_endHandle)
        setEndPoint(point);
    if (sender == m_controlHandle) {
        m_controlPoint = controlPointFromCurvePoint(point);
        m_isBent = true;
    }
    updatePath();
    if (sender != m_controlHandle) {
        const bool active = m_controlHandle->active();
        m_controlHandle->setActive(false);
        m_controlHandle->setRepresentedPoint(curveMiddlePoint());
        m_controlHandle->setActive(active);
    }
    updateHighlight();
}

ShapeLayer::State ArrowLayer::state() const
{
    State s = ShapeLayer::state();
    s.controlPoint = m_controlPoint;
    s.isBent = m_isBent;
    return s;
}

void ArrowLayer::restoreState(const State &state)
{
    m_controlPoint = state.controlPoint;
    m_isBent = state.isBent;
    ShapeLayer::restoreState(state);
    if (m_startHandle) {
        placeHandles();
        updateHighlight();
    }
}
