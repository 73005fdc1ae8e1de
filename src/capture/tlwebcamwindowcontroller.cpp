#include "tlwebcamwindowcontroller.h"
#include "capturepanelmodel.h"
#include "dispatch.h"
#include "floatingcamerapanel.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "tlcapturesessionoptions.h"
#include "webcamframesource.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcWebcamWindow, "tessly.capture.tlwebcamwindowcontroller")

TLWebcamWindowController::TLWebcamWindowController()
    : TLWebcamWindowController(WebcamFrameSource::create())
{
}

TLWebcamWindowController::TLWebcamWindowController(std::unique_ptr<WebcamFrameSource> source)
    : m_source(std::move(source))
    , m_panel(new FloatingCameraPanel)
{
    if (m_source)
        connect(m_source.get(), &WebcamFrameSource::frameReady, m_panel, &FloatingCameraPanel::setFrame);
    auto &center = NotificationCenter::defaultCenter();
    center.addObserver(this, QString::fromLatin1(Notifications::TLWebcamChangedNotification),
        [this](const Notification &) { Dispatch::main([this] { handleWebcamChangedNotification(); }); });
    center.addObserver(this, QString::fromLatin1(Notifications::TLWebcamSizeChangedNotification),
        [this](const Notification &) { Dispatch::main([this] { handleWebcamSizeChangedNotification(); }); });
    applySavedWebcamSize();
}

TLWebcamWindowController::~TLWebcamWindowController()
{
    NotificationCenter::defaultCenter().removeObserver(this);
    if (m_source)
        m_source->stop();
    delete m_panel;
}

QSizeF TLWebcamWindowController::sizeForSetting(int value, const QSizeF &current)
{
    switch (value) {
    case 8:
        return { 100, 100 };
    case 9:
        return { 200, 200 };
    case 10:
        return { 300, 300 };
    default:
        return current;
    }
}

void TLWebcamWindowController::applySavedWebcamSize()
{
    m_panel->setPanelSize(
        sizeForSetting(TLCaptureSessionOptions::currentOptions().defaultWebcamSize(), m_panel->frameRect().size()));
}

void TLWebcamWindowController::showAndStart()
{
    applySavedWebcamSize();
    m_panel->constrainToRecordingRect();
    m_panel->show();
    m_panel->raise();
    m_panel->snapToNearestCornerAnimated(false);
    if (m_source && !m_source->isRunning())
        m_source->start();
}

void TLWebcamWindowController::hideAndStop()
{
    m_panel->hide();
    if (m_source)
        m_source->stop();
}

bool TLWebcamWindowController::isVisible() const
{
    return m_panel->isVisible();
}

void TLWebcamWindowController::setRecordingRect(const QRectF &rect)
{
    qCInfo(lcWebcamWindow).noquote()
        << QStringLiteral("setRecordingRect %1").arg(CapturePanelModel::stringFromRect(rect));
    m_panel->setRecordingRect(rect);
    m_panel->constrainToRecordingRect();
    m_panel->snapToNearestCornerAnimated(false);
}

void TLWebcamWindowController::setRecordingRectPreservingCorner(const QRectF &rect)
{
    const FloatingCameraPanel::Corner corner = m_panel->currentCorner();
    qCInfo(lcWebcamWindow).noquote() << QStringLiteral("setRecordingRectPreservingCorner %1 corner %2")
                                            .arg(CapturePanelModel::stringFromRect(rect))
                                            .arg(int(corner));
    m_panel->setRecordingRect(rect);
    m_panel->snapToCorner(corner, false);
}

void TLWebcamWindowController::handleWebcamChangedNotification()
{
    if (m_source)
        m_source->switchToDeviceWithUniqueID(TLCaptureSessionOptions::currentOptions().defaultCameraID());
}

void TLWebcamWindowController::handleWebcamSizeChangedNotification()
{
    applySavedWebcamSize();
    m_panel->constrainToRecordingRect();
    m_panel->snapToNearestCornerAnimated(true);
}
