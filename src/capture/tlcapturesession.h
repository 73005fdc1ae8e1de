#pragma once

#include "error.h"

#include <functional>
#include <memory>
#include <QGuiApplication>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QRectF>
#include <QUrl>

class ClickMarker;
class QScreen;
class ScreenRecorder;
class TLCaptureSessionOptions;

// One recording of the crop rectangle into a movie in the temporary
// directory ("Screen Capture on yyyy-MM-dd at HH-mm-ss.mov").
//
// X11: ffmpeg's x11grab of the rectangle in device pixels (made even), the
// microphone through the sound server (PulseAudio, or PipeWire's pulse
// service) when the options have one and sound is not disabled, and the
// capture tool's click rings when mouse clicks are to be shown. Ending writes
// "q" to ffmpeg so the movie is finalised. Other display servers cannot be
// recorded yet, nor can XWayland (it shows only the X clients' windows);
// beginRecordingWithOptions() then fails with a message that says so.
//
// The GUI thread only.
class TLCaptureSession : public QObject
{
    Q_OBJECT
public:
    // The error (null on success) and the movie's file URL.
    using Complete = std::function<void(const Error &error, const QUrl &outputUrl)>;

    explicit TLCaptureSession(QObject *parent = nullptr);
    ~TLCaptureSession() override;

    // Called on the GUI thread once ffmpeg is recording (it has made the
    // movie file), as recordingStarted() is emitted.
    void setRecordingDidStart(std::function<void()> block) { m_recordingDidStart = std::move(block); }

    // Starts recording; false with a message for the user in *error (the
    // rectangle is empty or off every screen, ffmpeg is missing, ...).
    bool beginRecordingWithOptions(const TLCaptureSessionOptions &options, Error *error = nullptr);

    // Stops and finalises the movie, then calls `complete`. After a failure
    // mid-recording (ffmpeg died), `complete` gets that failure at once.
    void endRecordingComplete(Complete complete);

    bool isRecording() const;
    // The movie's path; set by beginRecordingWithOptions().
    QString captureTemporaryFilePath() const { return m_path; }
    // The rectangle recorded, in root-window device pixels.
    QRect nativeRect() const { return m_native; }
    // ffmpeg's process id while it runs (tests, the benchmark); 0 otherwise.
    qint64 recorderProcessId() const;

    // Why this desktop cannot be recorded, for the user; empty when it can:
    // in an X11 session, with Qt on its xcb platform (`platformName`).
    static QString unsupportedReason(const QString &platformName = QGuiApplication::platformName());

    // The crop rectangle (screen-local points, bottom-left origin) in
    // root-window device pixels, for a screen at `screenGeometry` (Qt's
    // global logical coordinates) with `ratio` device pixels per point:
    // clipped to the screen, width and height made even (rounded down).
    // Empty when less than 2x2 pixels remain.
    static QRect nativeRect(const QRectF &cropRect, const QRect &screenGeometry, qreal ratio);

Q_SIGNALS:
    void recordingStarted();
    // ffmpeg failed on its own: the disk is full, it was killed. The movie so
    // far is kept, and the error says where, when ffmpeg could finalise it;
    // otherwise it is removed and the error says so.
    void recordingFailed(const Error &error);
    // The sound stopped while the recording goes on without it; the message
    // is for the user.
    void soundLost(const QString &message);
    // The screen being recorded went away (unplugged, turned off), or the
    // area left the X screen (it shrank or moved; ffmpeg has ended then):
    // the recording is to be stopped as the user would, which keeps the
    // movie so far. Emitted once, from the event loop; the message is for
    // the user.
    void screenLost(const QString &message);

private:
    void watchScreen(QScreen *screen);
    // Emits screenLost() once, from the event loop.
    void announceScreenLost(const QString &message);
    void recorderFinished(bool ok, const QString &message);
    void finish(const Error &error);
    // After a failure: says in *error where the movie so far is, or removes
    // it when it cannot be played.
    void keepOrRemoveMovie(Error *error) const;

    ScreenRecorder *m_recorder = nullptr;
    std::unique_ptr<ClickMarker> m_clickMarker;
    std::function<void()> m_recordingDidStart;
    Complete m_complete;
    QString m_path;
    QRect m_native;
    bool m_ended = false;
    bool m_screenLost = false;
    Error m_failure;
};
