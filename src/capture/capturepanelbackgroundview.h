#pragma once

#include <QPixmap>
#include <QWidget>

class CapturePanelModel;
class QTimer;

// Shows the capture panel's state and hands the pointer to its model: the
// screen dimmed around the crop rectangle, the rectangle's dashed white
// outline and its eight round handles, the window under the pointer in
// window-select mode, and the cursors that go with them.
//
// It draws over a picture of the screen taken when the panel arrived, so the
// dimming looks the same with or without a compositing manager. The model's
// coordinates have their origin at the bottom left; this view converts at
// its edges and nowhere else.
class CapturePanelBackgroundView : public QWidget
{
    Q_OBJECT
public:
    CapturePanelBackgroundView(CapturePanelModel *model, QWidget *parent = nullptr);

    void setBackdrop(const QPixmap &picture);
    void setPreparing(bool preparing);
    // While recording only the outline shows.
    void setRecording(bool recording);

    // Model (bottom-left) and widget (top-left) coordinates.
    QPointF toModel(const QPointF &widget) const;
    QRectF toWidget(const QRectF &model) const;

    static Qt::CursorShape cursorShape(const QString &name);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    QPointF globalModelPoint(const QPointF &widget) const;

    CapturePanelModel *m_model;
    QPixmap m_backdrop;
    bool m_preparing = false;
    bool m_recording = false;
    int m_spin = 0;
    // Turns the spinner; runs only while it shows, not through the recording.
    QTimer *m_spinner = nullptr;
};
