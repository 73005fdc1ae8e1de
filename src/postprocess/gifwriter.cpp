#include "gifwriter.h"

#include <QPainter>

#include <gif_lib.h>
#include <libimagequant.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <numeric>
#include <vector>

namespace {

// How far (per channel) a pixel may move from what the picture shows before
// it is drawn again, and how far a colour may be from the shared palette's
// entry that draws it. Large enough that the decoder's noise over a still
// screen and the shades a movie's compression smears along moving edges
// neither count as change nor need colours of their own: on bench/gif's
// recording 16 rather than 6 takes the file from 478 kB to 447 kB for an
// SSIM of 0.99977 rather than 0.99979, the settling below keeping what the
// screen really shows. From 24 up whole shades go wrong (SSIM 0.9964).
constexpr int kTolerance = 16;

// A pixel drawn in the last few frames is drawn again on a smaller change:
// behind a moving window the movie's edges settle over a few frames, and
// with the wider tolerance the picture would keep their first, smeared
// colours along the window's whole path. On bench/gif's recording (342 kB,
// SSIM 0.999526 with the settings here) settling over 3 or 4 frames gives
// 348 kB at 0.999567 or 351 kB at 0.999597, a tolerance of 2 346 kB at
// 0.999547; settling over 1 frame, that is not at all, 335 kB at 0.99927.
// Settling is what trades size for likeness here; ffmpeg's file is 345 kB
// at 0.999512.
constexpr int kSettlingFrames = 2;
constexpr int kSettlingTolerance = 4;

// libimagequant's speed: 1 is its best, 10 its fastest. From 8 up it rounds
// the colours it is given to even values, so a flat background of an odd
// shade comes out dithered between two: the first frame (the shared palette,
// shown longest) is quantised at 7, which keeps every colour. Later frames
// that need a palette of their own (a test pattern, video) go at 10, which
// still comes out closer to its source than ffmpeg's palettes, in well under
// half the time 6 takes.
constexpr int kFirstQuantiserSpeed = 7;
constexpr int kQuantiserSpeed = 10;

// The most pixels handed to the quantiser in one piece.
constexpr int kBandPixels = 1 << 20;

// A GIF delay is 16 bits of centiseconds.
constexpr int kLongestDelay = 65535;

// Colours matched against the shared palette are remembered in a table of
// 2^kNearestBits slots, addressed by a hash of the colour.
constexpr int kNearestBits = 15;

// Colours of a frame's own (not in the shared palette) are remembered, for
// that frame, in a table of 2^kOwnBits slots.
constexpr int kOwnBits = 10;
constexpr int kOwnSlots = 1 << kOwnBits;

// A frame drawn with shared colours only, no more than this many, gets a
// small table of its own when the shared entries it uses lie so far down
// the table that its LZW codes would start two bits longer or more.
constexpr int kCompactColours = 16;

// A shared colour that a frame uses at no more than this many pixels (a
// moving window's corners, where its edge crosses a line) may be drawn by an
// entry within twice the tolerance when that shortens the frame's codes
// (narrow()): on bench/gif's recording 351 kB at SSIM 0.999488 become
// 342 kB at 0.999526; from 8 pixels down hardly a frame gains.
constexpr int kRareUses = 16;

// A frame that needs more colours of its own than this is a picture (a test
// pattern, video) rather than a screen's change: it goes to the quantiser at
// once instead of after most of its pixels were matched in vain.
constexpr int kOwnLimit = 32;

// What the change mask says of a pixel: unchanged (0), changed, or changed
// again while settling.
constexpr uchar kChanged = 1;
constexpr uchar kSettled = 2;

// How far (per channel) the coder may stray from a changed pixel's colour
// where that continues a string it knows (GifEncoder): the noise a movie's
// compression leaves along moving edges then costs no new strings. Less for
// a pixel settling behind a moving window and for the first picture, which
// stays on screen longest. Frames with colours of their own (a test
// pattern, video) are written as quantised: their colours lie close
// together, and looking at all of them at every pixel would take longer
// than ffmpeg's whole run.
//
// A pixel the colour of all four of its neighbours gets no slack: a flat
// area is cheap to write exactly, and there a shade or two off stays in
// view as a stripe (a window leaves its path drawn a column at a time, the
// first picture a shade lighter here and there) that SSIM notices far more
// than the same error along an edge. Added to the earlier settings that
// rule alone took bench/gif's recording from 374 kB at SSIM 0.999541 to
// 385 kB at 0.999619, headroom the wider slacks here spend: with them the
// file is 342 kB at 0.999526, with 6 for a changed pixel 345 kB at the same
// SSIM, with 2 for a settling one 347 kB at 0.999525, with none on the first
// picture 359 kB at 0.999581.
constexpr int kChangedSlack = 10;
constexpr int kSettlingSlack = 6;
constexpr int kFirstSlack = 2;

int writeToSaveFile(GifFileType *gif, const GifByteType *data, int length)
{
    auto *file = static_cast<QSaveFile *>(gif->UserData);
    return int(file->write(reinterpret_cast<const char *>(data), length));
}

bool differs(const uchar *a, const uchar *b, int tolerance = kTolerance)
{
    return std::abs(a[0] - b[0]) > tolerance || std::abs(a[1] - b[1]) > tolerance || std::abs(a[2] - b[2]) > tolerance;
}

// A palette with its entries as giflib wants them, `entries` long (a power
// of two); the entries past the palette's end are black.
ColorMapObject *colourMap(const QVector<uint32_t> &palette, int entries)
{
    ColorMapObject *map = GifMakeMapObject(entries, nullptr);
    if (!map)
        return nullptr;
    for (int i = 0; i < entries; ++i) {
        uchar bytes[4] = {};
        if (i < palette.size())
            std::memcpy(bytes, &palette[i], 4);
        map->Colors[i] = { bytes[0], bytes[1], bytes[2] };
    }
    return map;
}

// The image as opaque RGBA bytes of the given size.
QImage opaqueRgba(const QImage &image, const QSize &size)
{
    QImage source = image.size() == size ? image : image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (source.format() == QImage::Format_RGBA8888 || source.format() == QImage::Format_RGBX8888)
        return source;
    if (!source.hasAlphaChannel())
        return source.convertToFormat(QImage::Format_RGBX8888);
    QImage flat(size, QImage::Format_RGBX8888);
    flat.fill(Qt::black);
    QPainter(&flat).drawImage(0, 0, source);
    return flat;
}

} // namespace

