#pragma once

#include <QColor>
#include <QWidget>

// A window of four coloured quadrants (red, green / blue, yellow), so a
// capture can be checked pixel by pixel against where the window is.
class PatternWindow : public QWidget
{
public:
    static inline const QColor kColors[4] = { Qt::red, Qt::green, Qt::blue, Qt::yellow };

    // Shows it with its frame's top-left corner at the geometry's, and waits
    // until it is on screen.
    explicit PatternWindow(const QRect &logicalGeometry);

    // Waits until the X server shows all four quadrants where they belong,
    // as after something that covered the window went away.
    bool waitUntilShown() const;

    // The colour the pattern has at a point of its client area (logical,
    // relative to the window), away from the quadrant borders.
    QColor colorAt(const QPointF &local) const;

protected:
    void paintEvent(QPaintEvent *) override;
};
