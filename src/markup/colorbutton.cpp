#include "colorbutton.h"

#include <QPainter>

ColorButton::ColorButton(const QColor &color, QWidget *parent)
    : QToolButton(parent)
    , m_backgroundColor(color)
{
    setFocusPolicy(Qt::NoFocus);
    setAutoRaise(true);
    setFixedSize(sizeHint());
}

void ColorButton::setBackgroundColor(const QColor &color)
{
    m_backgroundColor = color;
    update();
}

void ColorButton::enterEvent(QEnterEvent *event)
{
    m_hover = true;
    update();
    QToolButton::enterEvent(event);
}

void ColorButton::leaveEvent(QEvent *event)
{
    m_hover = false;
    update();
    QToolButton::leaveEvent(event);
}

void ColorButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // The 24-point disc, centred.
    const QRectF disc = QRectF(QPointF(0, 0), QSizeF(24, 24)).translated(QRectF(rect()).center() - QPointF(12, 12));
    if (m_hover || isChecked()) {
        QColor ring = palette().color(QPalette::WindowText);
        ring.setAlphaF(isChecked() ? 0.7 : 0.35);
        painter.setPen(QPen(ring, 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(disc.adjusted(-2.5, -2.5, 2.5, 2.5));
    }
    QColor rim = palette().color(QPalette::WindowText);
    rim.setAlphaF(0.25);
    painter.setPen(QPen(rim, 1));
    painter.setBrush(m_backgroundColor);
    painter.drawEllipse(disc.adjusted(1, 1, -1, -1));
}