GifWriter::GifWriter(const QString &path)
    : m_file(path)
{
}

GifWriter::~GifWriter()
{
    if (m_gif)
        EGifCloseFile(m_gif, nullptr);
    // An uncommitted QSaveFile leaves the destination as it was.
}

bool GifWriter::failed(const QString &what)
{
    if (m_error.isEmpty())
        m_error = what;
    return false;
}

bool GifWriter::start(const QSize &size)
{
    if (!m_file.open(QIODevice::WriteOnly))
        return failed(QStringLiteral("the GIF could not be written: %1").arg(m_file.errorString()));
    int status = 0;
    m_gif = EGifOpen(&m_file, writeToSaveFile, &status);
    if (!m_gif)
        return failed(
            QStringLiteral("the GIF could not be started: %1").arg(QString::fromUtf8(GifErrorString(status))));
    EGifSetGifVersion(m_gif, true);
    ColorMapObject *map = colourMap(m_shared, m_sharedEntries);
    if (!map)
        return failed(QStringLiteral("there is not enough memory for a palette"));
    const bool described = EGifPutScreenDesc(m_gif, size.width(), size.height(), 8, 0, map) != GIF_ERROR;
    GifFreeMapObject(map);
    if (!described)
        return failed(QStringLiteral("the GIF's header could not be written"));
    // NETSCAPE2.0 with a loop count of 0: play forever.
    const GifByteType loop[3] = { 1, 0, 0 };
    if (EGifPutExtensionLeader(m_gif, APPLICATION_EXT_FUNC_CODE) == GIF_ERROR
        || EGifPutExtensionBlock(m_gif, 11, "NETSCAPE2.0") == GIF_ERROR
        || EGifPutExtensionBlock(m_gif, 3, loop) == GIF_ERROR || EGifPutExtensionTrailer(m_gif) == GIF_ERROR)
        return failed(QStringLiteral("the GIF's header could not be written"));
    return true;
}

