#include "clipboardmanager.h"
#include "commands.h"
#include "drawwindowcontroller.h"
#include "screengrabber.h"

#include <QClipboard>
#include <QEventLoop>
#include <QGuiApplication>

// `tessly screenshot [--window] [--markup]` takes a screenshot the way the
// menu and the shortcut do, and uploads it; with --markup it first opens in
// the markup editor, whose Upload uploads it and whose Copy puts it on the
// clipboard.

namespace Commands {

namespace {

// Runs the markup window until it closes. On X11 the clipboard lives in its
// owner: after Copy, without a clipboard manager to take it over, the command
// keeps serving it until something else is copied.
int markup(const QString &path)
{
    DrawWindowController controller;
    QString uploadPath;
    QString copiedPath;
    controller.setUploadHandler([&uploadPath](const QUrl &url) { uploadPath = url.toLocalFile(); });
    QObject::connect(&controller, &DrawWindowController::copied, [&copiedPath](const QString &p) { copiedPath = p; });
    QObject::connect(&controller, &DrawWindowController::failed, [](const QString &message) {
        err() << "tessly screenshot: " << message << "\n" << Qt::flush;
    });
    QString error;
    if (!controller.showImageFile(path, DrawWindowController::scaleOfScreenUnderPointer(), &error)) {
        err() << "tessly screenshot: " << error << "\n";
        return 1;
    }
    QEventLoop loop;
    QObject::connect(&controller, &DrawWindowController::closed, &loop, &QEventLoop::quit);
    loop.exec();

    if (!uploadPath.isEmpty())
        return uploadAndPrintLink(uploadPath);
    if (copiedPath.isEmpty()) {
        err() << "tessly screenshot: the markup window was closed without Upload or Copy; the screenshot is at " << path
              << "\n";
        return 1;
    }
    out() << copiedPath << "\n" << Qt::flush;
    if (ClipboardManager::isRunning()) {
        err() << "tessly screenshot: the annotated screenshot is on the clipboard\n";
        return 0;
    }
    err() << "tessly screenshot: the annotated screenshot is on the clipboard until something else is copied "
             "(no clipboard manager runs to keep it)\n"
          << Qt::flush;
    QObject::connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, &loop, &QEventLoop::quit);
    loop.exec();
    return 0;
}

} // namespace

int screenshot(const QStringList &args)
{
    bool window = false;
    bool markupFirst = false;
    for (const QString &arg : args) {
        if (arg == QLatin1String("--window"))
            window = true;
        else if (arg == QLatin1String("--markup"))
            markupFirst = true;
        else
            return usageError("screenshot", QStringLiteral("unknown argument '%1'").arg(arg));
    }
    if (ScreenGrabber::captureToolPath().isEmpty()) {
        err() << "tessly screenshot: the capture tool tessly-screencapture is not installed\n";
        return 1;
    }

    const QString name = markupFirst ? QStringLiteral("Markup") : QStringLiteral("Screen Shot");
    const QUrl file = window ? ScreenGrabber::captureWindow(name) : ScreenGrabber::captureScreen(name);
    if (file.isEmpty()) {
        err() << "tessly screenshot: nothing was captured\n";
        return 1;
    }
    if (markupFirst)
        return markup(file.toLocalFile());
    return uploadAndPrintLink(file.toLocalFile());
}

} // namespace Commands
