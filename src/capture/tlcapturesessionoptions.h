#pragma once

#include <optional>
#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QScreen>
#include <QString>

// A microphone or camera as the options hold it: the device's unique id (for
// a microphone the sound server's source name, which ffmpeg records from)
// and the name shown to the user.
struct CaptureDevice
{
    QString id;
    QString name;

    friend bool operator==(const CaptureDevice &, const CaptureDevice &) = default;
};

// The recording options, one shared, persisted set (currentOptions()).
//
// The first six are read from the settings when the object is made and
// written back at once when they change:
//
//   showMouseClicks    "kShowMouseClicksKey"  true
//   showWebcam         "kShowWebcamKey"       true
//   startDelay         "kStartDelayKey"       5 (seconds)
//   defaultMicID       "kDefaultMicIdKey"     none (an empty id removes the key)
//   defaultCameraID    "kDefaultCamIdKey"     none; read only when a
//                                             microphone id is stored too
//   defaultWebcamSize  "kDefaultCamSize"      9 (8, 9, 10: 100, 200, 300 points)
//
// The rest live for the run: the chosen devices, whether sound is off (GIF),
// the crop rectangle (screen-local points, bottom-left origin, y upwards),
// the screen it is on (null: the primary screen) and the format (0 video,
// 1 GIF).
class TLCaptureSessionOptions : public QObject
{
    Q_OBJECT
public:
    static TLCaptureSessionOptions &currentOptions();

    // A set loaded from the settings as they are now.
    TLCaptureSessionOptions();

    bool showMouseClicks() const { return m_showMouseClicks; }
    void setShowMouseClicks(bool show);
    bool showWebcam() const { return m_showWebcam; }
    void setShowWebcam(bool show);
    int startDelay() const { return m_startDelay; }
    void setStartDelay(int seconds);
    QString defaultMicID() const { return m_defaultMicID; }
    void setDefaultMicID(const QString &id);
    QString defaultCameraID() const { return m_defaultCameraID; }
    void setDefaultCameraID(const QString &id);
    int defaultWebcamSize() const { return m_defaultWebcamSize; }
    void setDefaultWebcamSize(int size);

    std::optional<CaptureDevice> mic() const { return m_mic; }
    void setMic(std::optional<CaptureDevice> mic) { m_mic = std::move(mic); }
    std::optional<CaptureDevice> camera() const { return m_camera; }
    void setCamera(std::optional<CaptureDevice> camera) { m_camera = std::move(camera); }

    bool disableAudioRecording() const { return m_disableAudioRecording; }
    void setDisableAudioRecording(bool disable);

    QRectF captureRect() const { return m_captureRect; }
    void setCaptureRect(const QRectF &rect) { m_captureRect = rect; }
    QScreen *targetScreen() const { return m_targetScreen; }
    void setTargetScreen(QScreen *screen) { m_targetScreen = screen; }
    int format() const { return m_format; }
    void setFormat(int format) { m_format = format; }

Q_SIGNALS:
    void disableAudioRecordingChanged(bool disable);

private:
    bool m_showMouseClicks = true;
    bool m_showWebcam = true;
    int m_startDelay = 5;
    QString m_defaultMicID;
    QString m_defaultCameraID;
    int m_defaultWebcamSize = 9;
    std::optional<CaptureDevice> m_mic;
    std::optional<CaptureDevice> m_camera;
    bool m_disableAudioRecording = false;
    QRectF m_captureRect;
    QPointer<QScreen> m_targetScreen;
    int m_format = 0;
};
