#pragma once

#include <QTimer>
#include <QWidget>

// The small indeterminate progress indicator of the processing panel: twelve
// spokes in the text colour, the brightest one going round once a second.
// Drawn as vectors, so it stays sharp at any device-pixel ratio.
class ProcessingSpinner : public QWidget
{
    Q_OBJECT
public:
    explicit ProcessingSpinner(QWidget *parent = nullptr);

    void startAnimation();
    void stopAnimation();
    bool isAnimating() const { return m_timer.isActive(); }

    QSize sizeHint() const override { return { 20, 20 }; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QTimer m_timer;
    int m_step = 0;
};
