#pragma once

#include <QString>

// The user's private temporary folder: where screenshots, recordings,
// clipboard images and archives are written before they are uploaded.
//
// The shared /tmp is no place for them: another local user could read them,
// or plant a file under a name we would pick and have it uploaded as ours. So
// each run makes a fresh folder of its own, mode 0700, with mkdtemp, inside
// $XDG_RUNTIME_DIR when that is a private folder of this user's (it is on
// every systemd desktop), otherwise inside the temporary folder
// ($TMPDIR, else /tmp). Names inside it may be predictable; nobody else can
// reach them.
namespace UserTemporaryDirectory {

// This run's folder, ending in "/", made on first use. When no folder can
// be made the path names one that does not exist, so writes fail (and say
// so) instead of landing in a shared place.
QString path();

// A new, empty folder made with mkdtemp inside path() for one job (one
// archive, one extraction), so that two jobs never share a name and nothing
// in it predates the job. Ends in "/"; empty when it could not be made.
QString makeJobFolder(const QString &prefix);

// Makes a new private folder as path() does, from the environment as it is
// now, and returns it ending in "/" (empty on failure). path() calls it once.
QString create();

} // namespace UserTemporaryDirectory
