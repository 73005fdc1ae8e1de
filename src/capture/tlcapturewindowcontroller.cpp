#include "tlcapturewindowcontroller.h"
#include "capturepanelmodel.h"
#include "cloudscreenrecorder.h"
#include "desktopnotifier.h"
#include "dispatch.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "tlcapturepanel.h"
#include "tlcapturesessionoptions.h"
#include "tlvideocontrolsviewcontroller.h"
#include "tlwebcamwindowcontroller.h"

#include <QFile>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QScreen>

Q_LOGGING_CATEGORY(lcCaptureWindow, "tessly.capture.tlcapturewindowcontroller")

TLCaptureWindowController::TLCaptureWindowController(CloudScreenRecorder *captureDelegate)
    : QObject(nullptr)
    , m_delegate(captureDelegate)
    , m_panel(new TLCapturePanel)
    , m_webcam(new TLWebcamWindowController)
{
    observe(Notifications::TLVideoControllerBeginRecordingNotification, [this] { startRecording(); });
    observe(Notifications::TLVideoControllerEndCaptureNotification, [this] {
        if (m_captureSession)
            return; // Escape while recording: the controls stop it
        if (m_delegate)
            m_delegate->recordingCancelled();
        else
            endScreenCapture();
    });
    observe(Notifications::TLCaptureCropRectChanged, [this] { handleCropRectChanged(); });
    observe(Notifications::TLToggleWebcamNotification, [this] { toggleWebcam(); });
    observe(Notifications::TLCaptureScreenWillChange, [this] { m_isTransitioningScreens = true; });
    observe(Notifications::TLCaptureScreenChanged, [this] { handleScreenChanged(); });
}

TLCaptureWindowController::~TLCaptureWindowController()
{
    NotificationCenter::defaultCenter().removeObserver(this);
    delete m_captureSession; // finalises a running movie
    delete m_webcam;
    delete m_panel;
}

void TLCaptureWindowController::observe(const char *name, std::function<void()> handler)
{
    QPointer<TLCaptureWindowController> self(this);
    NotificationCenter::defaultCenter().addObserver(
        this, QString::fromLatin1(name), [self, handler = std::move(handler)](const Notification &) {
            Dispatch::main([self, handler] {
                if (self)
                    handler();
            });
        });
}

void TLCaptureWindowController::beginScreenCaptureForScreen(QScreen *screen)
{
    TLCaptureSessionOptions &options = TLCaptureSessionOptions::currentOptions();
    // The controller's own setting wins over the format's, as it always has;
    // the format control sets it again when the user picks one.
    options.setDisableAudioRecording(m_disableAudioRecording || options.format() == 1);
    m_panel->setCurrentScreen(screen);
    if (!options.captureRect().isNull())
        m_panel->setCropRect(options.captureRect());
    m_panel->show();
    m_panel->raise();
    m_panel->activateWindow();
    if (options.showWebcam() && m_webcam->hasCamera()) {
        qCInfo(lcCaptureWindow).noquote()
            << QStringLiteral("Recording Rect %1").arg(CapturePanelModel::stringFromRect(m_panel->cropRect()));
        m_webcam->setRecordingRect(
            m_panel->model()->cropRect().translated(m_panel->model()->currentScreenFrame().topLeft()));
        m_webcam->showAndStart();
    }
}

TLCaptureSession *TLCaptureWindowController::newSession()
{
    auto *session = new TLCaptureSession(this);
    QPointer<TLCapturePanel> panel(m_panel);
    session->setRecordingDidStart([panel] {
        if (panel)
            panel->hidePreparingIndicator();
    });
    connect(session, &TLCaptureSession::recordingFailed, this, [this](const Error &error) {
        if (m_delegate)
            m_delegate->recordingFailed(error);
    });
    connect(session, &TLCaptureSession::soundLost, this,
        [](const QString &message) { DesktopNotifier::instance().notify(QStringLiteral("Sound stopped"), message); });
    connect(session, &TLCaptureSession::screenLost, this, [this](const QString &message) {
        DesktopNotifier::instance().notify(QStringLiteral("Recording stopped"), message);
        if (m_delegate)
            m_delegate->endScreenCapture(); // as the stop button does: the movie goes on to the completion
    });
    return session;
}

void TLCaptureWindowController::startRecording()
{
    if (m_captureSession || m_ended)
        return;
    // 1.
    m_panel->setIsRecording(true);
    // 2.
    TLCaptureSessionOptions &options = TLCaptureSessionOptions::currentOptions();
    options.setCaptureRect(m_panel->cropRect());
    options.setTargetScreen(m_panel->currentScreen());
    // 3.
    if (m_delegate)
        m_delegate->recordingStarted();
    m_panel->showPreparingIndicator();
    // 4. The panel has shrunk to its outline before the first frame.
    QPointer<TLCaptureWindowController> self(this);
    Dispatch::after(0.02, this, [self] {
        if (!self || self->m_ended)
            return;
        self->m_captureSession = self->newSession();
        const TLCaptureSessionOptions &options = TLCaptureSessionOptions::currentOptions();
        qCInfo(lcCaptureWindow).noquote()
            << QStringLiteral("Current Screen %1 %2")
                   .arg(QGuiApplication::primaryScreen()->name(),
                       options.targetScreen() ? options.targetScreen()->name() : QString());
        Error error;
        if (!self->m_captureSession->beginRecordingWithOptions(options, &error)) {
            self->m_panel->hidePreparingIndicator();
            if (self->m_delegate)
                self->m_delegate->recordingFailed(error);
        }
    });
}

