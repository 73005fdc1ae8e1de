#include "commands.h"
#include "singleinstance.h"

#include <QFileInfo>

// `tessly open FILE` uploads a file handed to the application, as "Open
// With" and the screen recorder's hand-off do; the running tray application
// takes it when there is one.

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
    // The running tray application uploads it and copies the link.
    SingleInstance::Answer answer;
    if (SingleInstance::send(QStringLiteral("open"), { file.absoluteFilePath() }, &answer, nullptr, 2000)) {
        out() << "Handed " << file.absoluteFilePath() << " to Tessly Cloud\n";
        return answer.ok ? 0 : 1;
    }
    out() << "Received " << file.absoluteFilePath() << "\n";
    out().flush();
    return uploadAndPrintLink(file.absoluteFilePath());
}

} // namespace Commands
