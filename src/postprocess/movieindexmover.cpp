#include "movieindexmover.h"

#include <QByteArray>
#include <QFile>
#include <QtEndian>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// The largest index read into memory: an hour's recording at 60 frames a
// second has one of a few megabytes.
constexpr qint64 kIndexLimit = qint64(256) << 20;
constexpr qint64 kPage = 4096;
constexpr qint64 kRun = 16 * kPage;

struct Box
{
    QByteArray type;
    qint64 offset = 0;
    qint64 size = 0; // with the header
    int header = 8;
    bool toEnd = false; // its size was written as 0: up to the end of the file
};

// Where every byte of the movie goes when its index moves in front of the
// media data, followed by `padding` bytes of a "free" box.
struct Move
{
    qint64 insertAt = 0; // where the media data began
    qint64 index = 0; // where the index was, and its size
    qint64 indexSize = 0;
    qint64 padding = 0;

    qint64 operator()(qint64 offset) const
    {
        if (offset >= insertAt && offset < index)
            return offset + indexSize + padding;
        return offset >= index + indexSize ? offset + padding : offset;
    }
};

class Descriptor
{
public:
    explicit Descriptor(int fd)
        : m_fd(fd)
    {
    }
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

bool fail(QString *why, const QString &text)
{
    if (why)
        *why = text;
    return false;
}

bool failErrno(QString *why, const char *what)
{
    return fail(why, QStringLiteral("%1: %2").arg(QLatin1String(what), QString::fromLocal8Bit(std::strerror(errno))));
}

bool readAt(int fd, void *into, qint64 length, qint64 offset, QString *why)
{
    auto *at = static_cast<char *>(into);
    while (length > 0) {
        const ssize_t n = ::pread(fd, at, size_t(length), offset);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return failErrno(why, "the movie could not be read");
        if (n == 0)
            return fail(why, QStringLiteral("the movie ended early"));
        at += n;
        length -= n;
        offset += n;
    }
    return true;
}

bool writeAt(int fd, const void *from, qint64 length, qint64 offset, QString *why)
{
    const auto *at = static_cast<const char *>(from);
    while (length > 0) {
        const ssize_t n = ::pwrite(fd, at, size_t(length), offset);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return failErrno(why, "the copy could not be written");
        at += n;
        length -= n;
        offset += n;
    }
    return true;
}

// Copies `length` bytes inside the kernel. False, with `fallback` set when
// the kernel cannot copy between these two files at all.
bool copyInKernel(int in, qint64 from, int out, qint64 to, qint64 length, bool &fallback, QString *why)
{
    while (length > 0) {
        loff_t inAt = from, outAt = to;
        const ssize_t n = ::copy_file_range(in, &inAt, out, &outAt, size_t(std::min(length, qint64(1) << 30)), 0);
        if (n > 0) {
            from += n;
            to += n;
            length -= n;
            continue;
        }
        if (n == 0)
            return fail(why, QStringLiteral("the movie ended early"));
        if (errno == EINTR)
            continue;
        fallback = errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
        return failErrno(why, "the movie could not be copied");
    }
    return true;
}

// Copies `length` bytes from `from` in one file to `to` in the other. The
// kernel copies 64 KiB at a time, and a file takes its pages fastest in whole
// aligned runs: so the first piece ends where the destination reaches such a
// boundary, and with the two files' pages lined up (the media data moves on
// by whole pages) every later piece fills whole runs. Unaligned, the copy
// takes half as long again (bench/gif).
bool copyRange(int in, qint64 from, int out, qint64 to, qint64 length, QString *why)
{
    const qint64 lead = std::min(length, (kRun - to % kRun) % kRun);
    bool fallback = false;
    if (copyInKernel(in, from, out, to, lead, fallback, why)
        && copyInKernel(in, from + lead, out, to + lead, length - lead, fallback, why))
        return true;
    if (!fallback)
        return false;
    QByteArray buffer(int(std::min(length, kRun * 16)), Qt::Uninitialized);
    while (length > 0) {
        const qint64 chunk = std::min(length, qint64(buffer.size()));
        if (!readAt(in, buffer.data(), chunk, from, why) || !writeAt(out, buffer.constData(), chunk, to, why))
            return false;
        from += chunk;
        to += chunk;
        length -= chunk;
    }
    return true;
}

// The box whose header starts at `at` in `data` (`end` bytes long), or false
// when its header or size does not fit.
bool boxAt(const uchar *data, qint64 at, qint64 end, Box &box)
{
    if (end - at < 8)
        return false;
    const quint32 size = qFromBigEndian<quint32>(data + at);
    box.type = QByteArray(reinterpret_cast<const char *>(data + at + 4), 4);
    box.offset = at;
    box.header = 8;
    box.toEnd = size == 0;
    if (size == 1) {
        if (end - at < 16)
            return false;
        box.header = 16;
        box.size = qint64(qFromBigEndian<quint64>(data + at + 8));
    } else {
        box.size = box.toEnd ? end - at : qint64(size);
    }
    return box.size >= box.header && box.size <= end - at;
}

// The file's top-level boxes, which must tile it exactly.
bool topLevelBoxes(int fd, qint64 fileSize, std::vector<Box> &boxes, QString *why)
{
    for (qint64 at = 0; at < fileSize;) {
        uchar header[16] = {};
        const qint64 length = std::min<qint64>(16, fileSize - at);
        if (!readAt(fd, header, length, at, why))
            return false;
        // Offsets relative to this header, so that `end` is what is left.
        Box box;
        if (!boxAt(header, 0, fileSize - at, box) || box.header > length)
            return fail(why, QStringLiteral("the movie's boxes do not add up to the file"));
        box.offset = at;
        boxes.push_back(box);
        at += box.size;
    }
    return true;
}

// Moves every chunk offset in the index where `move` puts its byte, looking
// through the boxes that lead to the sample tables. Counts the tables it saw.
bool moveChunkOffsets(uchar *data, qint64 begin, qint64 end, const Move &move, int &tables, QString *why)
{
    static const QByteArray containers[] = { "trak", "mdia", "minf", "stbl" };
    for (qint64 at = begin; at < end;) {
        Box box;
        if (!boxAt(data, at, end, box))
            return fail(why, QStringLiteral("the movie's index is damaged"));
        const qint64 payload = at + box.header;
        const qint64 payloadSize = box.size - box.header;
        const bool wide = box.type == "co64";
        if (std::find(std::begin(containers), std::end(containers), box.type) != std::end(containers)) {
            if (!moveChunkOffsets(data, payload, at + box.size, move, tables, why))
                return false;
        } else if (box.type == "stco" || wide) {
            // Version and flags, the number of entries, the entries.
            const int width = wide ? 8 : 4;
            if (payloadSize < 8)
                return fail(why, QStringLiteral("the movie's index is damaged"));
            const qint64 count = qFromBigEndian<quint32>(data + payload + 4);
            if (count > (payloadSize - 8) / width)
                return fail(why, QStringLiteral("the movie's index is damaged"));
            uchar *entry = data + payload + 8;
            for (qint64 i = 0; i < count; ++i, entry += width) {
                const qint64 offset
                    = move(wide ? qint64(qFromBigEndian<quint64>(entry)) : qint64(qFromBigEndian<quint32>(entry)));
                if (wide)
                    qToBigEndian<quint64>(quint64(offset), entry);
                else if (offset > 0xffffffffLL)
                    return fail(why, QStringLiteral("a chunk offset would no longer fit in 32 bits"));
                else
                    qToBigEndian<quint32>(quint32(offset), entry);
            }
            ++tables;
        } else if (box.type == "saio") {
            // Offsets of encryption data, which this does not move.
            return fail(why, QStringLiteral("the movie's index holds offsets of another kind"));
        }
        at += box.size;
    }
    return true;
}

} // namespace

