#pragma once

#include <QStringList>
#include <QTextStream>

// Entry points of the sub-commands, one file each, and what they share.
namespace Commands {

int help(const QStringList &args);
int version(const QStringList &args);
int login(const QStringList &args);
int logout(const QStringList &args);
int screenshot(const QStringList &args);
int open(const QStringList &args);

// Uploads a captured or received file and prints its share link; the exit
// code for the command.
int uploadAndPrintLink(const QString &path);

// Standard streams for command output; messages to the user go to err().
QTextStream &out();
QTextStream &err();

// Prints "tessly <command>: message" on stderr and returns 2, for usage errors.
int usageError(const char *command, const QString &message);

} // namespace Commands
