#pragma once

#include <QImage>
#include <QSize>
#include <QString>

// What a movie decoder offers MovieAsset. The one decoder there is lives in a
// module of its own (decoder/), loaded on the first movie opened: FFmpeg's
// libraries and the hundred and more libraries they pull in stay out of the
// tray application's start-up until a GIF is made.
class MovieDecoder
{
public:
    virtual ~MovieDecoder() = default;

    // False when the file cannot be read as a movie with a video stream;
    // errorString() then says why.
    virtual bool isReadable() const = 0;
    virtual QString errorString() const = 0;
    virtual double nominalFrameRate() const = 0;
    virtual double duration() const = 0;
    virtual QSize size() const = 0;
    virtual QImage copyImageAtTime(double seconds) = 0;
};

// The module's entry point, exported unmangled under this name: opens the
// movie at `path` and never returns null (an unreadable movie says so).
using OpenMovieFunction = MovieDecoder *(*)(const QString &path);
inline constexpr char OpenMovieSymbol[] = "tesslyOpenMovie";

// The module's file name in the private executables folder.
inline constexpr char MovieDecoderModule[] = "moviedecoder.so";
