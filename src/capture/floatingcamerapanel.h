#pragma once

#include <QImage>
#include <QRectF>
#include <QRegion>
#include <QWidget>

// A rectangle with round corners as a window shape.
QRegion roundedRegion(const QRect &rect, qreal radius);

// The round-cornered window that shows the webcam inside the recorded area.
// It always sits in one of the area's four corners, 12 points in from its
// edges; dragged elsewhere, it goes back to the nearest corner when let go.
//
// Its geometry is kept in global points with the origin at the bottom left
// (the recording rectangle's coordinates) and converted to Qt's when placed.
class FloatingCameraPanel : public QWidget
{
    Q_OBJECT
public:
    enum Corner { BottomLeft = 0, BottomRight = 1, TopLeft = 2, TopRight = 3 };

    FloatingCameraPanel();

    QRectF recordingRect() const { return m_recordingRect; }
    void setRecordingRect(const QRectF &rect);
    qreal snapInset() const { return m_snapInset > 0 ? m_snapInset : 12; }
    void setSnapInset(qreal inset) { m_snapInset = inset; }

    QRectF frameRect() const { return m_frame; }
    void setFrameRect(const QRectF &frame);
    void setFrameOrigin(const QPointF &origin);
    void setPanelSize(const QSizeF &size);

    void constrainToRecordingRect();
    Corner currentCorner() const;
    void snapToCorner(Corner corner, bool animated);
    void snapToNearestCornerAnimated(bool animated);

    void setFrame(const QImage &frame);

    // The geometry rules, without a window.
    static QRectF clampedFrame(const QRectF &frame, const QRectF &recordingRect);
    static QPointF cornerOrigin(const QRectF &rect, const QSizeF &size, Corner corner, qreal inset);
    // The corner nearest to `origin`, the first in the order bottom-left,
    // bottom-right, top-left, top-right on a tie.
    static Corner nearestCorner(const QRectF &rect, const QSizeF &size, const QPointF &origin, qreal inset);
    static Corner cornerOf(const QRectF &frame, const QRectF &rect);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void place();

    QRectF m_recordingRect;
    QRectF m_frame { 0, 0, 200, 200 };
    qreal m_snapInset = 12;
    QImage m_picture;
    QPointF m_dragOffset;
    bool m_dragging = false;
};
