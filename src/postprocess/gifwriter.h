#pragma once

#include <QByteArray>
#include <QImage>
#include <QRect>
#include <QSaveFile>
#include <QString>
#include <QVector>

#include "gifencoder.h"

#include <memory>
#include <vector>

struct GifFileType;

// Writes an animated GIF that loops forever, one frame at a time, with
// libimagequant's palettes, giflib for the file's structure and GifEncoder
// for the pixels.
//
// The first frame's palette becomes the file's global colour table, in the
// order of how much the first frame uses each colour, transparency first. A
// later frame is drawn with those colours, each pixel taking the nearest
// within the change tolerance; a colour with none that near joins the global
// table while it has room (the table is written again, complete, when the
// file is finished) and is the frame's own after that. A frame drawn with the
// common colours only uses just the table's first entries, and its LZW codes
// start as many bits shorter (GIF readers take the code size from a frame's
// data). A frame carries a table of just the colours it uses when that makes
// it smaller (always when it has colours of its own). Only a frame that would
// need many colours of its own, or more than 256 in all, gets a palette made
// for it by the quantiser.
// The first picture, which stays on screen longest, is dithered, so that
// gradients and photos keep their shades instead of showing bands. Later
// frames map colours to the nearest entry: dithering each change would make
// still areas shimmer and cost far more in size than it gains in likeness
// (bench/gif).
//
// Screen recordings change little from frame to frame, and the writer makes
// use of it: a frame that does not differ from the one before is not written
// at all but lengthens the previous frame's delay, and a frame that does is
// written only over the rectangle that changed, with the pixels that did not
// change left transparent so the picture underneath shows through. A pixel
// drawn in the last few frames is held to a tighter tolerance, so that the
// edges a moving window leaves behind settle to their true colours. Where a
// frame is drawn with the shared colours the coder may write a changed pixel
// a few steps off its colour when that makes the data smaller, except in a
// flat area, where that would show.
//
// The file appears at its path only once finish() succeeds; until then (and
// after a failure) whatever was there before stays untouched.
class GifWriter
{
public:
    explicit GifWriter(const QString &path);
    ~GifWriter();
    GifWriter(const GifWriter &) = delete;
    GifWriter &operator=(const GifWriter &) = delete;

    // Adds a frame shown for `delayCentiseconds`. The first frame fixes the
    // picture's size; later ones of another size are scaled to it. Any
    // transparency in the image is flattened (a GIF frame here is opaque).
    bool addFrame(const QImage &image, int delayCentiseconds);

    // Writes what is pending and puts the file in place.
    bool finish();

    QString errorString() const { return m_error; }
    int framesWritten() const { return m_framesWritten; }

private:
    // A quantised frame waiting for its final delay.
    struct Frame
    {
        QRect rect;
        QByteArray indices; // until compressed
        QByteArray data; // the LZW data's sub-blocks
        int codeSize = 0;
        QVector<uint32_t> palette; // RGBA bytes in memory order; empty: the shared one
        int transparentIndex = -1;
        int delay = 0;
    };

    // A colour already matched against the shared palette: the colour with
    // its alpha byte set (so that an unused slot never matches) and the
    // nearest entry, or -1 when none is within the tolerance.
    struct Nearest
    {
        uint32_t colour = 0;
        int index = -1;
    };

    bool start(const QSize &size);
    bool quantise(const QImage &rgba, const QRect &rect, const QImage &mask, int colours, Frame &frame);
    bool remap(const QImage &rgba, const QRect &rect, const QImage &mask, Frame &frame);
    int nearestShared(uint32_t rgba);
    int closestShared(uint32_t colour, int limit, int tolerance) const;
    void sortShared(Frame &first);
    static int codeSizeFor(const QByteArray &indices);
    void narrow(QByteArray &indices) const;
    void compress(Frame &frame, const QImage &rgba, const QImage &mask, int slack);
    bool writeFrame(const Frame &frame);
    bool failed(const QString &what);

    QSaveFile m_file;
    GifFileType *m_gif = nullptr;
    QImage m_reference; // per pixel, the colour of the movie when last drawn
    GifEncoder m_encoder;
    std::unique_ptr<Frame> m_pending;
    // The first frame's colours and, last, the entry for transparency.
    QVector<uint32_t> m_shared;
    int m_transparent = 0; // the shared table's entry for transparency
    int m_sharedEntries = 0; // the size of the file's shared table
    std::vector<Nearest> m_nearest;
    // Per pixel, the number (modulo 2^16) of the frame that last drew it.
    std::vector<quint16> m_drawnAt;
    quint16 m_frameNumber = 0;
    QString m_error;
    int m_framesWritten = 0;
};
