#pragma once

#include <QImage>
#include <QRectF>

class QPainter;

// The screenshot at the bottom of the markup canvas. The picture is shown
// scaled to fit its frame, keeping its aspect ratio (letterboxed), and never
// drawn across a pixel boundary: when it fits at its own size it lands on
// whole device pixels, so a capture exported at its own ratio is unchanged.
class ImageLayer
{
public:
    QImage image() const { return m_image; }
    // The picture and its pixels per point (2 for a capture of a 2x screen).
    void setImage(const QImage &image, qreal scale);
    qreal scale() const { return m_scale; }
    // The picture's size in points.
    QSizeF pointSize() const;

    // Frame in canvas points (y up).
    QRectF frame() const { return m_frame; }
    void setFrame(const QRectF &frame) { m_frame = frame; }
    // Where the picture is drawn inside the frame, in canvas points.
    QRectF contentRect() const;

    // Draws the picture into a painter on device pixels of a canvas
    // `canvasHeight` points high at `k` pixels per point.
    void draw(QPainter &painter, qreal canvasHeight, qreal k) const;

private:
    QImage m_image;
    qreal m_scale = 1.0;
    QRectF m_frame;
};
