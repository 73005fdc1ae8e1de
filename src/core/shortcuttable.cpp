#include "shortcuttable.h"

#include "defaultskeys.h"
#include "keyequivalent.h"
#include "settingsstore.h"

#include <QHash>
#include <QLoggingCategory>
#include <QPointer>

Q_LOGGING_CATEGORY(lcShortcutTable, "tessly.core.shortcuttable")

const std::array<ShortcutTable::Row, 5> &ShortcutTable::rows()
{
    static const std::array<Row, 5> table { {
        { DefaultsKeys::UploadFileHotkey, "uploadShortcut", "Upload selected files", &SettingsStore::uploadFileHotkey,
            &SettingsStore::setUploadFileHotkey, "uploadSelection" },
        { DefaultsKeys::ScreenshotHotkey, "screenshotShortcut", "Take screenshot", &SettingsStore::screenshotHotkey,
            &SettingsStore::setScreenshotHotkey, "captureScreen" },
        { DefaultsKeys::MarkupHotkey, "markupShortcut", "Screenshot and mark up", &SettingsStore::markupHotkey,
            &SettingsStore::setMarkupHotkey, "markupScreen" },
        { DefaultsKeys::ClipboardHotKey, "uploadClipboard", "Upload clipboard", &SettingsStore::clipboardHotKey,
            &SettingsStore::setClipboardHotKey, "uploadClipboard" },
        { DefaultsKeys::RecordScreenHotKey, "recordScreen", "Record screen", &SettingsStore::recordScreenHotKey,
            &SettingsStore::setRecordScreenHotKey, nullptr },
    } };
    return table;
}

std::optional<QString> ShortcutTable::storedString(const Row &row)
{
    SettingsStore &settings = SettingsStore::instance();
    if (!settings.objectForKey(QString::fromLatin1(row.key)).isValid())
        return std::nullopt;
    return (settings.*row.stored)(); // null for a value that is not text
}

bool ShortcutTable::isGlobalShortcut(const KeyEquivalent &shortcut)
{
    if (!shortcut.isValid())
        return false;
    if (shortcut.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return true;
    // Keys that type nothing may stand alone (Print is the usual screenshot
    // key on Linux desktops).
    const int key = shortcut.key();
    return key == Qt::Key_Print || key == Qt::Key_Pause || key == Qt::Key_ScrollLock
        || (key >= Qt::Key_F1 && key <= Qt::Key_F35);
}

QList<ShortcutTable::Outcome> ShortcutTable::subscribe(GlobalShortcutMonitor &monitor, QObject *target)
{
    monitor.removeAllActions();
    QList<Outcome> outcomes;
    QHash<QKeyCombination, const Row *> taken;
    for (const Row &row : rows()) {
        if (!row.action)
            continue;
        const std::optional<QString> value = storedString(row);
        if (!value)
            continue;
        const QString stored = *value;
        Outcome outcome { &row, stored, GlobalShortcutMonitor::Registration::Invalid, {} };
        const KeyEquivalent shortcut = KeyEquivalent::fromString(stored);
        if (stored.isNull()) {
            outcome.problem = QStringLiteral("not text");
        } else if (!shortcut.isValid()) {
            outcome.problem = QStringLiteral("not a shortcut");
        } else if (!isGlobalShortcut(shortcut)) {
            outcome.problem = QStringLiteral("needs Ctrl, Alt or Super");
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
        outcome.registration = monitor.addAction(
            shortcut.keyCombination(),
            [receiver, action, screenshot] {
                if (screenshot)
                    qCInfo(lcShortcutTable).noquote() << "Screenshot Action!";
                if (receiver)
                    QMetaObject::invokeMethod(receiver, action);
            },
            QString::fromLatin1(action), QString::fromUtf8(row.title));
        using Registration = GlobalShortcutMonitor::Registration;
        if (outcome.registration == Registration::SameKey) {
            outcome.problem = QStringLiteral("on the same key as an earlier shortcut");
            qCWarning(lcShortcutTable).noquote() << QStringLiteral("Shortcut \"%1\" for %2 skipped: %3")
                                                        .arg(stored, QLatin1String(action), outcome.problem);
        } else if (outcome.registration == Registration::Taken)
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
