#pragma once

#include <QString>

namespace FileUrl {

// The MIME type for a file, judged by its name's extension alone (the file
// need not exist); "application/octet-stream" when the extension is unknown.
QString mimeType(const QString &fileName);

// The name the service is given for a file: a file system allows control
// characters (escape sequences, line breaks) in names, a service does not,
// so each becomes "_". Every other character stays as it is.
QString serviceName(const QString &fileName);

} // namespace FileUrl
