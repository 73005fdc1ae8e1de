#include "imageextensions.h"

#include <algorithm>

namespace ImageExtensions {

QImage croppedToTransparentBounds(const QImage &original)
{
    if (original.isNull())
        return original;
    const QImage image
        = original.hasAlphaChannel() ? original.convertToFormat(QImage::Format_ARGB32_Premultiplied) : QImage();
    if (image.isNull())
        return original; // no alpha: nothing is transparent
    const int w = image.width();
    const int h = image.height();
    int minX = w, maxX = 0, minY = h, maxY = 0;
    for (int y = 0; y < h; ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        int first = 0;
        while (first < w && qAlpha(line[first]) == 0)
            ++first;
        if (first == w)
            continue;
        int last = w - 1;
        while (qAlpha(line[last]) == 0)
            --last;
        minX = std::min(minX, first);
        maxX = std::max(maxX, last);
        minY = std::min(minY, y);
        maxY = y;
    }
    if (maxX < minX || maxY < minY)
        return original;
    return original.copy(minX, minY, maxX - minX + 1, maxY - minY + 1);
}

QImage withoutOpaqueAlpha(QImage image)
{
    if (image.isNull() || !image.hasAlphaChannel())
        return image;
    if (image.format() != QImage::Format_ARGB32_Premultiplied && image.format() != QImage::Format_ARGB32)
        return image;
    const int w = image.width();
    const int h = image.height();
    for (int y = 0; y < h; ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = 0; x < w; ++x) {
            if (qAlpha(line[x]) != 255)
                return image;
        }
    }
    // Opaque pixels are the same premultiplied or not; an image not shared
    // elsewhere changes its format in place.
    image.reinterpretAsFormat(QImage::Format_RGB32);
    return image;
}

} // namespace ImageExtensions
