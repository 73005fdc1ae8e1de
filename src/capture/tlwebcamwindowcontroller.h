#pragma once

#include <memory>
#include <QObject>
#include <QRectF>

class FloatingCameraPanel;
class WebcamFrameSource;

// The webcam bubble over the recorded area: the camera's picture in a
// floating panel of 100, 200 or 300 points (the options' size 8, 9, 10) that
// sits in a corner of the recording rectangle (global points, bottom-left
// origin). Follows "TLWebcamChangedNotification" (another camera) and
// "TLWebcamSizeChangedNotification" (another size).
//
// Without a camera there is nothing to show: hasCamera() is false and the
// controls disable the webcam button with a label that says why.
class TLWebcamWindowController : public QObject
{
    Q_OBJECT
public:
    TLWebcamWindowController();
    // With a frame source of the caller's (tests: a test pattern).
    explicit TLWebcamWindowController(std::unique_ptr<WebcamFrameSource> source);
    ~TLWebcamWindowController() override;

    bool hasCamera() const { return bool(m_source); }
    FloatingCameraPanel *panel() const { return m_panel; }

    void showAndStart();
    void hideAndStop();
    bool isVisible() const;
    void setRecordingRect(const QRectF &rect);
    void setRecordingRectPreservingCorner(const QRectF &rect);
    void applySavedWebcamSize();

    // 8, 9, 10 to the bubble's size in points; another value keeps `current`.
    static QSizeF sizeForSetting(int value, const QSizeF &current);

private:
    void handleWebcamChangedNotification();
    void handleWebcamSizeChangedNotification();

    std::unique_ptr<WebcamFrameSource> m_source;
    FloatingCameraPanel *m_panel;
};