bool GifWriter::addFrame(const QImage &image, int delayCentiseconds)
{
    if (!m_error.isEmpty())
        return false;
    if (image.isNull())
        return failed(QStringLiteral("a frame is missing"));
    delayCentiseconds = qBound(0, delayCentiseconds, kLongestDelay);

    if (m_reference.isNull()) {
        QImage first = opaqueRgba(image, image.size());
        const QSize size = first.size();
        if (size.isEmpty() || size.width() > 65535 || size.height() > 65535)
            return failed(QStringLiteral("a GIF cannot be %1x%2 pixels").arg(size.width()).arg(size.height()));
        // The first frame's colours become the shared palette, one entry
        // short of 256 to leave room for the later frames' transparency.
        m_pending = std::make_unique<Frame>();
        m_pending->delay = delayCentiseconds;
        if (!quantise(first, first.rect(), QImage(), 255, *m_pending))
            return false;
        m_shared = std::move(m_pending->palette);
        m_pending->palette.clear();
        m_transparent = int(m_shared.size());
        m_shared.append(0);
        m_sharedEntries = 1 << GifBitSize(int(m_shared.size()));
        compress(*m_pending, first, QImage(), kFirstSlack);
        sortShared(*m_pending);
        m_nearest.assign(size_t(1) << kNearestBits, Nearest());
        m_reference = first.copy();
        m_drawnAt.assign(size_t(size.width()) * size_t(size.height()), 0);
        return start(size);
    }

    const QImage frame = opaqueRgba(image, m_reference.size());
    ++m_frameNumber;
    const int width = frame.width();
    const int height = frame.height();
    QImage changed(frame.size(), QImage::Format_Grayscale8);
    int left = width, right = -1, top = height, bottom = -1;
    for (int y = 0; y < height; ++y) {
        const uchar *now = frame.constScanLine(y);
        const uchar *shown = m_reference.constScanLine(y);
        uchar *mark = changed.scanLine(y);
        if (std::memcmp(now, shown, size_t(width) * 4) == 0) {
            std::memset(mark, 0, size_t(width));
            continue;
        }
        quint16 *drawnAt = m_drawnAt.data() + size_t(y) * size_t(width);
        for (int x = 0; x < width; ++x) {
            // The frame numbers wrap; a pixel last drawn exactly a multiple
            // of 65536 frames ago merely counts as settling once more.
            const bool settling = quint16(m_frameNumber - drawnAt[x]) < kSettlingFrames;
            mark[x] = differs(now + 4 * x, shown + 4 * x, settling ? kSettlingTolerance : kTolerance)
                ? (settling ? kSettled : kChanged)
                : 0;
            if (mark[x]) {
                drawnAt[x] = m_frameNumber;
                left = std::min(left, x);
                right = std::max(right, x);
                top = std::min(top, y);
                bottom = y;
            }
        }
    }

    if (right < 0) {
        // Nothing moved: the picture on screen simply stays longer.
        if (m_pending->delay + delayCentiseconds <= kLongestDelay) {
            m_pending->delay += delayCentiseconds;
            return true;
        }
        // Past the longest delay a GIF can say, a one-pixel transparent
        // frame carries the rest of the wait.
        if (!writeFrame(*m_pending))
            return false;
        auto still = std::make_unique<Frame>();
        still->rect = QRect(0, 0, 1, 1);
        still->transparentIndex = m_transparent;
        still->indices = QByteArray(1, char(still->transparentIndex));
        still->delay = delayCentiseconds;
        compress(*still, frame, QImage(), 0);
        m_pending = std::move(still);
        return true;
    }

    const QRect rect(QPoint(left, top), QPoint(right, bottom));
    for (int y = rect.top(); y <= rect.bottom(); ++y) {
        const uchar *mark = changed.constScanLine(y);
        const auto *now = reinterpret_cast<const quint32 *>(frame.constScanLine(y));
        auto *shown = reinterpret_cast<quint32 *>(m_reference.scanLine(y));
        for (int x = rect.left(); x <= rect.right(); ++x) {
            if (mark[x])
                shown[x] = now[x];
        }
    }
    auto next = std::make_unique<Frame>();
    next->delay = delayCentiseconds;
    const bool remapped = remap(frame, rect, changed, *next);
    if (!remapped && !quantise(frame, rect, changed, 256, *next))
        return false;
    compress(*next, frame, changed, remapped ? kChangedSlack : 0);
    next->indices = QByteArray(); // written: only the data is kept
    if (!writeFrame(*m_pending))
        return false;
    m_pending = std::move(next);
    return true;
}

