#pragma once

#include "captureoptions.h"

#include <QObject>

class PortalScreenshot;
class TerminationWatcher;

// tessly-screencapture on a Wayland session, where a client may not read the
// screen: "-i" and "-w" go to the desktop portal's screenshot, whose
// selection is the desktop's own (a window pick included, where it offers
// one), and its picture is copied to the output file. Recording, "-R" and
// "-l" are not offered there yet. Exit status as on X11 (see CaptureTool).
//
// It needs no connection to the display, only the session bus, so it runs
// under a QCoreApplication.
class WaylandCapture : public QObject
{
    Q_OBJECT
public:
    // Whether this process runs in a Wayland session: the session type says
    // so, or, with none given, a Wayland display is named.
    static bool isWaylandSession();

    explicit WaylandCapture(CaptureOptions options, QObject *parent = nullptr);

    void start();

Q_SIGNALS:
    void finished(int exitCode);

private:
    void taken(const QUrl &uri);
    void fail(const QString &message, int exitCode = 1);
    void done(int exitCode);

    CaptureOptions m_options;
    PortalScreenshot *m_portal = nullptr;
    TerminationWatcher *m_termination = nullptr;
    bool m_done = false;
};