bool MovieIndexMover::copy(const QString &source, const QString &destination, QString *why)
{
    const Descriptor in(::open(QFile::encodeName(source).constData(), O_RDONLY | O_CLOEXEC));
    struct stat sourceStat = {};
    if (in.get() < 0 || ::fstat(in.get(), &sourceStat) != 0)
        return failErrno(why, "the movie could not be opened");
    if (!S_ISREG(sourceStat.st_mode))
        return fail(why, QStringLiteral("the movie is not a file"));
    const qint64 fileSize = sourceStat.st_size;

    std::vector<Box> boxes;
    if (!topLevelBoxes(in.get(), fileSize, boxes, why))
        return false;
    const Box *index = nullptr;
    const Box *firstData = nullptr;
    for (const Box &box : boxes) {
        if (box.type == "moof")
            return fail(why, QStringLiteral("the movie is fragmented"));
        if (box.type == "moov") {
            if (index)
                return fail(why, QStringLiteral("the movie has more than one index"));
            index = &box;
        } else if (box.type == "mdat" && !firstData) {
            firstData = &box;
        }
    }
    if (!index || !firstData)
        return fail(why, QStringLiteral("the movie has no index or no media data"));
    if (index->size > kIndexLimit)
        return fail(why, QStringLiteral("the movie's index is too large"));

    // Where the index goes, and what moves on to make room for it: the
    // index, padded with a "free" box to whole pages so that the media data
    // can be copied page to page (see copyRange()).
    const bool moving = index->offset > firstData->offset;
    Move move;
    move.insertAt = moving ? firstData->offset : index->offset;
    move.index = index->offset;
    move.indexSize = index->size;
    if (moving) {
        move.padding = (kPage - index->size % kPage) % kPage;
        if (move.padding > 0 && move.padding < 8)
            move.padding += kPage;
    }
    QByteArray moved(int(index->size + move.padding), '\0');
    auto *data = reinterpret_cast<uchar *>(moved.data());
    if (!readAt(in.get(), data, index->size, index->offset, why))
        return false;
    if (index->toEnd) {
        // Written as "up to the end of the file", which it no longer is.
        if (index->size > 0xffffffffLL)
            return fail(why, QStringLiteral("the movie's index is too large"));
        qToBigEndian<quint32>(quint32(index->size), data);
    }
    if (move.padding > 0) {
        qToBigEndian<quint32>(quint32(move.padding), data + index->size);
        std::memcpy(data + index->size + 4, "free", 4);
    }
    int tables = 0;
    if (moving && !moveChunkOffsets(data, index->header, index->size, move, tables, why))
        return false;
    if (moving && tables == 0)
        return fail(why, QStringLiteral("the movie's index has no chunk offsets"));

    const Descriptor out(::open(QFile::encodeName(destination).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    struct stat outStat = {};
    if (out.get() < 0 || ::fstat(out.get(), &outStat) != 0)
        return failErrno(why, "the copy could not be created");
    if (outStat.st_dev == sourceStat.st_dev && outStat.st_ino == sourceStat.st_ino)
        return fail(why, QStringLiteral("the movie and its copy would be the same file"));

    // Only a file that has something in it is cut: ext4 writes a file cut
    // to nothing back to disk as soon as it is closed, which takes longer
    // than the copy itself.
    bool ok = outStat.st_size == 0 || ::ftruncate(out.get(), 0) == 0 || failErrno(why, "the copy could not be written");
    // Everything before the insertion point, the index, then the rest in
    // order without the index (nothing in between when it already was first).
    const qint64 indexEnd = index->offset + index->size;
    ok = ok && copyRange(in.get(), 0, out.get(), 0, move.insertAt, why);
    ok = ok && writeAt(out.get(), data, moved.size(), move.insertAt, why);
    ok = ok && copyRange(in.get(), move.insertAt, out.get(), move(move.insertAt), index->offset - move.insertAt, why);
    ok = ok && copyRange(in.get(), indexEnd, out.get(), move(indexEnd), fileSize - indexEnd, why);
    if (!ok)
        QFile::remove(destination);
    return ok;
}
