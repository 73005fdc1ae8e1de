#pragma once

#include "tlcapturesessionoptions.h"

#include <functional>
#include <QList>
#include <QPointer>
#include <QWidget>

class QAction;
class QMenu;
class QPushButton;
class QTimer;
class QToolButton;

// The strip on the capture panel before recording: the format ("Video" or
// "GIF", stored under "kTLDefaultFormatKey"), the record button with its
// start-delay countdown, the webcam toggle, the presets, the options menu
// (start delay, microphone, mouse clicks, camera, webcam size) and close.
//
// It posts "TLVideoControllerBeginRecordingNotification" when the countdown
// ends, "TLVideoControllerEndCaptureNotification" on close,
// "TLToggleWebcamNotification", "TLWebcamChangedNotification" and
// "TLWebcamSizeChangedNotification"; choices go to the shared options.
class TLVideoControlsViewController : public QWidget
{
    Q_OBJECT
public:
    // Menu item tags.
    enum Tag {
        NoDelay = 1,
        FiveSecondDelay = 2,
        TenSecondDelay = 3,
        NoMicrophone = 4,
        ShowMouseClicks = 5,
        Microphone = 6,
        Camera = 7,
        WebcamSmall = 8,
        WebcamMedium = 9,
        WebcamLarge = 10,
    };

    using DeviceList = std::function<QList<CaptureDevice>()>;

    explicit TLVideoControlsViewController(QWidget *parent = nullptr);

    // Where the device items come from (Qt Multimedia unless replaced).
    void setDeviceSources(DeviceList microphones, DeviceList cameras);

    void setupFormatControl();
    void formatChanged(int segment);
    void setupMenu();
    void setSessionOptions(QAction *item);
    void beginRecording();
    void countdown(int seconds, std::function<void()> complete);
    // One second unless a test shortens it.
    void setCountdownInterval(int milliseconds);
    void closeSession();
    void toggleWebcam();
    void updateWebcamButton();

    QMenu *captureOptionsMenu() const { return m_menu; }
    QMenu *presetsMenu() const { return m_presets; }
    QPushButton *recordButton() const { return m_recordButton; }
    QToolButton *webcamButton() const { return m_webcamButton; }
    int selectedFormat() const;
    QString webcamSymbol() const { return m_webcamSymbol; }

Q_SIGNALS:
    void presetChosen(const QString &title);

private:
    TLCaptureSessionOptions &options() const { return TLCaptureSessionOptions::currentOptions(); }
    QAction *addItem(QMenu *menu, const QString &title, int tag, bool checked, bool enabled = true);
    // The record button during the countdown (it takes no clicks then), or
    // as "Record" again for 0.
    void showSecondsLeft(int seconds);

    QPushButton *m_formatButtons[2] = {};
    QPushButton *m_recordButton = nullptr;
    QToolButton *m_webcamButton = nullptr;
    QToolButton *m_optionsButton = nullptr;
    QToolButton *m_presetsButton = nullptr;
    QToolButton *m_closeButton = nullptr;
    QMenu *m_menu = nullptr;
    QMenu *m_presets = nullptr;
    QTimer *m_countdownTimer = nullptr;
    int m_secondsLeft = 0;
    std::function<void()> m_countdownComplete;
    DeviceList m_microphones;
    DeviceList m_cameras;
    QString m_webcamSymbol;
};
