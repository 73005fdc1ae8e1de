#include "patternwindow.h"

#include "e2e.h"

#include <QPainter>
#include <QTest>

PatternWindow::PatternWindow(const QRect &logicalGeometry)
{
    setWindowTitle(QStringLiteral("Capture pattern"));
    setGeometry(logicalGeometry);
    setFixedSize(logicalGeometry.size());
    show();
    [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(this);
    [[maybe_unused]] const bool shown = waitUntilShown();
}

bool PatternWindow::waitUntilShown() const
{
    return E2E::waitForWindowPixels(this, [](const QImage &pixels) {
        for (int quadrant = 0; quadrant < 4; ++quadrant) {
            const QPoint at(
                pixels.width() * (1 + 2 * (quadrant % 2)) / 4, pixels.height() * (1 + 2 * (quadrant / 2)) / 4);
            if (pixels.pixelColor(at) != kColors[quadrant])
                return false;
        }
        return true;
    });
}

QColor PatternWindow::colorAt(const QPointF &local) const
{
    const int column = local.x() < width() / 2.0 ? 0 : 1;
    const int row = local.y() < height() / 2.0 ? 0 : 1;
    return kColors[row * 2 + column];
}

void PatternWindow::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const int w = width() / 2;
    const int h = height() / 2;
    painter.fillRect(0, 0, w, h, kColors[0]);
    painter.fillRect(w, 0, width() - w, h, kColors[1]);
    painter.fillRect(0, h, w, height() - h, kColors[2]);
    painter.fillRect(w, h, width() - w, height() - h, kColors[3]);
}
