#pragma once

#include <functional>
#include <QString>
#include <QStringList>
#include <QUrl>

// Packs files and folders into one ZIP archive in the temporary directory, so
// that a folder or a selection of several files can be uploaded as one file.
//
// Each path is added by running /usr/bin/zip in the path's parent folder, so
// entries are named relative to it ("Photos/2024/a.jpg" for /home/u/Photos),
// recursively, at maximum compression, without directory entries and without
// macOS ".DS_Store" files that come along on shared drives.
class Archiver
{
public:
    // Blocks until the archive is written; call it off the main thread. One
    // path gives "<name>.zip", several give "Archive on <date> at <time>.zip".
    // An earlier archive of the same name is replaced, not added to. Returns
    // the archive's file URL, or an empty URL when no archive came out (no
    // paths, zip missing, nothing readable).
    static QUrl zipFiles(const QStringList &paths);

    // The same on the shared thread pool; complete runs on the main thread.
    static void zipFiles(const QStringList &paths, std::function<void(const QUrl &archive)> complete);

    // "<name> on <date> at <time>.zip": a file name, no directory.
    static QString captureTemporaryFilePathWithName(const QString &name);
};
