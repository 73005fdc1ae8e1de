#pragma once

#include "globalshortcutmonitor.h"

#include <array>
#include <optional>
#include <QList>
#include <QString>

class KeyEquivalent;
class QObject;
class SettingsStore;

// The five shortcuts of the settings window, in the window's order: where
// each is stored and which user action of the application delegate it
// starts. The screen-recording shortcut is stored and shown but never
// registered globally.
namespace ShortcutTable {

struct Row
{
    const char *key; // its key in the settings store
    const char *recorder; // the recorder control's name in the settings window
    const char *title; // its label there
    QString (SettingsStore::*stored)() const;
    void (SettingsStore::*store)(const QString &);
    const char *action; // a slot of the target; null: not registered
};

const std::array<Row, 5> &rows();

// The row's stored string; a null one for a value that is not text (a
// hand-edited file); nothing when none is stored.
std::optional<QString> storedString(const Row &row);

// Whether the shortcut may be grabbed for the whole desktop: it needs Ctrl,
// Alt or Super, unless its key types nothing (Print, Pause, Scroll Lock,
// F1 to F35). A typing key alone, or with Shift only, would be taken from
// every application, and the user could no longer type it anywhere.
bool isGlobalShortcut(const KeyEquivalent &shortcut);

// What subscribe() did with one row's stored shortcut.
struct Outcome
{
    const Row *row;
    QString stored;
    GlobalShortcutMonitor::Registration registration;
    QString problem; // why it was skipped: unreadable, a duplicate; empty otherwise
};

// Empties the monitor, then adds the registered rows in order, each running
// its action on `target` (found by name, queued). Rows without a stored
// shortcut are left out; a stored value that is not text, does not parse,
// lacks Ctrl, Alt and Super, or repeats an earlier row's shortcut (also on
// the same key of the keyboard) is skipped with a log line, and the other
// rows are still registered.
QList<Outcome> subscribe(GlobalShortcutMonitor &monitor, QObject *target);

} // namespace ShortcutTable