// Reduces the rectangle of `rgba` to at most `colours` colours, a palette
// of the frame's own; where `mask` is 0 the pixel becomes transparent (a
// null mask keeps every pixel).
bool GifWriter::quantise(const QImage &rgba, const QRect &rect, const QImage &mask, int colours, Frame &frame)
{
    const int width = rect.width();
    const int height = rect.height();
    QImage region(width, height, QImage::Format_RGBA8888);
    for (int y = 0; y < height; ++y) {
        const auto *source = reinterpret_cast<const quint32 *>(rgba.constScanLine(rect.top() + y)) + rect.left();
        auto *target = reinterpret_cast<quint32 *>(region.scanLine(y));
        if (mask.isNull()) {
            std::memcpy(target, source, size_t(width) * 4);
            for (int x = 0; x < width; ++x)
                reinterpret_cast<uchar *>(target + x)[3] = 255;
            continue;
        }
        const uchar *keep = mask.constScanLine(rect.top() + y) + rect.left();
        for (int x = 0; x < width; ++x) {
            target[x] = keep[x] ? source[x] : 0;
            if (keep[x])
                reinterpret_cast<uchar *>(target + x)[3] = 255;
        }
    }

    // The region goes to libimagequant in bands: one histogram over all of
    // them, then each band remapped with the palette made from it. Bands keep
    // the quantiser's working memory small for a 4K screen (where, given the
    // whole picture at once, it switches to a row-by-row mode that leaks).
    const int bandRows = std::max(1, kBandPixels / width);
    std::vector<void *> rows(static_cast<size_t>(height));
    for (int y = 0; y < height; ++y)
        rows[size_t(y)] = region.scanLine(y);
    std::vector<liq_image *> bands;
    liq_attr *attr = liq_attr_create();
    liq_set_max_colors(attr, colours);
    liq_set_speed(attr, mask.isNull() ? kFirstQuantiserSpeed : kQuantiserSpeed);
    liq_histogram *histogram = liq_histogram_create(attr);
    bool ok = histogram != nullptr;
    for (int y = 0; ok && y < height; y += bandRows) {
        liq_image *band = liq_image_create_rgba_rows(attr, rows.data() + y, width, std::min(bandRows, height - y), 0);
        if (band)
            bands.push_back(band);
        ok = band && liq_histogram_add_image(histogram, attr, band) == LIQ_OK;
    }
    liq_result *result = nullptr;
    ok = ok && liq_histogram_quantize(histogram, attr, &result) == LIQ_OK;
    if (ok) {
        liq_set_dithering_level(result, mask.isNull() ? 1.0f : 0.0f);
        frame.indices.resize(qsizetype(width) * height);
        for (size_t b = 0; ok && b < bands.size(); ++b) {
            const qsizetype offset = qsizetype(b) * bandRows * width;
            ok = liq_write_remapped_image(
                     result, bands[b], frame.indices.data() + offset, size_t(frame.indices.size() - offset))
                == LIQ_OK;
        }
    }
    if (ok) {
        const liq_palette *palette = liq_get_palette(result);
        frame.palette.resize(int(palette->count));
        frame.transparentIndex = -1;
        for (unsigned i = 0; i < palette->count; ++i) {
            const liq_color c = palette->entries[i];
            const uchar bytes[4] = { c.r, c.g, c.b, c.a };
            std::memcpy(&frame.palette[int(i)], bytes, 4);
            if (c.a < 128 && frame.transparentIndex < 0)
                frame.transparentIndex = int(i);
        }
        frame.rect = rect;
    }
    if (result)
        liq_result_destroy(result);
    for (liq_image *band : bands)
        liq_image_destroy(band);
    if (histogram)
        liq_histogram_destroy(histogram);
    liq_attr_destroy(attr);
    return ok ? true : failed(QStringLiteral("a frame's colours could not be reduced"));
}

