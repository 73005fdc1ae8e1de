#pragma once

#include <QStringList>

// The `tessly` command line. Sub-commands run without a tray; with none, the
// tray application starts.
namespace CommandLine {

// True when args (without the program name) name a sub-command or an option
// that this module answers (help, version).
bool handles(const QStringList &args);

// Runs it; returns the process exit code. Usage errors exit with 2.
int run(const QStringList &args);

} // namespace CommandLine
