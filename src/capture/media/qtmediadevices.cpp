// The devices and the camera through Qt Multimedia (see mediadevices.h).
#include "mediadevices.h"

#include <QAudioDevice>
#include <QCamera>
#include <QCameraDevice>
#include <QMediaCaptureSession>
#include <QMediaDevices>
#include <QVideoFrame>
#include <QVideoSink>

#include <memory>

namespace {

class QtCameraFeed final : public CameraFeed
{
public:
    QtCameraFeed(const QCameraDevice &device, std::function<void(const QImage &)> frameReady)
    {
        m_session.setVideoSink(&m_sink);
        setDevice(device);
        QObject::connect(&m_sink, &QVideoSink::videoFrameChanged, &m_sink,
            [frameReady = std::move(frameReady)](const QVideoFrame &frame) { frameReady(frame.toImage()); });
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

CameraFeed *openDefaultCamera(std::function<void(const QImage &)> frameReady)
{
    if (QMediaDevices::videoInputs().isEmpty())
        return nullptr;
    return new QtCameraFeed(QMediaDevices::defaultVideoInput(), std::move(frameReady));
}

} // namespace

extern "C" Q_DECL_EXPORT const MediaDevices *tesslyMediaDevices()
{
    static const MediaDevices devices { &microphones, &cameras, &openDefaultCamera };
    return &devices;
}
