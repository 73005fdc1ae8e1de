#include "screengrabber.h"
#include "capturenaming.h"
#include "desktopiconhider.h"
#include "dispatch.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "privateexecutables.h"
#include "serviceconfig.h"
#include "settingsstore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>

Q_LOGGING_CATEGORY(lcScreenGrabber, "tessly.capture.screengrabber")

namespace {

// How a recording ended, in the numbers the log has always used: 1 for an
// exit, 2 for a signal.
long terminationReason(QProcess::ExitStatus status)
{
    return status == QProcess::NormalExit ? 1 : 2;
}

} // namespace

ScreenGrabber &ScreenGrabber::instance()
{
    // Never destroyed: it may be reached while the application shuts down.
    static ScreenGrabber *grabber = new ScreenGrabber;
    return *grabber;
}

ScreenGrabber::ScreenGrabber()
    : m_iconHider(new DesktopIconHider(this))
{
}

ScreenGrabber::~ScreenGrabber() = default;

QString ScreenGrabber::captureToolPath()
{
    QString path;
    if (qEnvironmentVariableIsSet("TESSLY_CAPTURE_TOOL")) {
        path = qEnvironmentVariable("TESSLY_CAPTURE_TOOL");
    } else {
        path = PrivateExecutables::auxiliaryExecutable(QStringLiteral("tessly-screencapture"));
    }
    const QFileInfo info(path);
    if (path.isEmpty() || !info.isFile() || !info.isExecutable())
        return {};
    return info.absoluteFilePath();
}

QUrl ScreenGrabber::captureScreen(const QString &name)
{
    instance().checkScreencapturePermissions();
    return capture(name, { QStringLiteral("-i") }, true);
}

QUrl ScreenGrabber::captureWindow(const QString &name)
{
    instance().checkScreencapturePermissions();
    return capture(name, { QStringLiteral("-i"), QStringLiteral("-w") }, true);
}

QUrl ScreenGrabber::captureFullScreen(const QString &name)
{
    return capture(name, { QStringLiteral("-i") }, false);
}

QUrl ScreenGrabber::capture(const QString &name, const QStringList &flags, bool launchWithArguments)
{
    const QString tool = captureToolPath();
    if (tool.isEmpty())
        return {};
    hideDesktopIcons();
    const QString path = captureTemporaryFilePath(name);
    const QStringList arguments = flags + QStringList { path };
    // Only what the tool writes now is the capture: an earlier one of the
    // same second must not come back when this one is cancelled.
    QFile::remove(path);

    QProcess task;
    task.setProcessChannelMode(QProcess::ForwardedChannels);
    task.start(tool, launchWithArguments ? arguments : QStringList {});
    task.waitForFinished(-1);

    showDesktopIcons();
    if (QFileInfo::exists(path)) {
        qCInfo(lcScreenGrabber).noquote() << QStringLiteral("Screenshot saved as: %1").arg(path);
        return QUrl::fromLocalFile(path);
    }
    qCInfo(lcScreenGrabber).noquote() << "Unable to save screenshot.";
    return {};
}

QString ScreenGrabber::captureTemporaryFilePath(const QString &name)
{
    return CaptureNaming::captureTemporaryFilePath(name);
}

QString ScreenGrabber::captureTemporaryFilePathVideo(const QString &name)
{
    return CaptureNaming::captureTemporaryFilePathVideo(name);
}

QString ScreenGrabber::nameForFile(const QString &name, const QString &extension, bool useCurrentTimestamp)
{
    return CaptureNaming::nameForFile(name, extension, useCurrentTimestamp);
}

void ScreenGrabber::hideDesktopIcons()
{
    if (SettingsStore::instance().hideDesktopIcons())
        instance().iconHider()->hideDesktopIcons();
}

void ScreenGrabber::showDesktopIcons()
{
    if (SettingsStore::instance().hideDesktopIcons())
        instance().iconHider()->unhideDesktopIcons();
}

void ScreenGrabber::checkScreencapturePermissions()
{
    // X11 lets every client read the screen; nothing to ask for.
}

void ScreenGrabber::recordScreen(const QString &name)
{
    Dispatch::main([name] {
        const QString tool = captureToolPath();
        if (tool.isEmpty())
            return;
        const QString path = captureTemporaryFilePathVideo(name);
        auto *task = new QProcess(&instance());
        task->setProcessChannelMode(QProcess::ForwardedChannels);
        task->setProgram(tool);
        task->setArguments({ QStringLiteral("-UkvigB") + Config::applicationId(), path });

        QPointer<ScreenGrabber> weakSelf(&instance());
        connect(task, &QProcess::finished, task, [weakSelf, task](int exitCode, QProcess::ExitStatus status) {
            Dispatch::main([weakSelf, task, exitCode, status] {
                task->deleteLater();
                if (!weakSelf)
                    return;
                qCInfo(lcScreenGrabber).noquote() << QStringLiteral("Recording terminated. reason=%1 status=%2")
                                                         .arg(terminationReason(status))
                                                         .arg(exitCode);
                weakSelf->m_recordingTask = nullptr;
                NotificationCenter::defaultCenter().post(
                    QLatin1String(Notifications::ScreenGrabberRecordingDidStopNotification),
                    QVariant::fromValue<QObject *>(weakSelf.data()));
            });
        });

        task->start();
        if (!task->waitForStarted()) {
            qCInfo(lcScreenGrabber).noquote()
                << QStringLiteral("Failed to start recording: %1").arg(task->errorString());
            task->deleteLater();
            return;
        }
        instance().m_recordingTask = task;
        NotificationCenter::defaultCenter().post(
            QLatin1String(Notifications::ScreenGrabberRecordingDidStartNotification),
            QVariant::fromValue<QObject *>(&instance()));
    });
}

void ScreenGrabber::endRecording()
{
    if (isRecording())
        m_recordingTask->terminate();
}

bool ScreenGrabber::isRecording() const
{
    return m_recordingTask && m_recordingTask->state() == QProcess::Running;
}
