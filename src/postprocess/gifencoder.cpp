#include "gifencoder.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

namespace {

// GIF's LZW codes are at most 12 bits, so the dictionary ends at 4095.
constexpr int kMaxBits = 12;
constexpr int kMaxCode = (1 << kMaxBits) - 1;

// How many branchings the search for the longest string follows before it
// settles for the longest found (and follows only that one's preferred
// continuation further). Strings branch at every pixel with slack, and a
// noisy edge can hold hundreds of them.
constexpr int kSearchBudget = 1024;

// The dictionary's strings are looked up in an open-addressed table twice
// the dictionary's size, small enough to stay in the processor's cache.
constexpr int kHashBits = 13;
constexpr uint32_t kEmpty = ~0u;

uint32_t slotOf(uint32_t key)
{
    return (key * 2654435761u) >> (32 - kHashBits);
}

} // namespace

GifEncoder::GifEncoder()
    : m_child(size_t(1) << kHashBits, kEmpty)
    , m_symbol(kMaxCode + 1)
    , m_prefix(kMaxCode + 1)
    , m_firstChild(kMaxCode + 1, 0)
    , m_sibling(kMaxCode + 1, 0)
{
    m_next = m_clear + 2;
}

// Forgets every string longer than one index, and starts the codes afresh.
void GifEncoder::reset()
{
    for (int code = m_clear + 2; code < m_next; ++code)
        m_firstChild[m_prefix[size_t(code)]] = 0;
    std::fill(m_child.begin(), m_child.end(), kEmpty);
    m_next = m_clear + 2;
    m_counter = m_clear + 2;
    m_width = std::countr_zero(unsigned(m_clear)) + 1;
}

void GifEncoder::add(int prefix, int symbol)
{
    const auto code = uint16_t(m_next++);
    const uint32_t key = uint32_t(prefix) << 8 | uint32_t(symbol);
    uint32_t slot = slotOf(key);
    while (m_child[slot] != kEmpty)
        slot = (slot + 1) & ((1u << kHashBits) - 1);
    m_child[slot] = key << 12 | code;
    m_symbol[code] = uint16_t(symbol);
    m_prefix[code] = uint16_t(prefix);
    m_firstChild[code] = 0;
    m_sibling[code] = m_firstChild[size_t(prefix)];
    m_firstChild[size_t(prefix)] = code;
}

// Whether writing `symbol` at pixel `at` keeps within its slack.
bool GifEncoder::close(int symbol, qsizetype at) const
{
    const Pixels &p = *m_pixels;
    if (symbol == p.transparent || symbol >= p.colours)
        return false;
    const int slack = p.slack[at];
    const uchar *target = p.targets + (at / p.width) * p.stride + (at % p.width) * 4;
    const auto *colour = reinterpret_cast<const uchar *>(p.palette + symbol);
    return std::abs(target[0] - colour[0]) <= slack && std::abs(target[1] - colour[1]) <= slack
        && std::abs(target[2] - colour[2]) <= slack;
}

int GifEncoder::child(int code, int symbol) const
{
    const uint32_t key = uint32_t(code) << 8 | uint32_t(symbol);
    for (uint32_t slot = slotOf(key);; slot = (slot + 1) & ((1u << kHashBits) - 1)) {
        const uint32_t entry = m_child[slot];
        if (entry == kEmpty)
            return 0;
        if (entry >> 12 == key)
            return int(entry & 0xfff);
    }
}

bool GifEncoder::allowed(int symbol, qsizetype at) const
{
    const Pixels &p = *m_pixels;
    return symbol == p.indices[at] || (p.slack && p.slack[at] > 0 && close(symbol, at));
}

// Calls `visit` with each code that continues `code` (-1: the empty string)
// by a choice for pixel `at`, the one meant for it last.
template<typename Visit> void GifEncoder::eachChoice(int code, qsizetype at, Visit visit) const
{
    const Pixels &p = *m_pixels;
    const int meant = p.indices[at];
    if (p.slack && p.slack[at] > 0) {
        if (code < 0) {
            for (int symbol = 0; symbol < p.colours; ++symbol) {
                if (symbol != meant && close(symbol, at))
                    visit(symbol);
            }
        } else {
            for (int next = m_firstChild[size_t(code)]; next; next = m_sibling[size_t(next)]) {
                const int symbol = m_symbol[size_t(next)];
                if (symbol != meant && close(symbol, at))
                    visit(next);
            }
        }
    }
    const int next = code < 0 ? meant : child(code, meant);
    if (next || code < 0)
        visit(next);
}

