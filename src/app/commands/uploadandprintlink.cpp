#include "commands.h"

namespace Commands {

// The one step `tessly screenshot` and `tessly open` still lack: the upload
// queue. Until it is wired here, the file stays where it is and the caller
// learns why.
int uploadAndPrintLink(const QString &path)
{
    Q_UNUSED(path);
    err() << "tessly: uploading is not available in this build yet\n";
    return 1;
}

} // namespace Commands
