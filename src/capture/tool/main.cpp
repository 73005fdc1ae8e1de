// tessly-screencapture: the screenshot and screen-recording tool that Tessly
// Cloud runs as a child process (see captureoptions.h for its command line).
#include "captureoptions.h"
#include "capturetool.h"
#include "waylandcapture.h"

#include <QApplication>
#include <QTextStream>

int main(int argc, char **argv)
{
    // Arguments are checked before the display is opened, so a bad command
    // line is answered the same with or without a desktop.
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    QString error;
    const std::optional<CaptureOptions> options = CaptureOptions::parse(args, &error);
    if (!options) {
        QTextStream(stderr) << "tessly-screencapture: " << error << "\n" << CaptureOptions::usage();
        return 2;
    }

    // A Wayland session is served through the desktop portal, over D-Bus
    // only: no display connection, so no platform plugin for it is needed.
    if (WaylandCapture::isWaylandSession()) {
        QCoreApplication app(argc, argv);
        QCoreApplication::setApplicationName(QStringLiteral("tessly-screencapture"));
        WaylandCapture capture(*options);
        QObject::connect(&capture, &WaylandCapture::finished, &app, &QCoreApplication::exit);
        capture.start();
        return app.exec();
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("tessly-screencapture"));
    QApplication::setQuitOnLastWindowClosed(false);

    CaptureTool tool(*options);
    QObject::connect(&tool, &CaptureTool::finished, &app, &QApplication::exit);
    tool.start();
    return app.exec();
}
