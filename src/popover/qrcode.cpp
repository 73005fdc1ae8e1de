#include "qrcode.h"

#include <QHash>
#include <QPainter>

#include <qrencode.h>

namespace QrCode {

QImage imageForText(const QString &text, int moduleSize)
{
    const QByteArray utf8 = text.toUtf8();
    QRcode *code = QRcode_encodeString(utf8.constData(), 0, QR_ECLEVEL_M, QR_MODE_8, 1);
    if (!code)
        return {};
    constexpr int kQuietZone = 4;
    const int modules = code->width + 2 * kQuietZone;
    QImage image(modules * moduleSize, modules * moduleSize, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    for (int y = 0; y < code->width; ++y) {
        for (int x = 0; x < code->width; ++x) {
            if (code->data[y * code->width + x] & 1)
                painter.fillRect(
                    (x + kQuietZone) * moduleSize, (y + kQuietZone) * moduleSize, moduleSize, moduleSize, Qt::black);
        }
    }
    painter.end();
    QRcode_free(code);
    return image;
}

QIcon glyph(const QColor &color)
{
    static QHash<QRgb, QIcon> cache; // every row asks; the GUI thread only
    if (const auto cached = cache.constFind(color.rgba()); cached != cache.constEnd())
        return *cached;
    QIcon icon;
    for (int side : { 16, 32 }) {
        QPixmap pixmap(side, side);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        const qreal u = side / 16.0;
        painter.setPen(QPen(color, 1.5 * u));
        painter.setBrush(Qt::NoBrush);
        // Three finder patterns and a few data modules.
        for (const QPointF &corner : { QPointF(1, 1), QPointF(10, 1), QPointF(1, 10) }) {
            painter.drawRect(QRectF(corner.x() * u + 0.75 * u, corner.y() * u + 0.75 * u, 3.5 * u, 3.5 * u));
            painter.fillRect(QRectF((corner.x() + 1.75) * u, (corner.y() + 1.75) * u, 1.5 * u, 1.5 * u), color);
        }
        for (const QPointF &module :
            { QPointF(10, 10), QPointF(13, 10), QPointF(11.5, 11.5), QPointF(10, 13), QPointF(13, 13), QPointF(7, 7) })
            painter.fillRect(QRectF(module.x() * u, module.y() * u, 2 * u, 2 * u), color);
        painter.end();
        icon.addPixmap(pixmap);
    }
    cache.insert(color.rgba(), icon);
    return icon;
}

} // namespace QrCode
