#include "cloudscreenrecorder.h"
#include "dispatch.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "recordingstatusbutton.h"
#include "tlcapturepanel.h"
#include "tlcapturesession.h"
#include "tlcapturesessionoptions.h"
#include "tlcapturewindowcontroller.h"
#include "tlgifconverter.h"
#include "tlrecordingcontrolspanel.h"

#include <QFileInfo>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QScreen>

Q_LOGGING_CATEGORY(lcCloudScreenRecorder, "tessly.capture.cloudscreenrecorder")

namespace {

QString notificationName(const char *name)
{
    return QString::fromLatin1(name);
}

} // namespace

CloudScreenRecorder::CloudScreenRecorder(QObject *parent)
    : QObject(parent)
{
}

CloudScreenRecorder::~CloudScreenRecorder()
{
    // Quitting mid-recording: the session finalises the movie so far.
    restoreStatusItem();
    delete m_controlsPanel;
    delete m_captureWindow;
}

void CloudScreenRecorder::beginRecordingWithFormat(
    int format, RecordingBegan recordingStarted, RecordingEnded completion)
{
    if (isActive()) {
        qCInfo(lcCloudScreenRecorder) << "A recording is already under way";
        if (m_captureWindow && m_captureWindow->capturePanel())
            m_captureWindow->capturePanel()->raise();
        return;
    }
    // 1.
    m_recordingBegan = std::move(recordingStarted);
    m_recordingEnded = std::move(completion);
    if (const QString reason = TLCaptureSession::unsupportedReason(); !reason.isEmpty()) {
        recordingFailed(Error(QStringLiteral("TLCaptureSession"), -1, reason));
        return;
    }
    TLCaptureSessionOptions &options = TLCaptureSessionOptions::currentOptions();
    options.setFormat(format);
    // 2.
    m_captureWindow = new TLCaptureWindowController(this);
    // 3. The format control on the panel shows the stored choice, which
    // replaced `format`.
    options.setDisableAudioRecording(options.format() == 1);
    // 4.
    m_captureScreen = QGuiApplication::primaryScreen();
    m_captureWindow->beginScreenCaptureForScreen(m_captureScreen);
}

void CloudScreenRecorder::recordingStarted()
{
    if (m_recordingBegan)
        m_recordingBegan();
    if (m_captureWindow && m_captureWindow->capturePanel())
        m_captureScreen = m_captureWindow->capturePanel()->currentScreen();
    configureStatusItemForRecording();
    showRecordingControlsPanel();
    setRecording(true);
}

void CloudScreenRecorder::configureStatusItemForRecording()
{
    if (!m_statusButton || m_statusItemConfigured)
        return;
    // The right-button menu stays: on Linux it is the only way to the other
    // actions while the left button stops the recording.
    m_originalImage = m_statusButton->imageName();
    m_originalClickAction = m_statusButton->clickAction();
    m_statusButton->setImageNamed(QStringLiteral("stop.circle.fill"));
    m_statusButton->setAccessibilityDescription(QStringLiteral("Stop Recording"));
    QPointer<CloudScreenRecorder> self(this);
    m_statusButton->setClickAction([self] {
        if (self)
            self->endScreenCapture();
    });
    m_statusItemConfigured = true;
}

void CloudScreenRecorder::restoreStatusItem()
{
    if (!m_statusButton || !m_statusItemConfigured)
        return;
    m_statusButton->setClickAction(std::exchange(m_originalClickAction, {}));
    m_statusButton->setAccessibilityDescription(QString());
    m_statusButton->setImageNamed(QStringLiteral("MenuIcon"));
    m_statusItemConfigured = false;
}

void CloudScreenRecorder::showRecordingControlsPanel()
{
    if (!m_controlsPanel) {
        m_controlsPanel = new TLRecordingControlsPanel;
        connect(m_controlsPanel, &TLRecordingControlsPanel::stopRequested, this,
            &CloudScreenRecorder::recordingControlsDidStop);
        connect(m_controlsPanel, &TLRecordingControlsPanel::restartRequested, this,
            &CloudScreenRecorder::recordingControlsDidRestart);
        connect(m_controlsPanel, &TLRecordingControlsPanel::trashRequested, this,
            &CloudScreenRecorder::recordingControlsDidTrash);
    }
    const TLCaptureSessionOptions &options = TLCaptureSessionOptions::currentOptions();
    QScreen *screen = options.targetScreen() ? options.targetScreen() : QGuiApplication::primaryScreen();
    m_controlsPanel->positionRelativeToCropRect(options.captureRect(), screen);
    m_controlsPanel->show();
    m_controlsPanel->raise();
    m_controlsPanel->startTimer();
}

void CloudScreenRecorder::hideRecordingControlsPanel()
{
    if (m_controlsPanel)
        m_controlsPanel->orderOut();
}