// The longest string the dictionary holds for the pixels from `at` on,
// searched depth first with the meant indices tried first, so that of
// strings of one length the one closest to what was meant wins. The search
// branches only at pixels with slack.
GifEncoder::Match GifEncoder::longest(qsizetype at)
{
    const Pixels &p = *m_pixels;
    if (!p.slack) {
        // One way to go: the plain longest match.
        Match match { p.indices[at], 1 };
        for (qsizetype next = at + 1; next < p.count; ++next) {
            const int longer = child(match.code, p.indices[next]);
            if (!longer)
                break;
            match = { longer, match.length + 1 };
        }
        return match;
    }
    Match best;
    m_stack.clear();
    eachChoice(-1, at, [this](int code) { m_stack.emplace_back(code, 1); });
    int budget = kSearchBudget;
    while (!m_stack.empty()) {
        // Out of time to look around: this string, grown the way each pixel
        // prefers, is the last one looked at.
        const bool last = budget <= 0;
        auto [code, length] = m_stack.back();
        m_stack.pop_back();
        for (;;) {
            if (length > best.length)
                best = { code, length };
            const qsizetype next = at + length;
            if (next >= p.count)
                break;
            if (budget > 0 && p.slack && p.slack[next] > 0) {
                --budget;
                eachChoice(code, next, [this, length](int longer) { m_stack.emplace_back(longer, length + 1); });
                break;
            }
            const int longer = child(code, p.indices[next]);
            if (!longer)
                break;
            code = longer;
            ++length;
        }
        if (last)
            break;
    }
    return best;
}

void GifEncoder::put(int code)
{
    m_bits |= uint64_t(code) << m_bitCount;
    m_bitCount += m_width;
    while (m_bitCount >= 8) {
        m_bytes.push_back(uchar(m_bits));
        m_bits >>= 8;
        m_bitCount -= 8;
    }
}

QByteArray GifEncoder::encode(int minCodeSize, const Pixels &pixels)
{
    m_pixels = &pixels;
    reset(); // what the last frame learnt
    m_clear = 1 << std::clamp(minCodeSize, 2, 8);
    m_next = m_clear + 2;
    reset();
    m_bytes.clear();
    m_bits = 0;
    m_bitCount = 0;

    put(m_clear);
    int previous = -1;
    int previousLength = 0;
    for (qsizetype at = 0; at < pixels.count;) {
        Match match = longest(at);
        // The string before this one, followed by this one's first index, is
        // the entry a decoder makes on reading this code, and this code may
        // be that entry itself: the last string and its own first index
        // again, as in a run of one colour.
        const uchar *last = pixels.indices + at - previousLength;
        bool repeat = previous >= 0 && m_next <= kMaxCode && previousLength + 1 > match.length
            && at + previousLength < pixels.count;
        for (int k = 0; repeat && k <= previousLength; ++k)
            repeat = allowed(last[k % previousLength], at + k);
        if (repeat) {
            for (int k = previousLength; k >= 0; --k)
                pixels.indices[at + k] = last[k % previousLength];
            add(previous, pixels.indices[at]);
            match = { m_next - 1, previousLength + 1 };
        } else {
            // A code below the clear code stands for that index alone.
            int code = match.code;
            for (int k = match.length - 1; k > 0; --k) {
                pixels.indices[at + k] = uchar(m_symbol[size_t(code)]);
                code = m_prefix[size_t(code)];
            }
            pixels.indices[at] = uchar(code);
            if (previous >= 0)
                add(previous, pixels.indices[at]);
        }
        put(match.code);
        if (m_counter <= kMaxCode + 1 && ++m_counter > (1 << m_width) && m_width < kMaxBits)
            ++m_width;
        at += match.length;
        previous = match.code;
        previousLength = match.length;
        if (m_next > kMaxCode) {
            put(m_clear);
            reset();
            previous = -1;
        }
    }
    put(m_clear + 1);
    // The last code's remaining bits, the rest of their byte zero.
    if (m_bitCount > 0)
        m_bytes.push_back(uchar(m_bits));
    m_pixels = nullptr;

    QByteArray blocks;
    blocks.reserve(qsizetype(m_bytes.size() + m_bytes.size() / 255 + 1));
    for (size_t at = 0; at < m_bytes.size(); at += 255) {
        const size_t length = std::min<size_t>(255, m_bytes.size() - at);
        blocks.append(char(length));
        blocks.append(reinterpret_cast<const char *>(m_bytes.data() + at), qsizetype(length));
    }
    return blocks;
}
