#include "commandline.h"

#include "commands/commands.h"

#include <iterator>

namespace CommandLine {

namespace {

const Command kCommands[] = {
    { "help", "", "show this text", false, Commands::help },
    { "version", "", "print the version", false, Commands::version },
    { "login", "--token TOKEN [--domain PROFILE]", "sign in with a token (\"-\" reads it from stdin)", false,
        Commands::login },
    { "logout", "", "forget the stored token and profile", false, Commands::logout },
    { "upload", "[--copy] FILE...", "upload files (a folder as a ZIP) and print their links", false, Commands::upload },
    { "uploads", "", "list unfinished large uploads", false, Commands::uploads },
    { "resume", "", "resume every unfinished large upload", false, Commands::resume },
    { "cancel-all", "", "abort every unfinished upload", false, Commands::cancelAll },
    { "screenshot", "[--window] [--markup]", "take a screenshot and upload it", true, Commands::screenshot },
    { "record", "[--gif] [--region x,y,w,h] [--duration S] [--no-audio]",
        "record the screen (until Ctrl-C) and upload the movie", true, Commands::record },
    { "open", "FILE", "upload a file handed to Tessly Cloud", false, Commands::open },
    { "share", "FILE...|URL", "share through the running tray: the link goes to the clipboard", false,
        Commands::share },
    { "shorten", "URL", "print the short link of a web address", false, Commands::shorten },
    { "gif", "MOVIE", "turn a movie into an animated GIF and print its path", false, Commands::gif },
    { "optimize", "MOVIE", "make a movie stream-ready (MP4) and print its path", false, Commands::optimize },
};

const Command kUnknown = { "", "", "", false, nullptr };

} // namespace

QString usage()
{
    QString text = QStringLiteral("Usage: tessly [COMMAND [ARGS...]]\n\n"
                                  "With no command, Tessly Cloud starts in the system tray.\n\n"
                                  "Commands:\n");
    for (const Command &c : kCommands) {
        const QString head = QStringLiteral("%1 %2").arg(QLatin1String(c.name), QLatin1String(c.synopsis)).trimmed();
        text += QStringLiteral("  %1  %2\n").arg(head, -28).arg(QLatin1String(c.summary));
    }
    text += QStringLiteral("\nEnvironment:\n"
                           "  TESSLY_API_URL, TESSLY_WEB_DOMAIN, TESSLY_URL_SCHEME, TESSLY_APP_ID,\n"
                           "  TESSLY_SUPPORT_EMAIL, TESSLY_SHORTCUTS_HELP_URL, TESSLY_CA_FILE\n"
                           "  override the built-in service configuration.\n"
                           "  TESSLY_VERBOSE=1 shows the log lines of every step on stderr.\n");
    return text;
}

const Command *find(const QStringList &args)
{
    if (args.isEmpty())
        return nullptr;
    QString name = args.first();
    if (name == QLatin1String("--help") || name == QLatin1String("-h"))
        name = QStringLiteral("help");
    if (name == QLatin1String("--version"))
        name = QStringLiteral("version");
    for (const Command &c : kCommands) {
        if (name == QLatin1String(c.name))
            return &c;
    }
    return &kUnknown;
}

bool needsGui(const Command &command, const QStringList &args)
{
    // Copying to the clipboard takes a display connection.
    return command.needsGui || args.mid(1).contains(QLatin1String("--copy"));
}

int run(const Command &command, const QStringList &args)
{
    if (!command.run) {
        Commands::err() << "tessly: unknown command '" << args.value(0) << "'\n\n" << usage();
        return 2;
    }
    const int status = command.run(args.mid(1));
    Commands::out().flush();
    Commands::err().flush();
    return status;
}

} // namespace CommandLine
