#include "imagelayer.h"

#include <QPainter>

#include <cmath>

void ImageLayer::setImage(const QImage &image, qreal scale)
{
    m_image = image;
    m_scale = scale > 0 ? scale : 1.0;
}

QSizeF ImageLayer::pointSize() const
{
    return QSizeF(m_image.width() / m_scale, m_image.height() / m_scale);
}

QRectF ImageLayer::contentRect() const
{
    const QSizeF size = pointSize();
    if (size.isEmpty() || m_frame.isEmpty())
        return {};
    const QSizeF fitted = size.scaled(m_frame.size(), Qt::KeepAspectRatio);
    return QRectF(m_frame.center() - QPointF(fitted.width() / 2, fitted.height() / 2), fitted);
}

void ImageLayer::draw(QPainter &painter, qreal canvasHeight, qreal k) const
{
    const QRectF content = contentRect();
    if (content.isEmpty())
        return;
    // Device pixels, y down.
    QRectF target(content.x() * k, (canvasHeight - content.y() - content.height()) * k, content.width() * k,
        content.height() * k);
    if (std::abs(target.width() - m_image.width()) < 1 && std::abs(target.height() - m_image.height()) < 1)
        target.setSize(m_image.size());
    target.moveTopLeft(QPointF(std::round(target.x()), std::round(target.y())));
    painter.save();
    painter.resetTransform();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(target, m_image);
    painter.restore();
}
