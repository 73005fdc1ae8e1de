#pragma once

#include <QByteArray>

#include <cstdint>
#include <vector>

// The LZW coder for a GIF frame's pixels, free to bend colours a little
// where that makes the data smaller.
//
// A pixel has the index meant for it and may have slack: then any colour of
// the frame's table within that much of its target colour, per channel, will
// do. At each string the coder takes the longest one its dictionary holds
// among all the pixels' choices (as gifsicle's lossy mode does), so that the
// noise a movie's compression leaves in a flat area is written as the strings
// already learnt rather than as new ones.
//
// The dictionary is cleared when it is full, as every decoder expects.
class GifEncoder
{
public:
    struct Pixels
    {
        // Per pixel, the index meant for it. On return it holds the index
        // written, so that the caller knows what the frame shows.
        uchar *indices = nullptr;
        qsizetype count = 0;
        // Per pixel, how far each channel of the colour written may be from
        // the pixel's target colour; null, or 0 at a pixel: exactly as meant.
        const uchar *slack = nullptr;
        // The target colours (RGBA bytes) of the `width` pixels of a row,
        // rows `stride` bytes apart; read only where there is slack.
        const uchar *targets = nullptr;
        qsizetype stride = 0;
        int width = 0;
        // The frame's colour table (RGBA bytes) and its transparent entry,
        // which slack never picks (-1: none).
        const uint32_t *palette = nullptr;
        int colours = 0;
        int transparent = -1;
    };

    GifEncoder();

    // The compressed image data for `minCodeSize` (2 to 8) as GIF data
    // sub-blocks, each a length byte and up to 255 bytes, without the
    // terminating empty block.
    QByteArray encode(int minCodeSize, const Pixels &pixels);

private:
    struct Match
    {
        int code = -1;
        int length = 0;
    };

    void reset();
    void add(int prefix, int symbol);
    int child(int code, int symbol) const;
    bool close(int symbol, qsizetype at) const;
    bool allowed(int symbol, qsizetype at) const;
    template<typename Visit> void eachChoice(int code, qsizetype at, Visit visit) const;
    Match longest(qsizetype at);
    void put(int code);

    const Pixels *m_pixels = nullptr;
    int m_clear = 0;
    int m_next = 0; // the code the next dictionary entry gets
    int m_counter = 0; // codes written since the clear, as a decoder counts them
    int m_width = 0; // bits per code
    // The dictionary: a hash table from code and next index to the longer
    // string's code; per code its last index, the code of the string without
    // it and its first child and next sibling (0: none), for looking at
    // every continuation when colours have slack.
    std::vector<uint32_t> m_child;
    std::vector<uint16_t> m_symbol, m_prefix, m_firstChild, m_sibling;
    std::vector<std::pair<int, int>> m_stack; // code and length, in the search
    uint64_t m_bits = 0;
    int m_bitCount = 0;
    std::vector<uchar> m_bytes;
};
