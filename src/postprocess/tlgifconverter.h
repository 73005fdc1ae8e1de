#pragma once

#include "error.h"

#include <QImage>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

class MovieAsset;

// Turns a finished recording into the file that is uploaded: an animated GIF
// or a web-optimised MP4, by running the ffmpeg that ships with the
// application (PrivateExecutables; Debian's ffmpeg linked into the private
// executables folder). Without that ffmpeg, GIFs are written frame by frame
// (MovieAsset decodes, GifWriter quantises and writes). A movie is made
// stream-ready by MovieIndexMover where it can, by ffmpeg where it cannot,
// and stays as it is when neither can.
//
// Every call blocks its thread for as long as the work takes; callers run them
// on a background thread, never on the GUI thread. The frame-by-frame path
// posts "TLNotificationGIFCreationBegan", "...Progress" and "...Complete" on
// that thread. Failures never throw: the details go to the log and to the
// optional error (domain "TLGIFConverter": 1 no ffmpeg, 2 launch failed, the
// exit status when ffmpeg failed, -1 for a movie the frame-by-frame path
// cannot read or a GIF it cannot write).
class TLGIFConverter
{
public:
    static TLGIFConverter &instance();

    // The GIF's file URL, returned whether or not the conversion worked (the
    // file may then be empty or missing; `error` says why).
    QUrl convertFileAtPath(const QUrl &fileUrl, const QString &name, double scaleFactor, Error *error = nullptr);

    // The faststart MP4's URL on success, else `fileUrl` unchanged.
    QUrl optimizeVideoAtPath(const QUrl &fileUrl, const QString &name, Error *error = nullptr);

    // Writes the images as a GIF in the temporary directory, 0.08 s a frame.
    QUrl saveImageSequenceAsGIF(const QList<QImage> &images, const QString &name, Error *error = nullptr);

    // Frame by frame: every frame of the movie at its truncated nominal rate,
    // each shown 0.2 s. The scale factor is carried, not applied.
    bool makeAnimatedGifFromAsset(
        MovieAsset &asset, const QUrl &destination, double scaleFactor, Error *error = nullptr);
    bool makeAnimatedGifFromArray(const QList<QImage> &images, const QUrl &destination, Error *error = nullptr);

    // NAME in the private executables folder, then in the resources folder;
    // empty when absent or not executable. Never searches PATH.
    static QString executablePathNamed(const QString &name);
    static bool FFMPEGPathExists();

    // "NAME on yyyy-MM-dd at HH-mm-ss.EXT", a bare file name.
    static QString captureTemporaryFilePathWithName(const QString &name, const QString &extension);

    // Runs ffmpeg with `args`, giving up after `timeout` seconds (<= 0: no
    // limit) by terminating it, then interrupting it if it still runs a second
    // later. Standard error is read while ffmpeg runs and handed over whole
    // at the end. True when ffmpeg exited with status 0.
    bool runFFMPEGTaskWithArgs(
        const QStringList &args, double timeout, Error *error = nullptr, QString *standardError = nullptr);

    // The older runner: 60 s limit, terminate on time-out, no result.
    void executeFFMPEGTaskWithArgs(const QStringList &args);
};
