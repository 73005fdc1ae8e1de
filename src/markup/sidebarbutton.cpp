#include "sidebarbutton.h"

#include "arrowlayer.h"

#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>

SideBarButton::SideBarButton(Glyph glyph, QWidget *parent)
    : QToolButton(parent)
    , m_glyph(glyph)
{
    setFocusPolicy(Qt::NoFocus);
    setCheckable(glyph != Glyph::Upload && glyph != Glyph::Copy);
    setAutoRaise(true);
    setFixedSize(sizeHint());
}

void SideBarButton::enterEvent(QEnterEvent *event)
{
    m_mouseInside = true;
    update();
    QToolButton::enterEvent(event);
}

void SideBarButton::leaveEvent(QEvent *event)
{
    m_mouseInside = false;
    update();
    QToolButton::leaveEvent(event);
}

void SideBarButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette &pal = palette();
    const QColor accent = pal.color(QPalette::Highlight);
    const QRectF box = QRectF(rect()).adjusted(1, 1, -1, -1);
    QColor border = pal.color(QPalette::WindowText);
    border.setAlphaF(0.18);
    if (isChecked()) {
        QColor fill = accent;
        fill.setAlphaF(0.14);
        painter.setBrush(fill);
        painter.setPen(QPen(accent, 1.5));
    } else {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(border, 1.0));
    }
    painter.drawRoundedRect(box, 10, 10);
    if (m_mouseInside && isEnabled()) {
        QColor hover = pal.color(QPalette::WindowText);
        hover.setAlphaF(0.45);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(hover, 2.0));
        painter.drawRoundedRect(box.adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
    }
    if (isDown()) {
        QColor pressed = pal.color(QPalette::WindowText);
        pressed.setAlphaF(0.1);
        painter.setPen(Qt::NoPen);
        painter.setBrush(pressed);
        painter.drawRoundedRect(box, 10, 10);
    }
    paintGlyph(painter, box.adjusted(10, 10, -10, -10), isChecked() ? accent : pal.color(QPalette::ButtonText));
}

void SideBarButton::paintGlyph(QPainter &painter, const QRectF &g, const QColor &colour) const
{
    painter.save();
    painter.setBrush(Qt::NoBrush);
    QPen pen(colour, 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    painter.setPen(pen);
    switch (m_glyph) {
    case Glyph::Rectangle:
        painter.drawRoundedRect(g.adjusted(0, 2, 0, -2), 3, 3);
        break;
    case Glyph::Arrow: {
        // The editor's own arrow, bent a little, in a 20-point box.
        QPainterPath path(QPointF(g.left() + 1, g.bottom() - 1));
        path.quadTo(QPointF(g.left() + 3, g.top() + 6), QPointF(g.right() - 1, g.top() + 2));
        painter.drawPath(path);
        QPainterPath head;
        ArrowLayer::addArrowheadToPath(head, QPointF(g.left() + 3, g.top() + 6), QPointF(g.right() - 1, g.top() + 2));
        painter.setBrush(colour);
        painter.drawPath(head);
        break;
    }
    case Glyph::Text: {
        QFont f = font();
        f.setPixelSize(int(g.height() + 2));
        f.setWeight(QFont::Black);
        painter.setFont(f);
        painter.drawText(g.adjusted(-2, -2, 2, 2), Qt::AlignCenter, QStringLiteral("T"));
        break;
    }
    case Glyph::Blur: {
        // A checkerboard of soft squares.
        const qreal cell = g.width() / 4;
        painter.setPen(Qt::NoPen);
        for (int row = 0; row < 4; ++row) {
            for (int col = 0; col < 4; ++col) {
                QColor c = colour;
                c.setAlphaF((row + col) % 2 ? 0.35 : 0.9);
                painter.setBrush(c);
                painter.drawRoundedRect(QRectF(g.left() + col * cell, g.top() + row * cell, cell - 1, cell - 1), 1, 1);
            }
        }
        break;
    }
    case Glyph::Upload: {
        // A cloud with an arrow up.
        const QPointF c = g.center();
        auto disc = [](QPointF centre, qreal r) {
            QPainterPath p;
            p.addEllipse(centre, r, r);
            return p;
        };
        // One outline around three overlapping discs.
        const QPainterPath cloud = disc(QPointF(c.x() - 4.5, c.y() + 2), 5)
                                       .united(disc(QPointF(c.x() + 1, c.y() - 1.5), 6.5))
                                       .united(disc(QPointF(c.x() + 6, c.y() + 2.5), 4.5));
        painter.drawPath(cloud);
        painter.drawLine(QPointF(c.x() + 0.5, c.y() + 8), QPointF(c.x() + 0.5, c.y() - 1));
        painter.drawPolyline(QPolygonF(
            { QPointF(c.x() - 2.5, c.y() + 2), QPointF(c.x() + 0.5, c.y() - 1), QPointF(c.x() + 3.5, c.y() + 2) }));
        break;
    }
    case Glyph::Copy:
        painter.drawRoundedRect(QRectF(g.left() + 5, g.top(), g.width() - 5, g.height() - 5), 2.5, 2.5);
        painter.drawRoundedRect(QRectF(g.left(), g.top() + 5, g.width() - 5, g.height() - 5), 2.5, 2.5);
        break;
    }
    painter.restore();
}
