#include "selectionwindow.h"
#include "capturesession.h"

#include <cmath>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>

namespace {

const QColor kDim(0, 0, 0, 110);
const QColor kAccent(0x2f, 0x8f, 0xff);
const QColor kWindowFill(0x2f, 0x8f, 0xff, 60);

} // namespace

SelectionWindow::SelectionWindow(CaptureSession *session, int screenIndex, QScreen *screen)
    : QWidget(nullptr, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint | Qt::Tool)
    , m_session(session)
    , m_screenIndex(screenIndex)
{
    setWindowTitle(QStringLiteral("tessly-screencapture"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    setCursor(Qt::CrossCursor);
    setScreen(screen);
    setGeometry(screen->geometry());
}

void SelectionWindow::paintEvent(QPaintEvent *)
{
    const FrozenDesktop::Screen &shot = m_session->desktop().screens().at(m_screenIndex);
    const QPointF origin = shot.geometry.topLeft();
    QPainter painter(this);
    painter.drawImage(QRectF(rect()), shot.image);

    // Everything is dimmed but what would be taken.
    std::optional<QRectF> lit;
    if (m_session->windowMode()) {
        if (const WindowInfo *w = m_session->hoveredWindow())
            lit = m_session->logicalFrame(*w).translated(-origin);
    } else if (m_session->selection()) {
        lit = m_session->selection()->translated(-origin);
    }
    QPainterPath dim;
    dim.addRect(QRectF(rect()));
    if (lit) {
        QPainterPath hole;
        hole.addRect(*lit);
        dim = dim.subtracted(hole);
    }
    painter.fillPath(dim, kDim);

    if (lit) {
        if (m_session->windowMode())
            painter.fillRect(*lit, kWindowFill);
        painter.setPen(QPen(kAccent, 1));
        painter.drawRect(lit->adjusted(-0.5, -0.5, 0.5, 0.5));
        const qreal r = shot.devicePixelRatio;
        paintSizeLabel(painter, *lit, QSize(int(std::lround(lit->width() * r)), int(std::lround(lit->height() * r))));
    }

    if (!m_session->windowMode() && !m_session->dragging()) {
        const QPointF p = m_session->pointer() - origin;
        if (rect().contains(p.toPoint())) {
            painter.setPen(QPen(QColor(255, 255, 255, 160), 1, Qt::DashLine));
            painter.drawLine(QPointF(0, p.y()), QPointF(width(), p.y()));
            painter.drawLine(QPointF(p.x(), 0), QPointF(p.x(), height()));
        }
    }
}

void SelectionWindow::paintSizeLabel(QPainter &painter, const QRectF &local, const QSize &pixels)
{
    const QString text = QStringLiteral("%1 × %2").arg(pixels.width()).arg(pixels.height());
    const QFontMetrics metrics(font());
    QRectF box(0, 0, metrics.horizontalAdvance(text) + 12, metrics.height() + 6);
    box.moveTopLeft(local.bottomLeft() + QPointF(0, 6));
    if (box.bottom() > height())
        box.moveBottomLeft(local.topLeft() - QPointF(0, 6));
    if (box.top() < 0)
        box.moveTopLeft(local.topLeft() + QPointF(6, 6));
    box.moveLeft(std::clamp(box.left(), 0.0, std::max(0.0, width() - box.width())));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 190));
    painter.drawRoundedRect(box, 4, 4);
    painter.setPen(Qt::white);
    painter.drawText(box, Qt::AlignCenter, text);
}

void SelectionWindow::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        m_session->press(event->globalPosition());
}

void SelectionWindow::mouseMoveEvent(QMouseEvent *event)
{
    m_session->move(event->globalPosition());
}

void SelectionWindow::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        m_session->release(event->globalPosition());
}

void SelectionWindow::keyPressEvent(QKeyEvent *event)
{
    m_session->key(event->key());
}
