#pragma once

#include <QString>

namespace FileUrl {

// The MIME type for a file, judged by its name's extension alone (the file
// need not exist); "application/octet-stream" when the extension is unknown.
QString mimeType(const QString &fileName);

} // namespace FileUrl
