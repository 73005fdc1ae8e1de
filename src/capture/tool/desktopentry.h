#pragma once

#include <QString>
#include <QStringList>

// Hands a file to an installed application the way "gio launch" does: the
// desktop entry named ID.desktop in the XDG applications folders, its Exec
// line with the file put in for the field code.
namespace DesktopEntry {

// The Exec line split into a program and its arguments, quoting and escapes
// undone, %f %F %u %U replaced by the file (as a path or a file URL), %i %c %k
// dropped, %% made "%". A line without a file field code gets the file
// appended. Empty when the line is malformed (an unterminated quote).
QStringList execArguments(const QString &exec, const QString &file);

// Finds the entry and starts its program with the file, detached. False with
// a message in *error when there is no such entry or it cannot be started.
bool launch(const QString &id, const QString &file, QString *error);

} // namespace DesktopEntry
