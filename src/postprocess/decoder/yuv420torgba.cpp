#include "yuv420torgba.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixfmt.h>
}

#include <QtGlobal>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

// The chroma samples sit in the middle of their 2x2 blocks, as FFmpeg's own
// conversions take them: a pixel gets 3/4 of the nearer sample and 1/4 of
// the farther one, across and down (the edges repeat their samples). The
// arithmetic is integer: chroma scaled by 16, coefficients by 2^12, luma by
// 2^16.
static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN, "the pixels are packed as little-endian words");

QImage yuv420ToRgba(const AVFrame *frame)
{
    if (frame->format != AV_PIX_FMT_YUV420P && frame->format != AV_PIX_FMT_YUVJ420P)
        return {};
    const int width = frame->width;
    const int height = frame->height;
    const int chromaWidth = (width + 1) / 2;
    const int chromaHeight = (height + 1) / 2;
    const bool full = frame->color_range == AVCOL_RANGE_JPEG || frame->format == AV_PIX_FMT_YUVJ420P;
    double kr = 0.299, kb = 0.114;
    if (frame->colorspace == AVCOL_SPC_BT709) {
        kr = 0.2126;
        kb = 0.0722;
    } else if (frame->colorspace == AVCOL_SPC_BT2020_NCL) {
        kr = 0.2627;
        kb = 0.0593;
    }
    const double kg = 1 - kr - kb;
    const double chromaScale = full ? 1.0 : 255.0 / 224.0;
    const int lumaOffset = full ? 0 : 16;
    const int luma = int(std::lround((full ? 1.0 : 255.0 / 219.0) * 65536));
    const int redV = int(std::lround(2 * (1 - kr) * chromaScale * 4096));
    const int blueU = int(std::lround(2 * (1 - kb) * chromaScale * 4096));
    const int greenU = int(std::lround(2 * kb * (1 - kb) / kg * chromaScale * 4096));
    const int greenV = int(std::lround(2 * kr * (1 - kr) / kg * chromaScale * 4096));

    QImage image(width, height, QImage::Format_RGBA8888);
    if (image.isNull())
        return image;
    std::vector<int> rowU(static_cast<size_t>(chromaWidth)), rowV(static_cast<size_t>(chromaWidth));
    std::vector<int> u(static_cast<size_t>(width)), v(static_cast<size_t>(width));
    for (int y = 0; y < height; ++y) {
        const int nearer = y / 2;
        const int farther = std::clamp(y % 2 ? nearer + 1 : nearer - 1, 0, chromaHeight - 1);
        const uint8_t *nearU = frame->data[1] + ptrdiff_t(nearer) * frame->linesize[1];
        const uint8_t *farU = frame->data[1] + ptrdiff_t(farther) * frame->linesize[1];
        const uint8_t *nearV = frame->data[2] + ptrdiff_t(nearer) * frame->linesize[2];
        const uint8_t *farV = frame->data[2] + ptrdiff_t(farther) * frame->linesize[2];
        for (int i = 0; i < chromaWidth; ++i) {
            rowU[size_t(i)] = 3 * nearU[i] + farU[i];
            rowV[size_t(i)] = 3 * nearV[i] + farV[i];
        }
        for (int i = 0; i < chromaWidth; ++i) {
            const size_t at = size_t(i);
            const size_t left = size_t(std::max(i - 1, 0));
            const size_t right = size_t(std::min(i + 1, chromaWidth - 1));
            u[2 * at] = 3 * rowU[at] + rowU[left];
            v[2 * at] = 3 * rowV[at] + rowV[left];
            if (2 * i + 1 < width) {
                u[2 * at + 1] = 3 * rowU[at] + rowU[right];
                v[2 * at + 1] = 3 * rowV[at] + rowV[right];
            }
        }
        const uint8_t *lumaRow = frame->data[0] + ptrdiff_t(y) * frame->linesize[0];
        auto *out = reinterpret_cast<uint32_t *>(image.scanLine(y));
        const int *uRow = u.data();
        const int *vRow = v.data();
        for (int x = 0; x < width; ++x) {
            const int l = (lumaRow[x] - lumaOffset) * luma + 32768;
            const int cb = uRow[x] - 16 * 128;
            const int cr = vRow[x] - 16 * 128;
            const int r = std::min(std::max((l + redV * cr) >> 16, 0), 255);
            const int g = std::min(std::max((l - greenU * cb - greenV * cr) >> 16, 0), 255);
            const int b = std::min(std::max((l + blueU * cb) >> 16, 0), 255);
            // RGBA bytes in memory order on a little-endian machine.
            out[x] = uint32_t(r) | uint32_t(g) << 8 | uint32_t(b) << 16 | 0xff000000u;
        }
    }
    return image;
}
