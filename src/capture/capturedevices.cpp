#include "capturedevices.h"

#include <QAudioDevice>
#include <QCameraDevice>
#include <QMediaDevices>

namespace CaptureDevices {

QList<CaptureDevice> microphones()
{
    QList<CaptureDevice> result;
    for (const QAudioDevice &device : QMediaDevices::audioInputs())
        result << CaptureDevice { QString::fromUtf8(device.id()), device.description() };
    return result;
}

QList<CaptureDevice> cameras()
{
    QList<CaptureDevice> result;
    for (const QCameraDevice &device : QMediaDevices::videoInputs())
        result << CaptureDevice { QString::fromUtf8(device.id()), device.description() };
    return result;
}

} // namespace CaptureDevices
