#pragma once

#include "tlcapturesessionoptions.h"

#include <QImage>
#include <QList>
#include <QString>

#include <functional>

// What the capture code asks of Qt Multimedia: the microphones and cameras,
// and a running camera. It lives in a module of its own (media/), loaded the
// first time the options menu lists devices or the webcam bubble opens: Qt
// Multimedia and the sound-server and codec libraries it pulls in stay out of
// the tray application's start-up.

// A camera delivering frames to the function it was opened with.
class CameraFeed
{
public:
    virtual ~CameraFeed() = default;

    virtual void start() = 0;
    virtual void stop() = 0;
    virtual bool isRunning() const = 0;
    // Switches to the camera with this id; nothing changes when none has it.
    virtual void switchToDeviceWithUniqueID(const QString &id) = 0;
};

struct MediaDevices
{
    QList<CaptureDevice> (*microphones)();
    QList<CaptureDevice> (*cameras)();
    // The system's default camera, or null when there is none.
    CameraFeed *(*openDefaultCamera)(std::function<void(const QImage &)> frameReady);
};

// The module's entry point, exported unmangled under this name.
using MediaDevicesFunction = const MediaDevices *(*)();
inline constexpr char MediaDevicesSymbol[] = "tesslyMediaDevices";

// The module's file name in the private executables folder.
inline constexpr char MediaDevicesModule[] = "mediadevices.so";
