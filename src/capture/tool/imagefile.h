#pragma once

#include <QImage>
#include <QString>

namespace ImageFile {

// Writes the image as PNG through a temporary file that replaces `path` only
// once complete, so a reader never sees half a picture. False with a message
// in *error when it cannot.
bool writePng(const QImage &image, const QString &path, QString *error);

// Puts the picture in the file at `source` at `path` as PNG, in the same
// all-or-nothing way: a PNG is copied byte for byte, another image format
// is converted. False with a message when `source` is not a picture.
bool copyAsPng(const QString &source, const QString &path, QString *error);

} // namespace ImageFile
