#pragma once

#include <QByteArray>
#include <QColor>
#include <QSize>
#include <QString>

// Files for upload tests: random content (so a wrong byte anywhere shows) and
// their SHA-256, to compare with what the service hands back.
namespace TestFiles {

// Writes `size` random bytes to dir/name; returns the path, empty on failure.
QString random(const QString &dir, const QString &name, qint64 size);

// `size` random bytes.
QByteArray randomBytes(qsizetype size);

// SHA-256 of a file, read in blocks (never whole in memory).
QByteArray sha256(const QString &path);

// Writes `bytes` to `path`, making its folder; returns the path. A fixture
// that cannot be written ends the run.
QString write(const QString &path, const QByteArray &bytes);

// The whole file; empty when it cannot be read.
QByteArray read(const QString &path);

// A picture of one colour, encoded as `format` ("PNG", "JPEG", "BMP", "TIFF").
QByteArray image(const char *format, const QColor &color, QSize size = QSize(4, 3));

} // namespace TestFiles
