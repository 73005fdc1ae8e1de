#include "processingspinner.h"

#include <QPainter>

namespace {
constexpr int kSpokes = 12;
}

ProcessingSpinner::ProcessingSpinner(QWidget *parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAccessibleName(tr("Working"));
    m_timer.setInterval(1000 / kSpokes);
    connect(&m_timer, &QTimer::timeout, this, [this] {
        m_step = (m_step + 1) % kSpokes;
        update();
    });
}

void ProcessingSpinner::startAnimation()
{
    m_timer.start();
}

void ProcessingSpinner::stopAnimation()
{
    m_timer.stop();
}

void ProcessingSpinner::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = qMin(width(), height());
    const qreal outer = side / 2.0 - 1.0;
    const qreal inner = outer * 0.5;
    QColor colour = palette().color(QPalette::WindowText);
    painter.translate(width() / 2.0, height() / 2.0);
    for (int i = 0; i < kSpokes; ++i) {
        // The leading spoke is solid; those behind it fade to a quarter.
        const int age = (m_step - i + kSpokes) % kSpokes;
        colour.setAlphaF(1.0 - 0.75 * age / (kSpokes - 1));
        painter.setPen(QPen(colour, side / 10.0, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(0, -inner), QPointF(0, -outer));
        painter.rotate(360.0 / kSpokes);
    }
}
