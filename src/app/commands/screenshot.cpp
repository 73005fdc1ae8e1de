#include "commands.h"
#include "screengrabber.h"

// `tessly screenshot [--window] [--markup]` takes a screenshot the way the
// menu and the shortcut do, and uploads it.

namespace Commands {

int screenshot(const QStringList &args)
{
    bool window = false;
    bool markup = false;
    for (const QString &arg : args) {
        if (arg == QLatin1String("--window"))
            window = true;
        else if (arg == QLatin1String("--markup"))
            markup = true;
        else
            return usageError("screenshot", QStringLiteral("unknown argument '%1'").arg(arg));
    }
    if (ScreenGrabber::captureToolPath().isEmpty()) {
        err() << "tessly screenshot: the capture tool tessly-screencapture is not installed\n";
        return 1;
    }

    const QString name = markup ? QStringLiteral("Markup") : QStringLiteral("Screen Shot");
    const QUrl file = window ? ScreenGrabber::captureWindow(name) : ScreenGrabber::captureScreen(name);
    if (file.isEmpty()) {
        err() << "tessly screenshot: nothing was captured\n";
        return 1;
    }
    if (markup) {
        err() << "tessly screenshot: the markup editor is not available in this build yet; the screenshot is at "
              << file.toLocalFile() << "\n";
        return 2;
    }
    return uploadAndPrintLink(file.toLocalFile());
}

} // namespace Commands
