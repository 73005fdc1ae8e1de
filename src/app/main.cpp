#include "appdelegate.h"
#include "commandline.h"
#include "commandlinearguments.h"
#include "logging.h"
#include "secretstore.h"
#include "serviceconfig.h"
#include "singleinstance.h"

#include <QApplication>
#include <QCoreApplication>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTextStream>
#include <QTimer>

#include <memory>

namespace {

// What the desktop entry's `Exec=tessly %U` passes: URLs (the login
// callback, "shareClipboard", file URLs) or paths of files.
bool isHandedOver(const QStringList &args)
{
    if (args.isEmpty())
        return false;
    for (const QString &arg : args) {
        if (!arg.contains(QLatin1String("://")) && !QFileInfo::exists(arg))
            return false;
    }
    return true;
}

} // namespace

// The application proper; the `tessly` executable loads it when the running
// instance cannot simply be handed what this run was given.
extern "C" Q_DECL_EXPORT int tesslyMain(int argc, char *argv[])
{
    Logging::install();

    const QStringList args = CommandLineArguments::decode(argc, argv);

    const auto trustExtraCa = [] {
        QString error;
        if (!Config::installTrustedCaFile(&error))
            QTextStream(stderr) << "tessly: " << error << "\n";
    };

    const bool handedOver = isHandedOver(args);
    // The desktop entry's actions: `tessly --action NAME` runs one of the
    // tray's user actions, in the running instance or in one started for it.
    const bool action = args.size() == 2 && args.first() == QLatin1String("--action");
    if (!handedOver && !action) {
        if (const CommandLine::Command *command = CommandLine::find(args)) {
            // A command speaks through its own output; the classes' info lines
            // stay out of the way unless asked for.
            if (qEnvironmentVariableIsEmpty("QT_LOGGING_RULES") && qEnvironmentVariableIntValue("TESSLY_VERBOSE") != 1)
                QLoggingCategory::setFilterRules(QStringLiteral("tessly.*.info=false\ntessly.*.debug=false"));
            std::unique_ptr<QCoreApplication> app;
            if (CommandLine::needsGui(*command, args))
                app = std::make_unique<QApplication>(argc, argv);
            else
                app = std::make_unique<QCoreApplication>(argc, argv);
            trustExtraCa();
            SecretStore::installTokenVault();
            return CommandLine::run(*command, args);
        }
    }

    // A running instance takes what this run was given (or just shows itself).
    {
        SingleInstance::Answer answer;
        const QStringList absolute = [&] {
            QStringList list;
            for (const QString &arg : args)
                list << (arg.contains(QLatin1String("://")) ? arg : QFileInfo(arg).absoluteFilePath());
            return list;
        }();
        const bool sent = action
            ? SingleInstance::send(QStringLiteral("perform"), args.mid(1), &answer)
            : SingleInstance::send(handedOver ? QStringLiteral("open") : QStringLiteral("reopen"), absolute, &answer);
        if (sent) {
            if (!answer.ok)
                QTextStream(stderr) << "tessly: " << answer.message << "\n";
            return answer.ok ? 0 : 1;
        }
    }

    QApplication app(argc, argv);
    trustExtraCa();
    QApplication::setApplicationName(QStringLiteral("Tessly Cloud"));
    QApplication::setDesktopFileName(QStringLiteral("com.tessly.Cloud"));
    QApplication::setQuitOnLastWindowClosed(false);
    SecretStore::installTokenVault();

    AppDelegate delegate;
    if (!delegate.listenForOtherInstances()) {
        // Another instance won the race for the socket: hand over to it.
        SingleInstance::Answer answer;
        SingleInstance::send(handedOver ? QStringLiteral("open") : QStringLiteral("reopen"), args, &answer);
        return 0;
    }
    // The icon first; the rest of the launch runs from the event loop, so the
    // tray host embeds the icon while the menu, the dashboard and the rest are
    // built. It is the first thing the loop runs, ahead of any request from a
    // later `tessly`, which needs the handler the launch installs.
    delegate.showStatusItem();
    QTimer::singleShot(0, &delegate, [&] {
        delegate.applicationDidFinishLaunching();
        if (handedOver)
            delegate.openArguments(args);
        if (action && !delegate.perform(args.at(1))) {
            QTextStream(stderr) << "tessly: unknown action '" << args.at(1) << "'\n";
            QCoreApplication::exit(2);
        }
    });
    return app.exec();
}
