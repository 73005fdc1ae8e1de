// `tessly share FILE...|URL`: what the file managers' "Share with Tessly
// Cloud" action runs. The running tray application does the work: files are
// uploaded (several as a folder or one ZIP, by the settings) and the link is
// copied; a web URL becomes a short link. The link stays on the clipboard
// because the tray application owns it.
#include "commands.h"
#include "singleinstance.h"

#include <QFileInfo>

namespace Commands {

int share(const QStringList &args)
{
    if (args.isEmpty())
        return usageError("share", QStringLiteral("name files or one web URL (usage: tessly share FILE...|URL)"));
    QStringList arguments;
    for (const QString &arg : args) {
        if (arg.contains(QLatin1String("://"))) {
            arguments << arg;
            continue;
        }
        const QFileInfo file(arg);
        if (!file.exists())
            return usageError("share", QStringLiteral("%1: no such file").arg(arg));
        arguments << file.absoluteFilePath();
    }
    SingleInstance::Answer answer;
    QString error;
    if (!SingleInstance::send(QStringLiteral("share"), arguments, &answer, &error)) {
        err() << "tessly share: " << error << "; start it with `tessly` first\n";
        return 1;
    }
    if (!answer.ok) {
        err() << "tessly share: " << answer.message << "\n";
        return 1;
    }
    out() << "Handed to Tessly Cloud; the link will be on the clipboard.\n";
    return 0;
}

} // namespace Commands
