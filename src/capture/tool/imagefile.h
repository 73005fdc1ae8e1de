#pragma once

#include <QImage>
#include <QString>

namespace ImageFile {

// Writes the image as PNG through a temporary file that replaces `path` only
// once complete, so a reader never sees half a picture. False with a message
// in *error when it cannot.
bool writePng(const QImage &image, const QString &path, QString *error);

} // namespace ImageFile
