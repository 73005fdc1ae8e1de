#pragma once

#include <QObject>
#include <QPointer>
#include <QProcess>
#include <QString>
#include <QUrl>

class DesktopIconHider;

// The gateway to the screenshot tool (tessly-screencapture, run as a child
// process): interactive region and window screenshots into time-stamped files
// in the temporary directory, with the desktop icons covered around each one
// when the user asked for that, and the simple tool-driven screen recording
// whose start and stop are announced by
// "ScreenGrabberRecordingDidStartNotification" and
// "ScreenGrabberRecordingDidStopNotification" (object: the grabber).
//
// Screenshots block the calling (GUI) thread until the tool exits; the
// existence of the file is the only success test. Everything runs on the GUI
// thread.
class ScreenGrabber : public QObject
{
    Q_OBJECT
public:
    static ScreenGrabber &instance();

    // Where the tool is, first match wins:
    //   1. $TESSLY_CAPTURE_TOOL when set (tests; nothing else is tried then),
    //   2. tessly-screencapture in the private executables folder
    //      (PrivateExecutables: beside the installed program, else the
    //      build tree's).
    // Empty when the file found is missing or not executable.
    static QString captureToolPath();

    // File URL of the new PNG, or an empty URL when nothing was captured.
    static QUrl captureScreen(const QString &name);
    static QUrl captureWindow(const QString &name);
    // Kept as it has always been: it launches the tool without arguments, so
    // it never captures and always returns an empty URL.
    static QUrl captureFullScreen(const QString &name);

    static QString captureTemporaryFilePath(const QString &name);
    static QString captureTemporaryFilePathVideo(const QString &name);
    static QString nameForFile(const QString &name, const QString &extension, bool useCurrentTimestamp);

    // Around a capture, when the hideDesktopIcons setting is on.
    static void hideDesktopIcons();
    static void showDesktopIcons();

    void checkScreencapturePermissions();

    // Starts a tool-driven recording into a .mov named after `name`, later on
    // the GUI thread. The tool hands the finished movie to this application
    // through its desktop entry (`tessly open FILE`).
    void recordScreen(const QString &name);
    void endRecording();
    bool isRecording() const;

    bool gifCapture() const { return m_gifCapture; }
    void setGifCapture(bool gifCapture) { m_gifCapture = gifCapture; }

    DesktopIconHider *iconHider() const { return m_iconHider; }
    QProcess *recordingTask() const { return m_recordingTask; }

private:
    ScreenGrabber();
    ~ScreenGrabber() override;

    static QUrl capture(const QString &name, const QStringList &flags, bool launchWithArguments);

    bool m_gifCapture = false;
    DesktopIconHider *m_iconHider = nullptr;
    QPointer<QProcess> m_recordingTask;
};
