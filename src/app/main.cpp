#include "commandline.h"
#include "logging.h"
#include "serviceconfig.h"
#include "trayapplication.h"

#include <QApplication>
#include <QCoreApplication>
#include <QLoggingCategory>
#include <QTextStream>

#include <memory>

int main(int argc, char *argv[])
{
    Logging::install();

    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);

    const auto trustExtraCa = [] {
        QString error;
        if (!Config::installTrustedCaFile(&error))
            QTextStream(stderr) << "tessly: " << error << "\n";
    };

    if (const CommandLine::Command *command = CommandLine::find(args)) {
        // A command speaks through its own output; the classes' info lines
        // stay out of the way unless asked for.
        if (qEnvironmentVariableIsEmpty("QT_LOGGING_RULES") && qEnvironmentVariableIntValue("TESSLY_VERBOSE") != 1)
            QLoggingCategory::setFilterRules(QStringLiteral("tessly.*.info=false\ntessly.*.debug=false"));
        std::unique_ptr<QCoreApplication> app;
        if (command->needsGui)
            app = std::make_unique<QApplication>(argc, argv);
        else
            app = std::make_unique<QCoreApplication>(argc, argv);
        trustExtraCa();
        return CommandLine::run(*command, args);
    }

    QApplication app(argc, argv);
    trustExtraCa();
    QApplication::setApplicationName(QStringLiteral("Tessly Cloud"));
    QApplication::setDesktopFileName(QStringLiteral("com.tessly.Cloud"));
    QApplication::setQuitOnLastWindowClosed(false);

    TrayApplication tray;
    tray.start();
    return app.exec();
}
