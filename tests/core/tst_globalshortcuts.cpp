// Global shortcuts on the harness's X server, typed with xdotool (XTEST, as a
// keyboard would): the first-run shortcuts start their actions through the
// tray application's delegate; CapsLock, NumLock and a layout switch do not
// stop them; a combination another X client grabbed first is reported as
// taken; a shortcut recorded in the settings window (also one registered
// already) replaces the old one; stored values that are not shortcuts, or
// not ones to grab, are skipped without losing the others.
#include "appdelegate.h"
#include "e2e.h"
#include "globalshortcutmonitor.h"
#include "logcapture.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "referenceserver.h"
#include "settingsstore.h"
#include "settingswindow.h"
#include "settingswindowcontroller.h"
#include "shortcutrecorder.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <xcb/xcb.h>

using Registration = GlobalShortcutMonitor::Registration;

class TestGlobalShortcuts : public QObject
{
    Q_OBJECT

    ReferenceServer m_server; // so that the tray's own requests bring no error panel
    std::unique_ptr<AppDelegate> m_delegate;
    GlobalShortcutMonitor *m_monitor = nullptr;

    static void type(const QString &keys) { E2E::runTool(QStringLiteral("xdotool"), { QStringLiteral("key"), keys }); }
    static QKeyCombination altShift(Qt::Key key) { return QKeyCombination(Qt::AltModifier | Qt::ShiftModifier, key); }
    static void reregister()
    {
        NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::ShortcutUpdatedNotification));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(E2E::underHarness());
        QVERIFY(E2E::waitForSystemTray());
        QVERIFY2(m_server.start(), qPrintable(m_server.errorString()));
        qputenv("TESSLY_API_URL", m_server.apiUrl().toUtf8());
        SettingsStore::instance().setToken(
            m_server.addUser(QStringLiteral("demo@tessly.test"), QStringLiteral("pw-123456"), QStringLiteral("demo")));
        SettingsStore::instance().setDomain(QStringLiteral("demo"));
        m_delegate = std::make_unique<AppDelegate>();
        m_delegate->applicationDidFinishLaunching();
        m_monitor = &GlobalShortcutMonitor::sharedMonitor();
        QCOMPARE(m_monitor->backendName(), QStringLiteral("x11"));
    }

    void cleanupTestCase() { m_delegate.reset(); }

    void firstRunShortcutsStartTheCaptureTool_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("logged");
        QTest::newRow("screenshot") << QStringLiteral("alt+shift+4") << QStringLiteral("Screenshot Action!");
        QTest::newRow("markup") << QStringLiteral("alt+shift+3") << QStringLiteral("Unable to save screenshot.");
    }

    // The capture tool blocks this process while it runs (as screenshots do):
    // a driver beside it sees the tool's window and cancels it.
    void firstRunShortcutsStartTheCaptureTool()
    {
        QFETCH(QString, keys);
        QFETCH(QString, logged);
        LogCapture log;
        QProcess driver;
        driver.start(QStringLiteral("sh"),
            { QStringLiteral("-c"),
                QStringLiteral("xdotool search --sync --onlyvisible --class tessly-screencapture >/dev/null && "
                               "sleep 0.3 && xdotool key Escape && echo seen") });
        type(keys);
        QTRY_VERIFY_WITH_TIMEOUT(log.contains(QStringLiteral("Unable to save screenshot.")), 20000);
        QVERIFY(log.contains(logged));
        QVERIFY(driver.waitForFinished(10000));
        QCOMPARE(driver.readAllStandardOutput().trimmed(), QByteArray("seen"));
    }

    void locksDoNotStopAShortcut_data()
    {
        QTest::addColumn<QString>("lock");
        QTest::newRow("CapsLock") << QStringLiteral("Caps_Lock");
        QTest::newRow("NumLock") << QStringLiteral("Num_Lock");
    }

    void locksDoNotStopAShortcut()
    {
        QFETCH(QString, lock);
        QSignalSpy activated(m_monitor, &GlobalShortcutMonitor::activated);
        type(lock);
        type(QStringLiteral("alt+shift+v"));
        type(lock);
        QTRY_COMPARE(activated.size(), 1);
        QCOMPARE(activated.first().first().value<QKeyCombination>(), altShift(Qt::Key_V));
    }

    // Another X client grabbed Alt+Shift+8 first: the log and the settings
    // window say so; the other rows still work.
    void aShortcutGrabbedElsewhereIsReportedTaken()
    {
        xcb_connection_t *other = xcb_connect(nullptr, nullptr);
        QVERIFY(!xcb_connection_has_error(other));
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
        const QByteArray keycode = E2E::runTool(QStringLiteral("sh"),
            { QStringLiteral("-c"), QStringLiteral("xmodmap -pke | awk '$4 == \"8\" {print $2; exit}'") });
        xcb_grab_key(other, 1, root, XCB_MOD_MASK_1 | XCB_MOD_MASK_SHIFT, xcb_keycode_t(keycode.trimmed().toInt()),
            XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        std::free(xcb_get_input_focus_reply(other, xcb_get_input_focus(other), nullptr));

        LogCapture log;
        SettingsStore::instance().setClipboardHotKey(QStringLiteral("⌥⇧8"));
        reregister();
        QTRY_COMPARE(m_monitor->registration(altShift(Qt::Key_8)), Registration::Taken);
        QVERIFY(log.contains(QStringLiteral("Shortcut Alt+Shift+8 for uploadClipboard is taken by another program")));
        SettingsWindowController controller;
        QCOMPARE(controller.shortcuts().at(3).problem, QStringLiteral("Taken by another program"));
        QCOMPARE(controller.shortcuts().at(1).problem, QString());
        QCOMPARE(m_monitor->registration(altShift(Qt::Key_4)), Registration::Registered);
        xcb_disconnect(other);
        SettingsStore::instance().setClipboardHotKey(QStringLiteral("⌥⇧V"));
        reregister();
    }

    void aLayoutSwitchGrabsTheKeysAnew_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<Qt::Key>("key");
        // AZERTY puts Q where QWERTY has A: the grab follows the layout.
        QTest::newRow("moved letter") << QStringLiteral("⌥⇧Q") << QStringLiteral("alt+shift+q") << Qt::Key_Q;
        // AZERTY types the digits with Shift: the key's second level counts.
        QTest::newRow("shifted digit") << QStringLiteral("⌥⇧5") << QStringLiteral("alt+shift+5") << Qt::Key_5;
    }

    void aLayoutSwitchGrabsTheKeysAnew()
    {
        QFETCH(QString, stored);
        QFETCH(QString, keys);
        QFETCH(Qt::Key, key);
        SettingsStore::instance().setClipboardHotKey(stored);
        reregister();
        QTRY_COMPARE(m_monitor->registration(altShift(key)), Registration::Registered);
        QSignalSpy regrabbed(m_monitor, &GlobalShortcutMonitor::registrationsChanged);
        E2E::runTool(QStringLiteral("setxkbmap"), { QStringLiteral("fr") });
        QTRY_VERIFY(!regrabbed.isEmpty());
        QCOMPARE(m_monitor->registration(altShift(key)), Registration::Registered);
        QSignalSpy activated(m_monitor, &GlobalShortcutMonitor::activated);
        type(keys);
        QTRY_COMPARE(activated.size(), 1);
        E2E::runTool(QStringLiteral("setxkbmap"), { QStringLiteral("us") });
        SettingsStore::instance().setClipboardHotKey(QStringLiteral("⌥⇧V"));
        reregister();
    }

    // Typed into the settings window's recorders: stored and registered
    // again; the new combination runs its action and the old one nothing;
    // the screen recording shortcut is stored but never registered.
    void aRecordedShortcutReplacesTheOldOne()
    {
        m_delegate->showSettings();
        SettingsWindow *window = m_delegate->settingsWindow();
        QVERIFY(window && QTest::qWaitForWindowExposed(window));
        window->controller()->switchToPanelWithIdentifier(QStringLiteral("toolbar.shortcuts"));
        LogCapture log; // a registered combination reaches the recorder, not its action
        QTest::mouseClick(window->recorder(1), Qt::LeftButton);
        type(QStringLiteral("alt+shift+4"));
        QTRY_VERIFY(log.contains(QStringLiteral("Setting ⌥⇧4")));
        const auto record = [&](int row, const QString &keys) {
            ShortcutRecorder *recorder = window->recorder(row);
            QVERIFY(recorder->isVisible());
            QTest::mouseClick(recorder, Qt::LeftButton);
            QTRY_VERIFY(recorder->hasFocus() && recorder->isRecording());
            type(keys);
            QTRY_VERIFY(!recorder->isRecording());
        };
        record(4, QStringLiteral("alt+shift+9"));
        QCOMPARE(SettingsStore::instance().recordScreenHotKey(), QStringLiteral("⌥⇧9"));
        record(3, QStringLiteral("alt+shift+7"));
        QCOMPARE(SettingsStore::instance().clipboardHotKey(), QStringLiteral("⌥⇧7"));
        QCOMPARE(window->recorder(3)->shortcut().displayText(), QStringLiteral("Alt+Shift+7"));
        QTRY_COMPARE(m_monitor->registration(altShift(Qt::Key_7)), Registration::Registered);
        QCOMPARE(m_monitor->registration(altShift(Qt::Key_9)), Registration::Unavailable); // never added
        window->close();

        log.clear();
        QSignalSpy activated(m_monitor, &GlobalShortcutMonitor::activated);
        type(QStringLiteral("alt+shift+v"));
        type(QStringLiteral("alt+shift+9"));
        type(QStringLiteral("alt+shift+7"));
        QTRY_COMPARE(activated.size(), 1); // X delivers in order: the others would have come first
        QCOMPARE(activated.first().first().value<QKeyCombination>(), altShift(Qt::Key_7));
        QTRY_VERIFY(log.containsText(QStringLiteral("Types "))); // uploadClipboard read the clipboard
    }

    void unreadableStoredShortcutsAreSkipped_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<QString>("logged");
        QTest::newRow("out of order") << QVariant(QStringLiteral("⇧⌥3"))
                                      << QStringLiteral("Shortcut \"⇧⌥3\" for markupScreen skipped: not a shortcut");
        QTest::newRow("modifiers only") << QVariant(QStringLiteral("⌥⇧"))
                                        << QStringLiteral("Shortcut \"⌥⇧\" for markupScreen skipped: not a shortcut");
        QTest::newRow("unknown key") << QVariant(QStringLiteral("⌥Foo"))
                                     << QStringLiteral("Shortcut \"⌥Foo\" for markupScreen skipped: not a shortcut");
        QTest::newRow("not text") << QVariant(QByteArray("⌥⇧3"))
                                  << QStringLiteral("Shortcut \"\" for markupScreen skipped: not text");
        QTest::newRow("Shift only") << QVariant(QStringLiteral(
            "⇧3")) << QStringLiteral("Shortcut \"⇧3\" for markupScreen skipped: needs Ctrl, Alt or Super");
        QTest::newRow("duplicate")
            << QVariant(QStringLiteral("⌥⇧4"))
            << QStringLiteral("Shortcut \"⌥⇧4\" for markupScreen skipped: already the shortcut of captureScreen");
        // "$" is Shift+4 on this layout: one key, two names.
        QTest::newRow("same key") << QVariant(QStringLiteral("⌥⇧$"))
                                  << QStringLiteral("Shortcut \"⌥⇧$\" for markupScreen skipped: on the same key as an "
                                                    "earlier shortcut");
    }

    void unreadableStoredShortcutsAreSkipped()
    {
        QFETCH(QVariant, stored);
        QFETCH(QString, logged);
        LogCapture log;
        SettingsStore::instance().setObject(stored, QStringLiteral("markupHotkey"));
        SettingsStore::instance().setClipboardHotKey(QStringLiteral("⌥⇧V"));
        reregister();
        QTRY_VERIFY(log.contains(logged));
        for (const QKeyCombination registered :
            { QKeyCombination(Qt::AltModifier, Qt::Key_C), altShift(Qt::Key_4), altShift(Qt::Key_V) })
            QCOMPARE(m_monitor->registration(registered), Registration::Registered);
        QSignalSpy activated(m_monitor, &GlobalShortcutMonitor::activated);
        type(QStringLiteral("alt+shift+v"));
        QTRY_COMPARE(activated.size(), 1);
        SettingsStore::instance().setMarkupHotkey(QStringLiteral("⌥⇧3"));
    }
};

QTEST_MAIN(TestGlobalShortcuts)
#include "tst_globalshortcuts.moc"
