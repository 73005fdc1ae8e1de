#include "shortcuttable.h"

#include "keyequivalent.h"
#include "settingsstore.h"

#include <QHash>
#include <QLoggingCategory>
#include <QPointer>

Q_LOGGING_CATEGORY(lcShortcutTable, "tessly.core.shortcuttable")

const std::array<ShortcutTable::Row, 5> &ShortcutTable::rows()
{
    static const std::array<Row, 5> table { {
        { "uploadShortcut", "Upload selected files", &SettingsStore::uploadFileHotkey,
            &SettingsStore::setUploadFileHotkey, "uploadSelection" },
        { "screenshotShortcut", "Take screenshot", &SettingsStore::screenshotHotkey,
            &SettingsStore::setScreenshotHotkey, "captureScreen" },
        { "markupShortcut", "Screenshot and mark up", &SettingsStore::markupHotkey, &SettingsStore::setMarkupHotkey,
            "markupScreen" },
        { "uploadClipboard", "Upload clipboard", &SettingsStore::clipboardHotKey, &SettingsStore::setClipboardHotKey,
            "uploadClipboard" },
        { "recordScreen", "Record screen", &SettingsStore::recordScreenHotKey, &SettingsStore::setRecordScreenHotKey,
            nullptr },
    } };
    return table;
}

QList<ShortcutTable::Outcome> ShortcutTable::subscribe(GlobalShortcutMonitor &monitor, QObject *target)
{
    monitor.removeAllActions();
    QList<Outcome> outcomes;
    QHash<QKeyCombination, const Row *> taken;
    SettingsStore &settings = SettingsStore::instance();
    for (const Row &row : rows()) {
        if (!row.action)
            continue;
        const QString stored = (settings.*row.stored)();
        if (stored.isNull())
            continue;
        Outcome outcome { &row, stored, GlobalShortcutMonitor::Registration::Invalid, {} };
        const KeyEquivalent shortcut = KeyEquivalent::fromString(stored);
        if (!shortcut.isValid()) {
            outcome.problem = QStringLiteral("not a shortcut");
        } else if (const Row *earlier = taken.value(shortcut.keyCombination())) {
            outcome.problem = QStringLiteral("already the shortcut of %1").arg(QLatin1String(earlier->action));
        }
        if (!outcome.problem.isEmpty()) {
            qCWarning(lcShortcutTable).noquote() << QStringLiteral("Shortcut \"%1\" for %2 skipped: %3")
                                                        .arg(stored, QLatin1String(row.action), outcome.problem);
            outcomes << outcome;
            continue;
        }
        taken.insert(shortcut.keyCombination(), &row);
        const bool screenshot = qstrcmp(row.action, "captureScreen") == 0;
        if (screenshot)
            qCInfo(lcShortcutTable).noquote()
                << QStringLiteral("Screenshot %1 %2")
                       .arg(stored,
                           QStringLiteral("{ keyEquivalent = \"%1\"; modifierFlags = %2; }")
                               .arg(shortcut.displayText().section(QLatin1Char('+'), -1))
                               .arg(shortcut.modifiers().toInt()));
        QPointer<QObject> receiver(target);
        const char *action = row.action;
        outcome.registration = monitor.addAction(shortcut.keyCombination(), [receiver, action, screenshot] {
            if (screenshot)
                qCInfo(lcShortcutTable).noquote() << "Screenshot Action!";
            if (receiver)
                QMetaObject::invokeMethod(receiver, action);
        });
        using Registration = GlobalShortcutMonitor::Registration;
        if (outcome.registration == Registration::Taken)
            qCWarning(lcShortcutTable).noquote() << QStringLiteral("Shortcut %1 for %2 is taken by another program")
                                                        .arg(shortcut.displayText(), QLatin1String(action));
        else if (outcome.registration == Registration::Invalid)
            qCWarning(lcShortcutTable).noquote()
                << QStringLiteral("Shortcut %1 for %2: no key of the keyboard layout makes it")
                       .arg(shortcut.displayText(), QLatin1String(action));
        outcomes << outcome;
    }
    if (!monitor.unavailableReason().isEmpty())
        qCInfo(lcShortcutTable).noquote() << "Global shortcuts not registered:" << monitor.unavailableReason();
    return outcomes;
}
