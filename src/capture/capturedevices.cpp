#include "capturedevices.h"

#include "mediadevices.h"
#include "privateexecutables.h"

#include <QLibrary>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcCaptureDevices, "tessly.capture.capturedevices")

namespace CaptureDevices {

const MediaDevices *mediaDevices()
{
    static const MediaDevices *const devices = []() -> const MediaDevices * {
        const QString path = PrivateExecutables::privateModule(QString::fromLatin1(MediaDevicesModule));
        if (path.isEmpty()) {
            qCWarning(lcCaptureDevices).noquote()
                << "no microphones or cameras: the media module" << MediaDevicesModule << "is not installed";
            return nullptr;
        }
        QLibrary library(path);
        const auto entry = reinterpret_cast<MediaDevicesFunction>(library.resolve(MediaDevicesSymbol));
        if (!entry) {
            qCWarning(lcCaptureDevices).noquote()
                << "no microphones or cameras: the media module could not be loaded:" << library.errorString();
            return nullptr;
        }
        return entry();
    }();
    return devices;
}

QList<CaptureDevice> microphones()
{
    const MediaDevices *devices = mediaDevices();
    return devices ? devices->microphones() : QList<CaptureDevice>();
}

QList<CaptureDevice> cameras()
{
    const MediaDevices *devices = mediaDevices();
    return devices ? devices->cameras() : QList<CaptureDevice>();
}

} // namespace CaptureDevices