void CloudScreenRecorder::endScreenCapture()
{
    if (!m_captureWindow || !m_isRecording)
        return;
    // 1.
    restoreStatusItem();
    hideRecordingControlsPanel();
    // 2.
    const int format = TLCaptureSessionOptions::currentOptions().format();
    const qreal scale = m_captureScreen ? m_captureScreen->devicePixelRatio() : 1.0;
    QPointer<CloudScreenRecorder> self(this);
    m_processing = true;
    m_captureWindow->endRecordingComplete([self, format, scale](const Error &error, const QUrl &movie) {
        if (!self)
            return;
        // 3.
        if (error) {
            self->m_processing = false;
            self->recordingFailed(error);
            return;
        }
        self->setRecording(false);
        // 4., 5.
        processRecording(movie, format, scale, [self](const QUrl &file, const Error &) {
            if (!self)
                return;
            self->m_processing = false;
            self->finish(true, file);
        });
    });
    m_captureWindow = nullptr; // it closes itself
}

void CloudScreenRecorder::processRecording(const QUrl &movie, int format, qreal backingScaleFactor, Processed done)
{
    Dispatch::main([movie, format, backingScaleFactor, done = std::move(done)] {
        NotificationCenter::defaultCenter().post(notificationName(Notifications::VideoProcessingBeganNotification), {},
            { { QString::fromLatin1(Notifications::VideoProcessingMessageKey),
                format == 1 ? QStringLiteral("Converting to GIF...") : QStringLiteral("Optimizing video...") } });
        Dispatch::longRunning([movie, format, backingScaleFactor, done] {
            Error error;
            QUrl result;
            if (format == 1) {
                const double scale = backingScaleFactor == 2.0 ? 0.5 : 1.0;
                result = TLGIFConverter().convertFileAtPath(movie, QStringLiteral("Screen Capture"), scale, &error);
                if (!error && QFileInfo(result.toLocalFile()).size() == 0)
                    error = Error(QStringLiteral("TLGIFConverter"), -1, QStringLiteral("The GIF came out empty"));
            } else {
                result = TLGIFConverter().optimizeVideoAtPath(movie, QStringLiteral("Screen Capture"), &error);
            }
            Dispatch::main([result, error, done] {
                NotificationCenter::defaultCenter().post(
                    notificationName(Notifications::VideoProcessingEndedNotification));
                done(result, error);
            });
        });
    });
}

void CloudScreenRecorder::nativeRecordingFinshedToURL(const QUrl &url)
{
    const int format = TLCaptureSessionOptions::currentOptions().format();
    if (format != 1) {
        finish(true, url);
        return;
    }
    qCInfo(lcCloudScreenRecorder) << "Creating and optimizing GIF...";
    const qreal scale = m_captureScreen ? m_captureScreen->devicePixelRatio() : 1.0;
    QPointer<CloudScreenRecorder> self(this);
    processRecording(url, 1, scale, [self](const QUrl &file, const Error &) {
        if (self)
            self->finish(true, file);
    });
}

void CloudScreenRecorder::cancelScreenCapture()
{
    restoreStatusItem();
    hideRecordingControlsPanel();
    if (m_captureWindow) {
        m_captureWindow->cancelRecording();
        m_captureWindow = nullptr;
    }
    setRecording(false);
    finish(false, {});
}

void CloudScreenRecorder::recordingCancelled()
{
    cancelScreenCapture();
}

void CloudScreenRecorder::recordingFailed(const Error &error)
{
    // The movie so far is the user's: it is kept, not deleted as on trash.
    restoreStatusItem();
    hideRecordingControlsPanel();
    if (m_captureWindow) {
        m_captureWindow->endScreenCapture();
        m_captureWindow = nullptr;
    }
    setRecording(false);
    const QString message = error.localizedDescription;
    qCWarning(lcCloudScreenRecorder).noquote() << QStringLiteral("Got error while recording %1").arg(error.toString());
    NotificationCenter::defaultCenter().post(notificationName(Notifications::UserVisibleErrorNotification),
        QVariantMap {
            { QStringLiteral("error"), QStringLiteral("Recording failed") }, { QStringLiteral("message"), message } });
    finish(false, {});
}

void CloudScreenRecorder::restartRecording()
{
    if (m_captureWindow && m_isRecording)
        m_captureWindow->restartRecording();
}

void CloudScreenRecorder::recordingRestarted()
{
    if (m_controlsPanel)
        m_controlsPanel->resetTimer();
}

void CloudScreenRecorder::setRecording(bool recording)
{
    if (m_isRecording == recording)
        return;
    m_isRecording = recording;
    Q_EMIT recordingChanged(recording);
}

void CloudScreenRecorder::finish(bool success, const QUrl &file)
{
    RecordingEnded ended = std::exchange(m_recordingEnded, {});
    m_recordingBegan = {};
    if (ended)
        ended(success, file, success ? 1.0 : 0.0);
}
