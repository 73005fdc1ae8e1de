#pragma once

#include <QByteArray>
#include <QString>

// Files for upload tests: random content (so a wrong byte anywhere shows) and
// their SHA-256, to compare with what the service hands back.
namespace TestFiles {

// Writes `size` random bytes to dir/name; returns the path, empty on failure.
QString random(const QString &dir, const QString &name, qint64 size);

// SHA-256 of a file, read in blocks (never whole in memory).
QByteArray sha256(const QString &path);

} // namespace TestFiles
