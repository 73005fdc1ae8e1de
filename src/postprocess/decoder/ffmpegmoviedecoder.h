#pragma once

#include "moviedecoder.h"

struct AVCodecContext;
struct AVFormatContext;
struct AVFrame;
struct AVPacket;
struct SwsContext;

// Reads a movie's frames with FFmpeg's libraries (libavformat, libavcodec,
// libswscale), front to back, seeking back when an earlier time is asked for.
class FfmpegMovieDecoder final : public MovieDecoder
{
public:
    explicit FfmpegMovieDecoder(const QString &path);
    ~FfmpegMovieDecoder() override;
    FfmpegMovieDecoder(const FfmpegMovieDecoder &) = delete;
    FfmpegMovieDecoder &operator=(const FfmpegMovieDecoder &) = delete;

    bool isReadable() const override { return m_codec != nullptr; }
    QString errorString() const override { return m_error; }
    double nominalFrameRate() const override { return m_frameRate; }
    double duration() const override { return m_duration; }
    QSize size() const override { return m_size; }
    QImage copyImageAtTime(double seconds) override;

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