// The entry of the shared palette nearest to the colour, or -1 when none
// is within the change tolerance on every channel.
int GifWriter::nearestShared(uint32_t rgba)
{
    const uint32_t colour = rgba | 0xff000000u; // RGBA bytes: alpha is the high byte
    Nearest &slot = m_nearest[(colour * 2654435761u) >> (32 - kNearestBits)];
    if (slot.colour == colour)
        return slot.index;
    slot = { colour, closestShared(colour, int(m_shared.size()), kTolerance) };
    return slot.index;
}

// Of the shared palette's first `limit` entries, the one nearest to the
// colour within `tolerance` on every channel, or -1.
int GifWriter::closestShared(uint32_t colour, int limit, int tolerance) const
{
    const auto *c = reinterpret_cast<const uchar *>(&colour);
    int best = -1;
    int bestDistance = 3 * tolerance * tolerance + 1;
    for (int i = 0; i < std::min(limit, int(m_shared.size())); ++i) {
        if (i == m_transparent)
            continue;
        const auto *p = reinterpret_cast<const uchar *>(&m_shared[i]);
        const int r = c[0] - p[0], g = c[1] - p[1], b = c[2] - p[2];
        if (std::abs(r) > tolerance || std::abs(g) > tolerance || std::abs(b) > tolerance)
            continue;
        const int distance = r * r + g * g + b * b;
        if (distance < bestDistance) {
            bestDistance = distance;
            best = i;
        }
    }
    return best;
}

// Renumbers the shared palette by how often the first picture uses each
// entry, transparency first, and writes that picture again with the new
// numbers (exactly as drawn: LZW finds the same strings whatever the
// numbers). A later frame drawn with the common colours then uses the
// table's first entries only, and its codes start shorter (narrow()).
void GifWriter::sortShared(Frame &first)
{
    std::array<qint64, 256> uses {};
    for (const char index : std::as_const(first.indices))
        ++uses[uchar(index)];
    uses[size_t(m_transparent)] = std::numeric_limits<qint64>::max();
    std::vector<int> order(size_t(m_shared.size()));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return uses[size_t(a)] > uses[size_t(b)]; });
    std::array<uchar, 256> renumbered {};
    QVector<uint32_t> sorted;
    sorted.reserve(m_shared.size());
    for (const int i : order) {
        renumbered[size_t(i)] = uchar(sorted.size());
        sorted.append(m_shared[i]);
    }
    for (char &index : first.indices)
        index = char(renumbered[uchar(index)]);
    m_shared = std::move(sorted);
    m_transparent = 0;
    first.codeSize = codeSizeFor(first.indices);
    GifEncoder::Pixels pixels;
    pixels.indices = reinterpret_cast<uchar *>(first.indices.data());
    pixels.count = first.indices.size();
    first.data = m_encoder.encode(first.codeSize, pixels);
    first.indices = QByteArray();
}

// The LZW code size for indices into the shared palette: the bits of the
// highest one, for GIF readers take the code size from the frame's data,
// whatever the size of the table.
int GifWriter::codeSizeFor(const QByteArray &indices)
{
    uchar highest = 0;
    for (const char index : indices)
        highest = std::max(highest, uchar(index));
    return std::max(2, GifBitSize(highest + 1));
}

