#pragma once

#include <QDateTime>
#include <QString>

// How the program names the files it writes for the user (screenshots,
// recordings, markup exports, archives): a base name, the date and the time of
// the moment it was made, and an extension, e.g.
//
//   Screen Shot on 2025-03-07 at 09-05-03.png
//
// The time uses "-" instead of ":" so the name is safe on every file system
// and in a share link. Date and time are local.
namespace CaptureNaming {

// "name on yyyy-MM-dd at HH-mm-ss.ext" for the current instant when
// useCurrentTimestamp is set, otherwise "name.ext".
QString nameForFile(const QString &name, const QString &extension, bool useCurrentTimestamp);

// The same with the time stamp of a given instant (read in its own time zone).
QString nameForFile(const QString &name, const QString &extension, const QDateTime &at);

// "yyyy-MM-dd" and "HH-mm-ss" of an instant, digits in the C locale.
QString dateString(const QDateTime &at);
QString timeString(const QDateTime &at);

// The user's private temporary folder of this run (see
// UserTemporaryDirectory), always ending in "/", so that a file name can be
// appended directly.
QString temporaryDirectory();

// temporaryDirectory() followed directly by the time-stamped name with
// extension "png" (captureTemporaryFilePath) or "mov" (captureTemporaryFilePathVideo).
QString captureTemporaryFilePath(const QString &name);
QString captureTemporaryFilePathVideo(const QString &name);

} // namespace CaptureNaming
