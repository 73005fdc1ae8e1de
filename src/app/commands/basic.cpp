#include "commandline.h"
#include "commands.h"
#include "config_defaults.h"

namespace Commands {

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

int usageError(const char *command, const QString &message)
{
    err() << "tessly " << command << ": " << message << "\n";
    err().flush();
    return 2;
}

int help(const QStringList &)
{
    out() << CommandLine::usage();
    return 0;
}

int version(const QStringList &)
{
    out() << "tessly " << TESSLY_VERSION << "\n";
    return 0;
}

} // namespace Commands
