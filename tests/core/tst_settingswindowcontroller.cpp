// The settings window's behaviour without a display, against the reference
// service: what each action of the general pane stores, the autostart file,
// the taskbar switch following the application's present state, the checks
// of a recorded shortcut (the Option rule applies to no Linux system), and
// the profiles and update check that come from the service. (The stored
// shortcut strings are read and written in tst_statusmenumodel.)
#include "api.h"
#include "keyequivalent.h"
#include "loginitem.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "referenceserver.h"
#include "settingsstore.h"
#include "settingswindowcontroller.h"
#include "soundplayer.h"

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

using Action = std::function<void(SettingsWindowController &)>;
Q_DECLARE_METATYPE(Action)

class TestSettingsWindowController : public QObject
{
    Q_OBJECT
    ReferenceServer m_server;
    QString m_token;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(m_server.start(), qPrintable(m_server.errorString()));
        qputenv("TESSLY_API_URL", m_server.apiUrl().toUtf8());
        qputenv("TESSLY_WEB_DOMAIN", "tessly.test");
        m_token
            = m_server.addUser(QStringLiteral("ada@tessly.test"), QStringLiteral("pw-123456"), QStringLiteral("ada"));
        QVERIFY(!m_token.isEmpty());
        qputenv("TESSLY_PLATFORM_BACKEND", "null");
    }

    void init()
    {
        SettingsStore::instance().setToken(m_token);
        SettingsStore::instance().setDomain(QStringLiteral("ada"));
    }

    void generalPaneActionsStoreTheirSettings_data()
    {
        QTest::addColumn<Action>("action");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<QStringList>("played");
        const auto row
            = [](const char *name, Action action, const char *key, QVariant stored, QStringList played = {}) {
                  QTest::newRow(name) << action << QString::fromLatin1(key) << stored << played;
              };
        row(
            "hide icons", [](auto &c) { c.setHideIcons(true); }, "hideDesktopIcons", true);
        row(
            "zip", [](auto &c) { c.setMultiFileUploadMode(0); }, "multiFileUploadAsFolder", false);
        row(
            "folder", [](auto &c) { c.setMultiFileUploadMode(1); }, "multiFileUploadAsFolder", true);
        row("theme sound", [](auto &c) { c.setNotificationSound(QStringLiteral("bell")); }, "sound",
            QStringLiteral("bell"), { QStringLiteral("bell") });
        row("classic sound", [](auto &c) { c.setNotificationSound(QStringLiteral("Purr")); }, "sound",
            QStringLiteral("Purr"), { QStringLiteral("complete") });
        row("another classic sound", [](auto &c) { c.setNotificationSound(QStringLiteral("Glass")); }, "sound",
            QStringLiteral("Glass"), { QStringLiteral("bell") });
        row(
            "silence", [](auto &c) { c.setNotificationSound(QStringLiteral("None")); }, "sound",
            QStringLiteral("None"));
        row(
            "profile", [](auto &c) { c.setSelectedDomain(QStringLiteral("work.tessly.test")); }, "domain",
            QStringLiteral("work"));
        row(
            "log out", [](auto &c) { c.logout(); }, "token", QVariant());
    }

    void generalPaneActionsStoreTheirSettings()
    {
        QFETCH(Action, action);
        QFETCH(QString, key);
        QFETCH(QVariant, stored);
        QFETCH(QStringList, played);
        SettingsWindowController controller;
        QSignalSpy sounds(&SoundPlayer::instance(), &SoundPlayer::played);
        action(controller);
        QCOMPARE(SettingsStore::instance().objectForKey(key).toString(), stored.toString());
        QCOMPARE(SettingsStore::instance().objectForKey(key).isNull(), stored.isNull());
        QStringList heard;
        for (const QList<QVariant> &sound : sounds)
            heard << sound.first().toString();
        QCOMPARE(heard, played);
    }

    void startAtLoginIsAnAutostartFile_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QByteArray>("switchedOff"); // what a desktop's settings tool wrote into the file
        QTest::newRow("from PATH") << QString() << QByteArray();
        QTest::newRow("installed under % and spaces") << QStringLiteral("/opt/Tessly 100%/tessly") << QByteArray();
        QTest::newRow("switched off by GNOME") << QString() << QByteArray("X-GNOME-Autostart-enabled=false");
    }

    void startAtLoginIsAnAutostartFile()
    {
        QFETCH(QString, program);
        QFETCH(QByteArray, switchedOff);
        SettingsWindowController controller;
        if (program.isEmpty()) {
            controller.setLaunchAtLogin(true);
        } else {
            QString error;
            QVERIFY2(LoginItem::registerItem(&error, program), qPrintable(error));
        }
        QVERIFY(QFile::exists(LoginItem::filePath()));
        QProcess validate;
        validate.start(QStringLiteral("desktop-file-validate"), { LoginItem::filePath() });
        QVERIFY(validate.waitForFinished());
        QCOMPARE(validate.readAllStandardOutput(), QByteArray()); // no warnings either
        QCOMPARE(validate.exitCode(), 0);
        if (!switchedOff.isEmpty()) {
            QFile file(LoginItem::filePath());
            QVERIFY(file.open(QIODevice::ReadOnly));
            QByteArray entry = file.readAll();
            file.close();
            entry.replace(switchedOff.left(switchedOff.indexOf('=') + 1) + "true", switchedOff);
            QVERIFY(entry.contains(switchedOff));
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(entry) == entry.size());
            file.close();
        }
        SettingsWindowController reopened; // reads the file, not what it was told
        reopened.configureViews();
        QCOMPARE(reopened.startAtLogin(), switchedOff.isEmpty());
        reopened.setLaunchAtLogin(false);
        QVERIFY(!QFile::exists(LoginItem::filePath()) && !LoginItem::isEnabled());
    }

    void taskbarSwitchFollowsThePresentState_data()
    {
        QTest::addColumn<bool>("stored");
        QTest::addColumn<bool>("shown");
        QTest::newRow("agreeing, hidden") << false << false;
        QTest::newRow("agreeing, shown") << true << true;
        QTest::newRow("stored on, hidden") << true << false;
        QTest::newRow("stored off, shown") << false << true;
    }

    void taskbarSwitchFollowsThePresentState()
    {
        QFETCH(bool, stored);
        QFETCH(bool, shown);
        SettingsStore::instance().setShowDockIcon(stored);
        QList<bool> switched;
        SettingsWindowController controller;
        controller.setTaskbarPresence([&] { return shown; }, [&](bool on) { switched << on; });
        controller.toggleDockIcon();
        QCOMPARE(SettingsStore::instance().showDockIcon(), !shown);
        QCOMPARE(switched, QList<bool> { !shown });
    }

    // The Option rule applies to no Linux system; a key that any program
    // would lose to the global grab is refused everywhere, without an alert.
    void recordedShortcutsAreCheckedBeforeStoring_data()
    {
        QTest::addColumn<QOperatingSystemVersion>("system");
        QTest::addColumn<QString>("recorded");
        QTest::addColumn<bool>("refused");
        QTest::addColumn<bool>("alerted");
        using OS = QOperatingSystemVersion;
        const QString optionShift4 = QStringLiteral("⌥⇧4");
        QTest::newRow("this system") << OS::current() << optionShift4 << false << false;
        QTest::newRow("macOS 15.1") << OS(OS::MacOS, 15, 1) << optionShift4 << true << true;
        QTest::newRow("macOS 15.2") << OS(OS::MacOS, 15, 2) << optionShift4 << false << false;
        QTest::newRow("macOS 14.6") << OS(OS::MacOS, 14, 6) << optionShift4 << false << false;
        QTest::newRow("Shift only") << OS::current() << QStringLiteral("⇧4") << true << false;
        QTest::newRow("Super") << OS::current() << QStringLiteral("⌘4") << false << false;
        QTest::newRow("Print alone") << OS::current() << QStringLiteral("Print") << false << false;
    }

    void recordedShortcutsAreCheckedBeforeStoring()
    {
        QFETCH(QOperatingSystemVersion, system);
        QFETCH(QString, recorded);
        QFETCH(bool, refused);
        QFETCH(bool, alerted);
        SettingsStore::instance().setScreenshotHotkey(QStringLiteral("⌃4"));
        QStringList alerts;
        QList<QUrl> opened;
        int updates = 0;
        NotificationCenter::defaultCenter().addObserver(this,
            QString::fromLatin1(Notifications::ShortcutUpdatedNotification), [&](const Notification &) { ++updates; });
        SettingsWindowController controller;
        controller.setOperatingSystemVersion(system);
        controller.setAlertRunner([&](const QString &title, const QString &, const QStringList &) {
            alerts << title;
            return 1; // "Learn More"
        });
        controller.setUrlOpener([&](const QUrl &url) { opened << url; });
        const bool stored = controller.recorderControlDidEndRecording(1, KeyEquivalent::fromString(recorded));
        NotificationCenter::defaultCenter().removeObserver(this);
        QCOMPARE(stored, !refused);
        QCOMPARE(SettingsStore::instance().screenshotHotkey(), refused ? QStringLiteral("⌃4") : recorded);
        QCOMPARE(updates, refused ? 0 : 1);
        QCOMPARE(alerts, alerted ? QStringList { QStringLiteral("Shortcut Requirements") } : QStringList {});
        QCOMPARE(opened.size(), alerted ? 1 : 0);
    }

    void profilesAndUpdatesComeFromTheService()
    {
        SettingsWindowController controller;
        QList<QUrl> opened;
        controller.setUrlOpener([&](const QUrl &url) { opened << url; });
        controller.configureViews();
        QTRY_COMPARE(controller.userEmail(), QStringLiteral("ada@tessly.test"));
        QCOMPARE(controller.profiles(), QStringList { QStringLiteral("ada.tessly.test") });
        QCOMPARE(controller.selectedProfile(), 0);

        // A release published on the service, as its operators do.
        const auto publish = [this](const QString &version, const QString &downloadUrl) {
            return m_server
                .admin("PUT", QStringLiteral("/admin/client-release"),
                    { { QStringLiteral("version"), version }, { QStringLiteral("downloadUrl"), downloadUrl } })
                .status;
        };
        controller.checkForUpdates();
        QTRY_COMPARE(controller.updateStatus(), QStringLiteral("Tessly Cloud is up to date."));
        QCOMPARE(publish(QStringLiteral("99.0"), QStringLiteral("https://[tessly.test/download")), 200);
        controller.checkForUpdates();
        QTRY_COMPARE(controller.updateStatus(),
            QStringLiteral("Tessly Cloud 99.0 has been released, but the download page is not available."));
        QCOMPARE(controller.updateButtonTitle(), QStringLiteral("Check for Updates"));
        QCOMPARE(publish(QStringLiteral("latest"), QStringLiteral("https://tessly.test/download")), 400);
        QCOMPARE(publish(QStringLiteral("99.1"), QStringLiteral("https://tessly.test/download")), 200);
        controller.checkForUpdates();
        QTRY_COMPARE(controller.updateStatus(), QStringLiteral("Tessly Cloud 99.1 is available."));
        QCOMPARE(controller.updateButtonTitle(), QStringLiteral("Open Download Page"));
        controller.checkForUpdates();
        QCOMPARE(opened, QList<QUrl> { QUrl(QStringLiteral("https://tessly.test/download")) });
    }
};

QTEST_MAIN(TestSettingsWindowController)
#include "tst_settingswindowcontroller.moc"
