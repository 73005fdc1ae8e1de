#include "webcamframesource.h"

#include <QCamera>
#include <QCameraDevice>
#include <QMediaCaptureSession>
#include <QMediaDevices>
#include <QVideoFrame>
#include <QVideoSink>

namespace {

class CameraFrameSource final : public WebcamFrameSource
{
public:
    explicit CameraFrameSource(const QCameraDevice &device)
    {
        m_session.setVideoSink(&m_sink);
        setDevice(device);
        connect(&m_sink, &QVideoSink::videoFrameChanged, this,
            [this](const QVideoFrame &frame) { Q_EMIT frameReady(frame.toImage()); });
    }

    void start() override
    {
        if (m_camera)
            m_camera->start();
    }
    void stop() override
    {
        if (m_camera)
            m_camera->stop();
    }
    bool isRunning() const override { return m_camera && m_camera->isActive(); }

    void switchToDeviceWithUniqueID(const QString &id) override
    {
        for (const QCameraDevice &device : QMediaDevices::videoInputs()) {
            if (QString::fromUtf8(device.id()) == id) {
                const bool running = isRunning();
                setDevice(device);
                if (running)
                    start();
                return;
            }
        }
    }

private:
    void setDevice(const QCameraDevice &device)
    {
        m_camera = std::make_unique<QCamera>(device);
        m_session.setCamera(m_camera.get());
    }

    QMediaCaptureSession m_session;
    QVideoSink m_sink;
    std::unique_ptr<QCamera> m_camera;
};

} // namespace

std::unique_ptr<WebcamFrameSource> WebcamFrameSource::create()
{
    const QList<QCameraDevice> cameras = QMediaDevices::videoInputs();
    if (cameras.isEmpty())
        return nullptr;
    return std::make_unique<CameraFrameSource>(QMediaDevices::defaultVideoInput());
}
