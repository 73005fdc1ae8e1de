#pragma once

#include <QStringList>

// The `tessly` command line. A sub-command runs without the tray; with none,
// the tray application starts.
//
// Each sub-command lives in a file of its own (commands/*.cpp) and is listed
// once in the table in commandline.cpp.
namespace CommandLine {

struct Command
{
    const char *name;
    const char *synopsis; // arguments, as shown in the usage text
    const char *summary; // one line
    bool needsGui; // runs under a QApplication (screens, clipboard, windows)
    int (*run)(const QStringList &args); // args after the command's name; returns the exit code
};

// The command named by args[0], or nullptr (no arguments: the tray starts).
// An unknown name is answered by the "help" command with exit code 2.
const Command *find(const QStringList &args);

// Whether the run needs a QApplication: the command's flag, or an option
// that reaches the clipboard.
bool needsGui(const Command &command, const QStringList &args);

// Runs the command found for args; usage errors exit with 2.
int run(const Command &command, const QStringList &args);

QString usage();

} // namespace CommandLine
