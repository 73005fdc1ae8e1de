#pragma once

#include "globalshortcutmonitor.h"

#include <array>
#include <QList>
#include <QString>

class QObject;
class SettingsStore;

// The five shortcuts of the settings window, in the window's order: where
// each is stored and which user action of the application delegate it
// starts. The screen-recording shortcut is stored and shown but never
// registered globally.
namespace ShortcutTable {

struct Row
{
    const char *recorder; // the recorder control's name in the settings window
    const char *title; // its label there
    QString (SettingsStore::*stored)() const;
    void (SettingsStore::*store)(const QString &);
    const char *action; // a slot of the target; null: not registered
};

const std::array<Row, 5> &rows();

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
// shortcut are left out; a stored string that does not parse, or that
// repeats an earlier row's shortcut, is skipped with a log line, and the
// other rows are still registered.
QList<Outcome> subscribe(GlobalShortcutMonitor &monitor, QObject *target);

} // namespace ShortcutTable
