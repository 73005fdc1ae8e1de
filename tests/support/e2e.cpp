#include "e2e.h"

#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QProcess>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QTest>
#include <QWidget>

namespace E2E {

bool underHarness()
{
    return qEnvironmentVariableIntValue("TESSLY_E2E") == 1 && !qEnvironmentVariableIsEmpty("DISPLAY");
}

bool waitForSystemTray(int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!QSystemTrayIcon::isSystemTrayAvailable()) {
        if (deadline.hasExpired())
            return false;
        QTest::qWait(50);
    }
    return true;
}

QImage grabDesktop()
{
    QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        return {};
    const QRect all = screen->virtualGeometry();
    return screen->grabWindow(0, all.x(), all.y(), all.width(), all.height()).toImage();
}

bool waitForWindowPixels(const QWidget *window, const std::function<bool(const QImage &)> &shows, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        QScreen *screen = window->screen();
        const QImage pixels = screen ? screen->grabWindow(window->winId()).toImage() : QImage();
        if (!pixels.isNull() && shows(pixels))
            return true;
        if (deadline.hasExpired())
            return false;
        QTest::qWait(20);
    }
}

QString captureToolReadyScript()
{
    // Mapped is not enough: keys typed before the tool takes the focus go to
    // whatever had it.
    return QStringLiteral(
        "xdotool search --sync --onlyvisible --class tessly-screencapture >/dev/null; "
        "until xdotool search --onlyvisible --class tessly-screencapture | grep -qx \"$(xdotool getwindowfocus)\"; "
        "do sleep 0.02; done; ");
}

bool waitForCaptureTool(int timeoutMs)
{
    int code = -1;
    runTool(QStringLiteral("sh"), { QStringLiteral("-c"), captureToolReadyScript() }, &code, timeoutMs);
    return code == 0;
}

QByteArray runTool(const QString &program, const QStringList &args, int *exitCode, int timeoutMs, QByteArray *errors)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(program, args);
    const bool finished = process.waitForStarted(5000) && process.waitForFinished(timeoutMs);
    if (exitCode)
        *exitCode = (finished && process.exitStatus() == QProcess::NormalExit) ? process.exitCode() : -1;
    if (!finished)
        process.kill();
    if (errors)
        *errors = process.readAllStandardError();
    return process.readAllStandardOutput();
}

void xdotool(const QStringList &args)
{
    int code = -1;
    runTool(QStringLiteral("xdotool"), args, &code);
    QVERIFY2(code == 0, qPrintable(QStringLiteral("xdotool ") + args.join(QLatin1Char(' '))));
}

QList<QImage> movieFrames(const QString &movie, const QRect &crop)
{
    int code = -1;
    const QByteArray raw = runTool(QStringLiteral("ffmpeg"),
        { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), movie, QStringLiteral("-vf"),
            QStringLiteral("crop=%1:%2:%3:%4").arg(crop.width()).arg(crop.height()).arg(crop.x()).arg(crop.y()),
            QStringLiteral("-f"), QStringLiteral("rawvideo"), QStringLiteral("-pix_fmt"), QStringLiteral("rgb24"),
            QStringLiteral("-") },
        &code);
    QList<QImage> result;
    const qsizetype size = qsizetype(crop.width()) * crop.height() * 3;
    for (qsizetype at = 0; code == 0 && size > 0 && at + size <= raw.size(); at += size) {
        result << QImage(reinterpret_cast<const uchar *>(raw.constData() + at), crop.width(), crop.height(),
            crop.width() * 3, QImage::Format_RGB888)
                      .copy();
    }
    return result;
}

int waitResponsively(QProcess &process, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (process.state() != QProcess::NotRunning && !deadline.hasExpired())
        QTest::qWait(20);
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
        return -1;
    }
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

} // namespace E2E
