#pragma once

#include <QString>

// Starting the tray application at login, the XDG way: a desktop file of
// ours in $XDG_CONFIG_HOME/autostart, which every freedesktop session
// (GNOME, KDE, Xfce, LXQt, ...) runs when the user signs in. Its presence is
// the setting; nothing is kept in the settings store.
namespace LoginItem {

// $XDG_CONFIG_HOME/autostart/<application id>.desktop
QString filePath();

// The installed program when this is it, else "tessly" from PATH.
QString program();

// The file is there and not switched off with Hidden=true or
// X-GNOME-Autostart-enabled=false (which is how desktop settings tools turn
// an entry off).
bool isEnabled();

// Writes the file atomically, starting `program` (by default program()), or
// removes it. False with a message in `error` when that fails; the previous
// state is left as it was.
bool registerItem(QString *error, const QString &program = {});
bool unregisterItem(QString *error);

} // namespace LoginItem
