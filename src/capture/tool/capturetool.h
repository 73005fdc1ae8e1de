#pragma once

#include "captureoptions.h"
#include "frozendesktop.h"
#include "windowlist.h"

#include <memory>
#include <QObject>

class CaptureSession;
class ClickMarker;
class ScreenRecorder;
class TerminationWatcher;

// One run of tessly-screencapture: takes the picture (or records the movie)
// the options ask for and reports the exit status:
//   0  the file was written (a recording: finalised and handed on)
//   1  cancelled by the user, or the capture failed; no file
//   2  bad arguments (reported before this class runs)
class CaptureTool : public QObject
{
    Q_OBJECT
public:
    explicit CaptureTool(CaptureOptions options, QObject *parent = nullptr);
    ~CaptureTool() override;

    void start();

Q_SIGNALS:
    void finished(int exitCode);

private:
    void startInteractive();
    void takeRegion(const QRectF &logical);
    void takeWindow(const WindowInfo &window);
    void save(const QImage &image);
    void record(const QRect &native);
    void recordingEnded(bool ok, const QString &error);
    void terminate();
    void fail(const QString &message, int exitCode = 1);
    void done(int exitCode);

    CaptureOptions m_options;
    FrozenDesktop m_desktop;
    std::unique_ptr<WindowList> m_windowList;
    std::unique_ptr<CaptureSession> m_session;
    ScreenRecorder *m_recorder = nullptr;
    std::unique_ptr<ClickMarker> m_clickMarker;
    TerminationWatcher *m_termination = nullptr;
    bool m_done = false;
};
