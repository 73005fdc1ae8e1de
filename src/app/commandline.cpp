#include "commandline.h"

#include "config_defaults.h"

#include <QTextStream>

namespace CommandLine {

namespace {

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

const char kUsage[] = "Usage: tessly [COMMAND]\n"
                      "\n"
                      "With no command, Tessly Cloud starts in the system tray.\n"
                      "\n"
                      "Commands:\n"
                      "  help        show this text\n"
                      "  version     print the version\n"
                      "\n"
                      "Environment:\n"
                      "  TESSLY_API_URL, TESSLY_WEB_DOMAIN, TESSLY_URL_SCHEME, TESSLY_APP_ID,\n"
                      "  TESSLY_SUPPORT_EMAIL, TESSLY_SHORTCUTS_HELP_URL, TESSLY_CA_FILE\n"
                      "  override the built-in service configuration.\n";

} // namespace

bool handles(const QStringList &args)
{
    return !args.isEmpty();
}

int run(const QStringList &args)
{
    const QString command = args.value(0);
    if (command == QLatin1String("help") || command == QLatin1String("--help") || command == QLatin1String("-h")) {
        out() << kUsage;
        return 0;
    }
    if (command == QLatin1String("version") || command == QLatin1String("--version")) {
        out() << "tessly " << TESSLY_VERSION << "\n";
        return 0;
    }
    err() << "tessly: unknown command '" << command << "'\n\n" << kUsage;
    return 2;
}

} // namespace CommandLine
