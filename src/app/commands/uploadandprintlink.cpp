#include "commands.h"

namespace Commands {

// The last step of `tessly screenshot` and `tessly open`: the file goes
// through the upload queue and its share link is printed.
int uploadAndPrintLink(const QString &path)
{
    return uploadFilesAndPrintLinks("upload", { path });
}

} // namespace Commands
