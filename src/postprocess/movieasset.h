#pragma once

#include <QImage>
#include <QSize>
#include <QString>

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct SwsContext;

// A movie file opened for reading single frames, decoded with FFmpeg's
// libraries. Frames are asked for by time and come back as the frame shown at
// that moment (zero tolerance: the last frame that starts at or before it).
// Asking for times in increasing order decodes the movie once, front to back;
// an earlier time seeks back.
//
// Not thread-safe; one asset per thread.
class MovieAsset
{
public:
    explicit MovieAsset(const QString &path);
    ~MovieAsset();
    MovieAsset(const MovieAsset &) = delete;
    MovieAsset &operator=(const MovieAsset &) = delete;

    // False when the file cannot be read as a movie with a video stream;
    // errorString() then says why.
    bool isReadable() const { return m_codec != nullptr; }
    QString errorString() const { return m_error; }

    // Frames per second of the video stream as the file states it (0 when
    // unknown), and the movie's length in seconds.
    double nominalFrameRate() const { return m_frameRate; }
    double duration() const { return m_duration; }
    QSize size() const { return m_size; }

    // The frame shown at `seconds` from the start, as RGBA8888. A time past
    // the last frame gives the last frame; a null image when nothing could be
    // decoded (errorString() says why).
    QImage copyImageAtTime(double seconds);

private:
    bool decodeNext();
    bool seekTo(qint64 pts);
    QImage toImage(const AVFrame *frame);
    void fail(const QString &what, int code);

    AVFormatContext *m_format = nullptr;
    AVCodecContext *m_codec = nullptr;
    AVPacket *m_packet = nullptr;
    AVFrame *m_current = nullptr; // the last frame at or before the time asked for
    AVFrame *m_next = nullptr; // decoded ahead, past that time
    SwsContext *m_scaler = nullptr;
    int m_stream = -1;
    bool m_haveCurrent = false;
    bool m_haveNext = false;
    bool m_endOfStream = false;
    double m_frameRate = 0;
    double m_duration = 0;
    double m_timeBase = 0;
    qint64 m_startPts = 0;
    QSize m_size;
    QString m_error;
};
