#include "floatingcamerapanel.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>

Q_LOGGING_CATEGORY(lcFloatingCamera, "tessly.capture.floatingcamerapanel")

QRegion roundedRegion(const QRect &rect, qreal radius)
{
    QPainterPath path;
    path.addRoundedRect(QRectF(rect), radius, radius);
    return QRegion(path.toFillPolygon().toPolygon());
}

namespace {

qreal mainHeight()
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    return screens.isEmpty() ? 0 : screens.first()->geometry().height();
}

} // namespace

FloatingCameraPanel::FloatingCameraPanel()
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint)
{
    setWindowTitle(QStringLiteral("Tessly Cloud Webcam"));
    setAttribute(Qt::WA_TranslucentBackground);
    setCursor(Qt::OpenHandCursor);
}

void FloatingCameraPanel::setRecordingRect(const QRectF &rect)
{
    m_recordingRect = rect;
}

void FloatingCameraPanel::setFrameRect(const QRectF &frame)
{
    m_frame = clampedFrame(frame, m_recordingRect);
    place();
}

void FloatingCameraPanel::setFrameOrigin(const QPointF &origin)
{
    setFrameRect(QRectF(origin, m_frame.size()));
}

void FloatingCameraPanel::setPanelSize(const QSizeF &size)
{
    setFrameRect(QRectF(m_frame.topLeft(), size));
}

QRectF FloatingCameraPanel::clampedFrame(const QRectF &frame, const QRectF &rect)
{
    if (rect.isEmpty())
        return frame;
    QRectF f = frame;
    f.moveLeft(std::max(rect.x(), std::min(f.x(), rect.x() + rect.width() - f.width())));
    f.moveTop(std::max(rect.y(), std::min(f.y(), rect.y() + rect.height() - f.height())));
    return f;
}

QPointF FloatingCameraPanel::cornerOrigin(const QRectF &rect, const QSizeF &size, Corner corner, qreal inset)
{
    const QRectF r = rect.adjusted(inset, inset, -inset, -inset);
    const qreal left = r.x(), right = r.x() + r.width() - size.width();
    const qreal bottom = r.y(), top = r.y() + r.height() - size.height();
    switch (corner) {
    case BottomLeft:
        return { left, bottom };
    case BottomRight:
        return { right, bottom };
    case TopLeft:
        return { left, top };
    case TopRight:
        return { right, top };
    }
    return { left, bottom };
}

FloatingCameraPanel::Corner FloatingCameraPanel::nearestCorner(
    const QRectF &rect, const QSizeF &size, const QPointF &origin, qreal inset)
{
    Corner best = BottomLeft;
    qreal bestDistance = -1;
    for (Corner corner : { BottomLeft, BottomRight, TopLeft, TopRight }) {
        const QPointF d = cornerOrigin(rect, size, corner, inset) - origin;
        const qreal distance = d.x() * d.x() + d.y() * d.y();
        if (bestDistance < 0 || distance < bestDistance) {
            best = corner;
            bestDistance = distance;
        }
    }
    return best;
}

FloatingCameraPanel::Corner FloatingCameraPanel::cornerOf(const QRectF &frame, const QRectF &rect)
{
    const bool right = frame.center().x() > rect.center().x();
    const bool top = frame.center().y() > rect.center().y();
    return top ? (right ? TopRight : TopLeft) : (right ? BottomRight : BottomLeft);
}

void FloatingCameraPanel::constrainToRecordingRect()
{
    setFrameRect(m_frame);
}

FloatingCameraPanel::Corner FloatingCameraPanel::currentCorner() const
{
    return cornerOf(m_frame, m_recordingRect);
}

void FloatingCameraPanel::snapToCorner(Corner corner, bool)
{
    if (m_recordingRect.isEmpty())
        return;
    setFrameOrigin(cornerOrigin(m_recordingRect, m_frame.size(), corner, snapInset()));
}

void FloatingCameraPanel::snapToNearestCornerAnimated(bool animated)
{
    qCInfo(lcFloatingCamera) << "snapToNearestCornerAnimated";
    if (m_recordingRect.isEmpty())
        return;
    snapToCorner(nearestCorner(m_recordingRect, m_frame.size(), m_frame.topLeft(), snapInset()), animated);
}

void FloatingCameraPanel::place()
{
    const QRectF f = m_frame;
    setGeometry(QRectF(f.x(), mainHeight() - f.y() - f.height(), f.width(), f.height()).toRect());
}

void FloatingCameraPanel::setFrame(const QImage &frame)
{
    m_picture = frame;
    update();
}

void FloatingCameraPanel::resizeEvent(QResizeEvent *)
{
    // Round corners without a compositing manager too.
    setMask(roundedRegion(rect(), 14));
}

void FloatingCameraPanel::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    QPainterPath clip;
    clip.addRoundedRect(QRectF(rect()), 14, 14);
    p.setClipPath(clip);
    p.fillRect(rect(), QColor(0x20, 0x20, 0x20));
    if (!m_picture.isNull()) {
        // Fill the bubble, cropping the picture's overflow; mirrored, as a
        // person expects to see themselves.
        const QSizeF scaled = QSizeF(m_picture.size()).scaled(size(), Qt::KeepAspectRatioByExpanding);
        const QRectF target(
            (width() - scaled.width()) / 2, (height() - scaled.height()) / 2, scaled.width(), scaled.height());
        p.drawImage(target, m_picture.mirrored(true, false));
    }
}

void FloatingCameraPanel::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_dragging = true;
    m_dragOffset = event->globalPosition() - QPointF(pos());
    setCursor(Qt::ClosedHandCursor);
}

void FloatingCameraPanel::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_dragging)
        return;
    const QPointF topLeft = event->globalPosition() - m_dragOffset;
    setFrameOrigin(QPointF(topLeft.x(), mainHeight() - topLeft.y() - m_frame.height()));
}

void FloatingCameraPanel::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_dragging = false;
    setCursor(Qt::OpenHandCursor);
    qCInfo(lcFloatingCamera) << "Mouse UP Floating Camera Panel";
    snapToNearestCornerAnimated(true);
}