// Redraws a frame of shared indices with as few of the palette's first
// entries as will do: each entry past them that the frame uses must have
// one among them within the change tolerance (twice that for an entry it
// uses at a few pixels only). The code size falls by a bit for each
// halving: on bench/gif's recording three frames in four are coded with 5
// bits rather than 7, and the file is 342 kB rather than 358 kB.
void GifWriter::narrow(QByteArray &indices) const
{
    std::array<int, 256> used {};
    for (const char index : std::as_const(indices))
        ++used[uchar(index)];
    int highest = 0;
    for (int i = 0; i < 256; ++i) {
        if (used[size_t(i)])
            highest = i;
    }
    std::array<uchar, 256> to {};
    for (int limit = 4; limit <= highest; limit *= 2) {
        bool fits = true;
        for (int i = limit; fits && i <= highest; ++i) {
            const int uses = used[size_t(i)];
            const int nearest
                = uses ? closestShared(m_shared[i], limit, uses <= kRareUses ? 2 * kTolerance : kTolerance) : 0;
            fits = nearest >= 0;
            to[size_t(i)] = uchar(nearest);
        }
        if (!fits)
            continue;
        for (char &index : indices) {
            if (uchar(index) >= limit)
                index = char(to[uchar(index)]);
        }
        return;
    }
}

// Draws the rectangle of `rgba` with the colours the picture already has:
// each changed pixel takes the shared palette's nearest entry within the
// tolerance or, where there is none, a colour of the frame's own (the first
// such pixel's, shared by the later ones within the tolerance of it); where
// `mask` is 0 the pixel is transparent. The frame's table holds just the
// colours it uses, unless they are all shared ones and too many for a small
// table to pay. False (and nothing to report) when it would need more than
// 256 colours, or more than kOwnLimit of its own.
bool GifWriter::remap(const QImage &rgba, const QRect &rect, const QImage &mask, Frame &frame)
{
    const int sharedTransparent = m_transparent;
    QVector<uint32_t> palette; // the frame's colours, in the order first met
    std::array<int, 256> fromShared; // shared entry to the frame's, or -1
    fromShared.fill(-1);
    std::array<Nearest, kOwnSlots> own {}; // colours of the frame's own, looked up
    int owned = 0;
    const auto add = [&](uint32_t colour) {
        palette.append(colour);
        return int(palette.size()) - 1;
    };
    QByteArray indices(qsizetype(rect.width()) * rect.height(), Qt::Uninitialized);
    auto *out = reinterpret_cast<uchar *>(indices.data());
    for (int y = rect.top(); y <= rect.bottom(); ++y) {
        const auto *source = reinterpret_cast<const quint32 *>(rgba.constScanLine(y));
        const uchar *keep = mask.constScanLine(y);
        for (int x = rect.left(); x <= rect.right(); ++x) {
            int shared = keep[x] ? nearestShared(source[x]) : sharedTransparent;
            if (shared < 0 && m_shared.size() < m_sharedEntries) {
                // The shared table has room: the colour joins it, for this
                // frame and the later ones.
                shared = int(m_shared.size());
                m_shared.append(source[x] | 0xff000000u);
                m_nearest.assign(m_nearest.size(), Nearest());
            }
            int index = shared >= 0 ? fromShared[shared] : -1;
            if (shared < 0) {
                const uint32_t colour = source[x] | 0xff000000u;
                Nearest &slot = own[(colour * 2654435761u) >> (32 - kOwnBits)];
                if (slot.colour != colour) {
                    slot = { colour, -1 };
                    const auto *wanted = reinterpret_cast<const uchar *>(&colour);
                    for (int i = 0; i < palette.size() && slot.index < 0; ++i) {
                        const auto *have = reinterpret_cast<const uchar *>(&palette[i]);
                        if (i != fromShared[sharedTransparent] && !differs(wanted, have, kTolerance))
                            slot.index = i;
                    }
                }
                index = slot.index;
                if (index < 0) {
                    if (palette.size() == 256 || owned == kOwnLimit)
                        return false;
                    slot.index = index = add(colour);
                    ++owned;
                }
            } else if (index < 0) {
                if (palette.size() == 256)
                    return false;
                fromShared[shared] = index = add(m_shared[shared]);
            }
            *out++ = uchar(index);
        }
    }
    frame.rect = rect;
    frame.indices = std::move(indices);
    frame.transparentIndex = fromShared[sharedTransparent];
    frame.palette = std::move(palette);
    if (owned > 0)
        return true;
    // The global table, then, with the shared palette's own indices, unless
    // a small table of the frame's own makes the codes much shorter.
    std::array<uchar, 256> toShared {};
    for (int i = 0; i < int(fromShared.size()); ++i) {
        if (fromShared[i] >= 0)
            toShared[size_t(fromShared[i])] = uchar(i);
    }
    QByteArray shared(frame.indices.size(), Qt::Uninitialized);
    std::transform(frame.indices.cbegin(), frame.indices.cend(), shared.begin(),
        [&](char index) { return char(toShared[uchar(index)]); });
    narrow(shared);
    const int compactBits = std::max(2, GifBitSize(int(frame.palette.size())));
    if (frame.palette.size() <= kCompactColours && codeSizeFor(shared) >= compactBits + 2)
        return true;
    frame.indices = std::move(shared);
    frame.palette.clear();
    frame.transparentIndex = sharedTransparent;
    return true;
}

