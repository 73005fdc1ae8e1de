#include "webcamframesource.h"

#include "capturedevices.h"
#include "mediadevices.h"

namespace {

// The camera the media module runs, its frames passed on as frameReady().
class CameraFrameSource final : public WebcamFrameSource
{
public:
    explicit CameraFrameSource(const MediaDevices &devices)
        : m_feed(devices.openDefaultCamera([this](const QImage &frame) { Q_EMIT frameReady(frame); }))
    {
    }

    bool hasCamera() const { return m_feed != nullptr; }

    void start() override { m_feed->start(); }
    void stop() override { m_feed->stop(); }
    bool isRunning() const override { return m_feed->isRunning(); }
    void switchToDeviceWithUniqueID(const QString &id) override { m_feed->switchToDeviceWithUniqueID(id); }

private:
    std::unique_ptr<CameraFeed> m_feed;
};

} // namespace

std::unique_ptr<WebcamFrameSource> WebcamFrameSource::create()
{
    const MediaDevices *devices = CaptureDevices::mediaDevices();
    if (!devices)
        return nullptr;
    auto source = std::make_unique<CameraFrameSource>(*devices);
    if (!source->hasCamera())
        return nullptr;
    return source;
}
