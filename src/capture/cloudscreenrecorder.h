#pragma once

#include "error.h"
#include "tlcapturewindowcontroller.h"
#include "tlrecordingcontrolspanel.h"

#include <functional>
#include <QObject>
#include <QPointer>
#include <QScreen>
#include <QUrl>

class RecordingStatusButton;

// The recording workflow, owned by the application for its whole life:
// framing on the capture panel, the countdown, recording with the controls
// floating beside the area and the tray icon as the stop button, then the
// movie made into a GIF or a faststart MP4 between
// "VideoProcessingBeganNotification" and "VideoProcessingEndedNotification",
// and the result handed to the completion (which uploads it).
//
// States: idle -> framing -> recording -> processing -> idle. Escape or the
// close button while framing, and the trash button while recording, end it
// with the completion's success false. A recording that fails (ffmpeg died,
// the sound server or the disk went away) tells the user through
// "UserVisibleErrorNotification" and ends as a cancel; the movie so far stays
// in the temporary directory when ffmpeg could finish it.
class CloudScreenRecorder : public QObject
{
    Q_OBJECT
public:
    using RecordingBegan = std::function<void()>;
    // Success, the final file (empty on cancel) and 1.0 on success, 0 on cancel.
    using RecordingEnded = std::function<void(bool success, const QUrl &file, double)>;
    // The processed file and what went wrong on the way (the unprocessed
    // movie comes back when optimising failed).
    using Processed = std::function<void(const QUrl &file, const Error &error)>;

    explicit CloudScreenRecorder(QObject *parent = nullptr);
    ~CloudScreenRecorder() override;

    // The tray icon that becomes the stop control; may be null.
    void setStatusButton(RecordingStatusButton *button) { m_statusButton = button; }

    // Format 0 video, 1 GIF.
    void beginRecordingWithFormat(int format, RecordingBegan recordingStarted, RecordingEnded completion);
    void endScreenCapture();
    void cancelScreenCapture();
    void restartRecording();

    // From the capture window.
    void recordingStarted();
    void recordingCancelled();
    void recordingRestarted();
    void recordingFailed(const Error &error);

    // From the recording controls.
    void recordingControlsDidStop() { endScreenCapture(); }
    void recordingControlsDidRestart() { restartRecording(); }
    void recordingControlsDidTrash() { cancelScreenCapture(); }

    void showRecordingControlsPanel();
    void hideRecordingControlsPanel();
    void configureStatusItemForRecording();
    void restoreStatusItem();

    // A movie recorded another way: GIF when the format asks for it, else
    // handed on as it is.
    void nativeRecordingFinshedToURL(const QUrl &url);

    bool isRecording() const { return m_isRecording; }
    // True from beginRecordingWithFormat() until the completion ran.
    bool isActive() const { return m_captureWindow || m_processing; }
    TLCaptureWindowController *captureWindow() const { return m_captureWindow; }
    TLRecordingControlsPanel *controlsPanel() const { return m_controlsPanel; }

    // The processing step, also for `tessly record`: posts the began
    // notification with its message, converts off the GUI thread ("Screen
    // Capture"; the scale factor 0.5 for a GIF from a screen of ratio 2),
    // posts the ended notification and calls `done`, on the GUI thread.
    static void processRecording(const QUrl &movie, int format, qreal backingScaleFactor, Processed done);

Q_SIGNALS:
    // From the first frame until the movie is finished, failed or trashed:
    // the dashboard's record tile is a stop control meanwhile.
    void recordingChanged(bool recording);

private:
    void setRecording(bool recording);
    void finish(bool success, const QUrl &file);

    RecordingStatusButton *m_statusButton = nullptr;
    QPointer<TLCaptureWindowController> m_captureWindow;
    QPointer<TLRecordingControlsPanel> m_controlsPanel;
    QPointer<QScreen> m_captureScreen;
    RecordingBegan m_recordingBegan;
    RecordingEnded m_recordingEnded;
    bool m_isRecording = false;
    bool m_processing = false;
    bool m_statusItemConfigured = false;
    QString m_originalImage;
    std::function<void()> m_originalClickAction;
};
