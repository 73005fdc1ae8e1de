#include "commands.h"

#include <QFileInfo>

// `tessly open FILE` uploads a file handed to the application, as "Open
// With" and the screen recorder's hand-off (the desktop entry's Exec line) do.

namespace Commands {

int open(const QStringList &args)
{
    if (args.size() != 1)
        return usageError("open", QStringLiteral("expects one file"));
    const QFileInfo file(args.first());
    if (!file.exists())
        return usageError("open", QStringLiteral("%1: no such file").arg(args.first()));
    if (!file.isFile() || !file.isReadable())
        return usageError("open", QStringLiteral("%1: not a readable file").arg(args.first()));
    out() << "Received " << file.absoluteFilePath() << "\n";
    out().flush();
    return uploadAndPrintLink(file.absoluteFilePath());
}

} // namespace Commands
