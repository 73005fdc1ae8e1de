#pragma once

#include <optional>
#include <QRect>
#include <QString>
#include <QStringList>

// The command line of tessly-screencapture. Flags follow the screenshot tool
// that the callers were written for: single letters, clusterable ("-iw"),
// values either attached ("-R0,0,10,10") or as the next argument, and the
// output file last.
//
//   -i            interactive: drag a region (Space switches to window mode)
//   -w            interactive, starting in window mode
//   -x            no sound
//   -R x,y,w,h    non-interactive: this rectangle, global logical coordinates
//   -l WINDOWID   non-interactive: this window (decimal or 0x hexadecimal)
//   -v            record a movie instead of taking a picture (with -i or -R)
//   -g            record the default audio input too
//   -k            show mouse clicks in the recording
//   -U            show the capture toolbar (accepted; the overlay is the toolbar)
//   -B ID         hand the finished movie to the application whose desktop
//                 entry id is ID; as the last letter of a cluster it takes the
//                 rest of the argument ("-UkvigBcom.example.App")
struct CaptureOptions
{
    bool interactive = false;
    bool windowMode = false;
    bool silent = false;
    std::optional<QRect> rect;
    std::optional<quint32> windowId;
    bool record = false;
    bool recordAudio = false;
    bool showClicks = false;
    bool showToolbar = false;
    QString openWith;
    QString path;

    // The options, or nothing with a message for the user in *error.
    static std::optional<CaptureOptions> parse(const QStringList &args, QString *error);

    static QString usage();

    // "x,y,w,h" with a width and height above 0; nothing otherwise.
    static std::optional<QRect> parseRect(const QString &text);
};
