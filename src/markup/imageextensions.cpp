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
        int first = -1, last = -1;
        for (int x = 0; x < w; ++x) {
            if (qAlpha(line[x]) != 0) {
                if (first < 0)
                    first = x;
                last = x;
            }
        }
        if (first < 0)
            continue;
        minX = std::min(minX, first);
        maxX = std::max(maxX, last);
        minY = std::min(minY, y);
        maxY = y;
    }
    if (maxX < minX || maxY < minY)
        return original;
    return original.copy(minX, minY, maxX - minX + 1, maxY - minY + 1);
}

} // namespace ImageExtensions
