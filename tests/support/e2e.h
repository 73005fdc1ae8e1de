#pragma once

#include <QImage>
#include <QList>
#include <QRect>
#include <QStringList>

#include <functional>

class QProcess;
class QWidget;

// Helpers for tests that run inside tests/e2e/harness.
namespace E2E {

// True when the harness's desktop is up around this process.
bool underHarness();

// Waits until a system tray host has claimed its selection.
bool waitForSystemTray(int timeoutMs = 5000);

// The whole virtual desktop as the X server shows it now.
QImage grabDesktop();

// Waits until a window's area, as the X server shows it now (its pixels on
// screen, in device pixels), satisfies `shows`; grabs anew until it does or
// timeoutMs pass. Use it instead of a pause before looking at the screen.
bool waitForWindowPixels(const QWidget *window, const std::function<bool(const QImage &)> &shows, int timeoutMs = 5000);

// A shell fragment that returns once the capture tool's selection is on
// screen and holds the input focus, so that xdotool's keys and clicks reach
// it. Put it before the xdotool commands of a driver script.
QString captureToolReadyScript();

// Waits, in this process, for what captureToolReadyScript() waits for.
bool waitForCaptureTool(int timeoutMs = 10000);

// Runs xdotool with these arguments; a test failure when it fails.
void xdotool(const QStringList &args);

// Runs a tool to completion; returns its standard output (its standard error
// into `errors`). exitCode is -1 when it could not start, crashed or did not
// finish within timeoutMs.
QByteArray runTool(const QString &program, const QStringList &args, int *exitCode = nullptr, int timeoutMs = 30000,
    QByteArray *errors = nullptr);

// Every frame of a movie, cut to `crop` (movie pixels), decoded by ffmpeg.
QList<QImage> movieFrames(const QString &movie, const QRect &crop);

// Waits for a started process to end while this one goes on handling its
// events (its windows repaint, take clicks); kills it after timeoutMs. Its
// exit code, or -1 when it crashed or was killed.
int waitResponsively(QProcess &process, int timeoutMs = 15000);

} // namespace E2E
