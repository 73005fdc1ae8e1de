#pragma once

#include <QImage>
#include <QRect>

// The pixelation of blur boxes: the pixels of a rectangle replaced by the
// average of square cells. The same function runs for the canvas on screen
// and for the exported image, so the file shows exactly what the screen did.
//
// Cells are `cell` pixels square. Their grid is anchored the way a pixellate
// filter with its default centre (150, 150) anchors it: grid lines pass
// through the point 150 pixels right of and 150 pixels above the box's
// bottom-left corner. Cells cut by the box's edge average only the part inside.
namespace Pixelate {

// The filter's default centre, in pixels from the box's bottom-left corner.
inline constexpr int kCentre = 150;

// Pixelates `box` (device pixels, top-left origin) of `image` in place. The
// image is converted to premultiplied ARGB32 first when it is not; parts of
// the box outside the image are ignored.
void pixelate(QImage &image, const QRect &box, int cell);

} // namespace Pixelate
