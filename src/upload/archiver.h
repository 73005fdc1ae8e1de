#pragma once

#include <functional>
#include <QString>
#include <QStringList>
#include <QUrl>

// Packs files and folders into one ZIP archive in the user's private
// temporary folder, so that a folder or a selection of several files can be
// uploaded as one file.
//
// Each path is added by running /usr/bin/zip in the path's parent folder, so
// entries are named relative to it ("Photos/2024/a.jpg" for /home/u/Photos),
// recursively, at maximum compression, without directory entries and without
// macOS ".DS_Store" files that come along on shared drives. Symbolic links
// are stored as links, never followed. Each archive is written into a new
// folder of its own, so an archive is always one this call wrote.
class Archiver
{
public:
    // Blocks until the archive is written; call it off the main thread. One
    // path gives "<name>.zip", several give "Archive on <date> at <time>.zip".
    // Returns the archive's file URL, or an empty URL when any item could not
    // be archived whole (no paths, zip missing or failing on an unreadable
    // file): a partial archive is removed, never returned.
    static QUrl zipFiles(const QStringList &paths);

    // The same on a thread of its own; complete runs on the main thread.
    static void zipFiles(const QStringList &paths, std::function<void(const QUrl &archive)> complete);

    // Deletes an archive zipFiles() made, and its folder, once it is uploaded.
    static void removeArchive(const QUrl &archive);

    // "<name> on <date> at <time>.zip": a file name, no directory.
    static QString captureTemporaryFilePathWithName(const QString &name);
};
