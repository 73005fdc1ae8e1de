#include "pixelate.h"

#include <algorithm>

namespace Pixelate {

namespace {

// The first grid line at or before `from` on a grid of `cell` through `anchor`.
int gridStart(int from, int anchor, int cell)
{
    int offset = (from - anchor) % cell;
    if (offset < 0)
        offset += cell;
    return from - offset;
}

void averageCell(QImage &image, const QRect &cell)
{
    quint64 sum[4] = { 0, 0, 0, 0 };
    for (int y = cell.top(); y <= cell.bottom(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = cell.left(); x <= cell.right(); ++x) {
            const QRgb p = line[x];
            sum[0] += qAlpha(p);
            sum[1] += qRed(p);
            sum[2] += qGreen(p);
            sum[3] += qBlue(p);
        }
    }
    const quint64 n = quint64(cell.width()) * quint64(cell.height());
    auto avg = [n](quint64 s) { return int((s + n / 2) / n); };
    const QRgb value = qRgba(avg(sum[1]), avg(sum[2]), avg(sum[3]), avg(sum[0]));
    for (int y = cell.top(); y <= cell.bottom(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        std::fill(line + cell.left(), line + cell.right() + 1, value);
    }
}

} // namespace

void pixelate(QImage &image, const QRect &box, int cell)
{
    if (image.isNull() || cell < 1)
        return;
    const QRect area = box.normalized() & image.rect();
    if (area.isEmpty())
        return;
    if (image.format() != QImage::Format_ARGB32_Premultiplied)
        image.convertTo(QImage::Format_ARGB32_Premultiplied);

    // Grid lines at the box's left + kCentre and, y growing downwards here,
    // at its bottom edge - kCentre.
    const QRect b = box.normalized();
    const int anchorX = b.left() + kCentre;
    const int anchorY = b.top() + b.height() - kCentre;
    for (int y0 = gridStart(area.top(), anchorY, cell); y0 <= area.bottom(); y0 += cell) {
        for (int x0 = gridStart(area.left(), anchorX, cell); x0 <= area.right(); x0 += cell) {
            const QRect c = QRect(x0, y0, cell, cell) & area;
            if (!c.isEmpty())
                averageCell(image, c);
        }
    }
}

} // namespace Pixelate
