#pragma once

#include <QImage>

struct AVFrame;

// The picture of an 8-bit 4:2:0 frame (yuv420p or yuvj420p) as opaque RGBA,
// each chroma sample spread over its 2x2 block by linear interpolation
// between neighbouring samples, in the colour matrix and range the frame
// states (BT.601 when it states none). A null image for any other format.
QImage yuv420ToRgba(const AVFrame *frame);
