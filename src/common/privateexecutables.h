#pragma once

#include <QString>
#include <QStringList>

// Where the application keeps the programs it runs as child processes (the
// capture tool, the ffmpeg link) and its resources. Both are found relative to
// the running executable, so an installed tree and an extracted package work
// alike:
//
//   <prefix>/bin/tessly
//   <prefix>/libexec/tessly/NAME      the private executables
//   <prefix>/share/tessly/NAME        the resources
//
// A build tree keeps its private executables in <build>/libexec/tessly, which
// is tried after the folder beside the program. The system's PATH is never
// searched: what the application runs is what it ships.
//
// $TESSLY_LIBEXEC, when set, names the one executables folder to use instead
// (tests point it at a folder they prepare).
namespace PrivateExecutables {

// The executables folders, in the order they are tried.
QStringList executableDirectories();

// The absolute path of the module NAME (a shared object the application loads
// on first use) in the first executables folder that has it, or empty. The
// modules ship with the program, so $TESSLY_LIBEXEC does not apply to them.
QString privateModule(const QString &name);

// The resources folder.
QString resourcesDirectory();

// The absolute path of the file NAME in the first executables folder that has
// it, or empty. Whether it may be run is the caller's question.
QString auxiliaryExecutable(const QString &name);

// The absolute path of the file NAME in the resources folder, or empty.
QString resource(const QString &name);

} // namespace PrivateExecutables
