#pragma once

#include <QImage>

// Image helpers of the markup editor.
namespace ImageExtensions {

// The image cut to the box of its pixels whose alpha is not zero; the image
// itself when every pixel is transparent (or it is null).
QImage croppedToTransparentBounds(const QImage &image);

// The image without its alpha channel (RGB32) when every pixel is opaque, so
// a PNG of it stores three channels, not four; otherwise the image as it is.
QImage withoutOpaqueAlpha(QImage image);

} // namespace ImageExtensions