void TLCaptureWindowController::leaveRecordingState()
{
    m_panel->setIsRecording(false);
    m_panel->orderOut();
    m_webcam->hideAndStop();
}

void TLCaptureWindowController::endRecordingComplete(TLCaptureSession::Complete complete)
{
    leaveRecordingState();
    m_ended = true;
    if (m_restartingSession) {
        // Stop came while the old take was being finished for a restart: the
        // new one has not begun, so the old take is the recording after all.
        m_stopDuringRestart = std::move(complete);
        return;
    }
    if (!m_captureSession) {
        complete(Error(QStringLiteral("TLCaptureSession"), -1, QStringLiteral("Nothing was recorded")), {});
        deleteLater();
        return;
    }
    QPointer<TLCaptureWindowController> self(this);
    m_captureSession->endRecordingComplete([self, complete](const Error &error, const QUrl &url) {
        complete(error, url);
        if (self)
            self->deleteLater();
    });
}

void TLCaptureWindowController::cancelRecording()
{
    leaveRecordingState();
    m_ended = true;
    if (m_restartingSession)
        return; // the restart removes the old take, sees m_ended and closes
    if (!m_captureSession) {
        deleteLater();
        return;
    }
    QPointer<TLCaptureWindowController> self(this);
    m_captureSession->endRecordingComplete([self](const Error &error, const QUrl &url) {
        if (error)
            qCWarning(lcCaptureWindow).noquote()
                << QStringLiteral("Got error while recording %1").arg(error.toString());
        else if (QFile::exists(url.toLocalFile()))
            QFile::remove(url.toLocalFile());
        if (self)
            self->deleteLater();
    });
}

void TLCaptureWindowController::restartRecording()
{
    if (!m_captureSession || m_ended)
        return;
    QPointer<TLCaptureWindowController> self(this);
    TLCaptureSession *old = m_captureSession;
    m_captureSession = nullptr;
    m_restartingSession = old;
    old->endRecordingComplete([self, old](const Error &error, const QUrl &url) {
        old->deleteLater();
        if (self)
            self->m_restartingSession = nullptr;
        if (self && self->m_stopDuringRestart) {
            TLCaptureSession::Complete complete = std::exchange(self->m_stopDuringRestart, {});
            complete(error, url);
            self->deleteLater();
            return;
        }
        if (QFile::exists(url.toLocalFile()))
            QFile::remove(url.toLocalFile());
        if (self && self->m_ended) { // discarded meanwhile
            self->deleteLater();
            return;
        }
        if (!self)
            return;
        // At once, on this (the GUI) thread: a stop must find either the old
        // take or the new one.
        self->m_captureSession = self->newSession();
        Error beginError;
        if (!self->m_captureSession->beginRecordingWithOptions(
                TLCaptureSessionOptions::currentOptions(), &beginError)) {
            if (self->m_delegate)
                self->m_delegate->recordingFailed(beginError);
            return;
        }
        if (self->m_delegate)
            self->m_delegate->recordingRestarted();
    });
}

void TLCaptureWindowController::endScreenCapture()
{
    m_ended = true;
    m_panel->orderOut();
    m_webcam->hideAndStop();
    deleteLater();
}

void TLCaptureWindowController::toggleWebcam()
{
    TLCaptureSessionOptions &options = TLCaptureSessionOptions::currentOptions();
    if (m_webcam->isVisible()) {
        m_webcam->hideAndStop();
    } else if (m_webcam->hasCamera()) {
        m_webcam->setRecordingRect(
            m_panel->model()->cropRect().translated(m_panel->model()->currentScreenFrame().topLeft()));
        m_webcam->showAndStart();
    }
    options.setShowWebcam(m_webcam->isVisible());
    m_panel->controls()->updateWebcamButton();
}

void TLCaptureWindowController::setPreset(const QString &title)
{
    m_panel->model()->setPreset(title);
}

void TLCaptureWindowController::handleCropRectChanged()
{
    if (m_isTransitioningScreens || !m_webcam->isVisible())
        return;
    m_webcam->setRecordingRect(
        m_panel->model()->cropRect().translated(m_panel->model()->currentScreenFrame().topLeft()));
}

void TLCaptureWindowController::handleScreenChanged()
{
    m_isTransitioningScreens = false;
    if (m_webcam->isVisible()) {
        m_webcam->setRecordingRectPreservingCorner(
            m_panel->model()->cropRect().translated(m_panel->model()->currentScreenFrame().topLeft()));
    }
}