// Compresses the frame's indices into its data, where `mask` says a pixel
// changed letting the coder write any colour within the slack of the movie's
// there. With no mask every pixel gets `slack`.
void GifWriter::compress(Frame &frame, const QImage &rgba, const QImage &mask, int slack)
{
    const QVector<uint32_t> &palette = frame.palette.isEmpty() ? m_shared : frame.palette;
    const QRect rect = frame.rect;
    const qsizetype count = frame.indices.size();
    std::vector<uchar> slacks;
    if (!mask.isNull() && slack > 0) {
        slacks.resize(size_t(count));
        auto *out = slacks.data();
        for (int y = rect.top(); y <= rect.bottom(); ++y) {
            const uchar *mark = mask.constScanLine(y);
            for (int x = rect.left(); x <= rect.right(); ++x)
                *out++ = uchar(mark[x] == kChanged ? slack : mark[x] == kSettled ? kSettlingSlack : 0);
        }
    } else if (slack > 0) {
        slacks.assign(size_t(count), uchar(slack));
    }
    if (!slacks.empty()) {
        // A pixel the colour of its four neighbours is written exactly.
        constexpr quint32 kRgb = 0x00ffffffu; // RGBA bytes: alpha is the high byte
        auto *out = slacks.data();
        for (int y = rect.top(); y <= rect.bottom(); ++y) {
            const auto *row = reinterpret_cast<const quint32 *>(rgba.constScanLine(y));
            const auto *above = y > 0 ? reinterpret_cast<const quint32 *>(rgba.constScanLine(y - 1)) : row;
            const auto *below
                = y + 1 < rgba.height() ? reinterpret_cast<const quint32 *>(rgba.constScanLine(y + 1)) : row;
            for (int x = rect.left(); x <= rect.right(); ++x, ++out) {
                const quint32 c = row[x];
                const quint32 left = x > 0 ? row[x - 1] : c;
                const quint32 right = x + 1 < rgba.width() ? row[x + 1] : c;
                if ((((left ^ c) | (right ^ c) | (above[x] ^ c) | (below[x] ^ c)) & kRgb) == 0)
                    *out = 0;
            }
        }
    }
    GifEncoder::Pixels pixels;
    pixels.indices = reinterpret_cast<uchar *>(frame.indices.data());
    pixels.count = count;
    pixels.slack = slacks.empty() ? nullptr : slacks.data();
    pixels.targets = rgba.constScanLine(rect.top()) + 4 * rect.left();
    pixels.stride = rgba.bytesPerLine();
    pixels.width = rect.width();
    pixels.palette = palette.constData();
    pixels.transparent = frame.transparentIndex;
    frame.codeSize
        = frame.palette.isEmpty() ? codeSizeFor(frame.indices) : std::max(2, GifBitSize(int(palette.size())));
    // The coder's choices stay within the code size.
    pixels.colours = std::min(int(palette.size()), 1 << frame.codeSize);
    frame.data = m_encoder.encode(frame.codeSize, pixels);
}

