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
int record(const QStringList &args);
int open(const QStringList &args);
int upload(const QStringList &args);
int uploads(const QStringList &args);
int resume(const QStringList &args);
int cancelAll(const QStringList &args);
int share(const QStringList &args);
int shorten(const QStringList &args);
int gif(const QStringList &args);
int optimize(const QStringList &args);

// Uploads the files (a folder as a ZIP archive of it) through the upload
// queue and prints one share link per file, in the order given; failures go
// to stderr. Returns the exit code: 0 when every file made it, else 1.
int uploadFilesAndPrintLinks(const char *command, const QStringList &paths, QStringList *links = nullptr);

// Uploads a captured or received file and prints its share link; the exit
// code for the command.
int uploadAndPrintLink(const QString &path);

// Standard streams for command output; messages to the user go to err().
QTextStream &out();
QTextStream &err();

// Prints "tessly <command>: message" on stderr and returns 2, for usage errors.
int usageError(const char *command, const QString &message);

} // namespace Commands
