#pragma once

#include <memory>
#include <QImage>
#include <QObject>
#include <QString>

// Where the webcam bubble's pictures come from. create() gives the real
// camera through Qt Multimedia (QCamera) when the system has one, else
// nothing, and the bubble is not offered. Tests put a test pattern behind
// the same interface, since a machine without a camera cannot run the real one.
class WebcamFrameSource : public QObject
{
    Q_OBJECT
public:
    static std::unique_ptr<WebcamFrameSource> create();

    virtual void start() = 0;
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;
    // Switches to the camera with this id; nothing changes when none has it.
    virtual void switchToDeviceWithUniqueID(const QString &id) = 0;

Q_SIGNALS:
    void frameReady(const QImage &frame);

protected:
    using QObject::QObject;
};
