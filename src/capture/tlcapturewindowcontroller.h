#pragma once

#include "tlcapturesession.h"

#include <QObject>
#include <QPointer>

class CloudScreenRecorder;
class QScreen;
class TLCapturePanel;
class TLWebcamWindowController;

// One capture, from framing to the end of the recording: it owns the capture
// panel, the recording session and the webcam bubble, follows the controls'
// and the panel's notifications, and reports to the recorder (its delegate):
// recordingStarted, recordingCancelled, recordingRestarted and
// recordingFailed. It deletes itself when the capture ends.
class TLCaptureWindowController : public QObject
{
    Q_OBJECT
public:
    explicit TLCaptureWindowController(CloudScreenRecorder *captureDelegate);
    ~TLCaptureWindowController() override;

    TLCapturePanel *capturePanel() const { return m_panel; }
    TLCaptureSession *captureSession() const { return m_captureSession; }
    TLWebcamWindowController *webcamView() const { return m_webcam; }

    void beginScreenCaptureForScreen(QScreen *screen);
    void startRecording();
    void endRecordingComplete(TLCaptureSession::Complete complete);
    void cancelRecording();
    void restartRecording();
    // Closes without recording (or after a failure): panel and webcam go.
    void endScreenCapture();
    void toggleWebcam();
    void setPreset(const QString &title);

    bool disableAudioRecording() const { return m_disableAudioRecording; }
    void setDisableAudioRecording(bool disable) { m_disableAudioRecording = disable; }

private:
    void observe(const char *name, std::function<void()> handler);
    void handleCropRectChanged();
    void handleScreenChanged();
    TLCaptureSession *newSession();
    void leaveRecordingState();

    QPointer<CloudScreenRecorder> m_delegate;
    TLCapturePanel *m_panel = nullptr;
    TLWebcamWindowController *m_webcam = nullptr;
    QPointer<TLCaptureSession> m_captureSession;
    // A restart's old take while ffmpeg finishes it, and a stop that came
    // meanwhile.
    QPointer<TLCaptureSession> m_restartingSession;
    TLCaptureSession::Complete m_stopDuringRestart;
    bool m_isTransitioningScreens = false;
    bool m_disableAudioRecording = false;
    bool m_ended = false;
};