bool GifWriter::writeFrame(const Frame &frame)
{
    GraphicsControlBlock control;
    control.DisposalMode = DISPOSE_DO_NOT;
    control.UserInputFlag = false;
    control.DelayTime = frame.delay;
    control.TransparentColor = frame.transparentIndex >= 0 ? frame.transparentIndex : NO_TRANSPARENT_COLOR;
    GifByteType extension[4];
    const size_t length = EGifGCBToExtension(&control, extension);
    if (EGifPutExtension(m_gif, GRAPHICS_EXT_FUNC_CODE, int(length), extension) == GIF_ERROR)
        return failed(QStringLiteral("the GIF could not be written: %1").arg(m_file.errorString()));

    // A frame drawn with the shared palette has no table of its own; any
    // other's is the smallest power of two that holds its colours.
    ColorMapObject *map = nullptr;
    if (!frame.palette.isEmpty()) {
        map = colourMap(frame.palette, 1 << GifBitSize(int(frame.palette.size())));
        if (!map)
            return failed(QStringLiteral("there is not enough memory for a palette"));
    } else if (m_gif->Image.ColorMap) {
        // giflib forgets (and leaks) the last frame's table when a frame
        // comes without one.
        GifFreeMapObject(m_gif->Image.ColorMap);
        m_gif->Image.ColorMap = nullptr;
    }
    // giflib writes the code size that the frame's colour table implies. A
    // frame drawn with the shared table's first entries is coded with fewer
    // bits, and the shared table says so while giflib reads it.
    const int sharedBits = m_gif->SColorMap->BitsPerPixel;
    if (!map)
        m_gif->SColorMap->BitsPerPixel = frame.codeSize;
    bool ok
        = EGifPutImageDesc(m_gif, frame.rect.x(), frame.rect.y(), frame.rect.width(), frame.rect.height(), false, map)
        != GIF_ERROR;
    m_gif->SColorMap->BitsPerPixel = sharedBits;
    if (map)
        GifFreeMapObject(map);
    // The data must have been compressed for a local table's size.
    if (ok && map && std::max(2, m_gif->Image.ColorMap->BitsPerPixel) != frame.codeSize)
        return failed(QStringLiteral("a frame was compressed for the wrong colour table"));
    const auto *data = reinterpret_cast<const GifByteType *>(frame.data.constData());
    for (qsizetype at = 0; ok && at < frame.data.size(); at += data[at] + 1)
        ok = (at == 0 ? EGifPutCode(m_gif, frame.codeSize, data) : EGifPutCodeNext(m_gif, data + at)) != GIF_ERROR;
    ok = ok && EGifPutCodeNext(m_gif, nullptr) != GIF_ERROR;
    if (!ok)
        return failed(QStringLiteral("the GIF could not be written: %1").arg(m_file.errorString()));
    ++m_framesWritten;
    return true;
}

bool GifWriter::finish()
{
    if (!m_error.isEmpty())
        return false;
    if (!m_gif)
        return failed(QStringLiteral("there were no frames to write"));
    if (!writeFrame(*m_pending))
        return false;
    m_pending.reset();
    int status = 0;
    const int closed = EGifCloseFile(m_gif, &status);
    m_gif = nullptr;
    if (closed == GIF_ERROR)
        return failed(
            QStringLiteral("the GIF could not be finished: %1").arg(QString::fromUtf8(GifErrorString(status))));
    // The shared table as it ended up, over the one the header was written
    // with: right after the signature and the screen descriptor.
    QByteArray table(3 * m_sharedEntries, 0);
    for (int i = 0; i < m_shared.size(); ++i)
        std::memcpy(table.data() + 3 * i, &m_shared[i], 3);
    if (!m_file.seek(13) || m_file.write(table) != table.size())
        return failed(QStringLiteral("the GIF could not be written: %1").arg(m_file.errorString()));
    if (!m_file.commit())
        return failed(QStringLiteral("the GIF could not be saved: %1").arg(m_file.errorString()));
    return true;
}
