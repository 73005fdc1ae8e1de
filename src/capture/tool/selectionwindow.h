#pragma once

#include <QWidget>

class CaptureSession;
class QScreen;

// One screen of an interactive capture: the frozen picture of that screen,
// dimmed except for the selection (or the highlighted window), with a
// crosshair and the selection's size in device pixels. Input goes to the
// session in global coordinates.
class SelectionWindow : public QWidget
{
    Q_OBJECT
public:
    SelectionWindow(CaptureSession *session, int screenIndex, QScreen *screen);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void paintSizeLabel(QPainter &painter, const QRectF &local, const QSize &pixels);

    CaptureSession *m_session;
    int m_screenIndex;
};
