#pragma once

#include <QImage>
#include <QSize>
#include <QString>

#include <memory>

class MovieDecoder;

// A movie file opened for reading single frames. Frames are asked for by time
// and come back as the frame shown at that moment (zero tolerance: the last
// frame that starts at or before it). Asking for times in increasing order
// decodes the movie once, front to back; an earlier time seeks back.
//
// The decoding is done by the movie decoder module, loaded on first use; when
// it is missing, no movie is readable and errorString() says so.
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
    bool isReadable() const;
    QString errorString() const;

    // Frames per second of the video stream as the file states it (0 when
    // unknown), and the movie's length in seconds.
    double nominalFrameRate() const;
    double duration() const;
    QSize size() const;

    // The frame shown at `seconds` from the start, as RGBA8888. A time past
    // the last frame gives the last frame; a null image when nothing could be
    // decoded (errorString() says why).
    QImage copyImageAtTime(double seconds);

private:
    std::unique_ptr<MovieDecoder> m_decoder;
    QString m_error; // why there is no decoder
};
