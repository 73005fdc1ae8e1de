// Global shortcuts through the desktop portal: Debian's xdg-desktop-portal on
// a private session bus binds the stored shortcuts, passes their activations
// on and answers a refusal; without the interface the shortcuts stay
// unavailable with the usual sentence. No portal backend that runs here
// offers GlobalShortcuts (KDE's needs KWin), so the desktop's side of the
// portal is a fake in this test, which answers a bind as the user would.
#include "globalshortcutmonitor.h"
#include "keyequivalent.h"
#include "settingsstore.h"
#include "settingswindowcontroller.h"
#include "shortcuttable.h"

#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using Shortcut = QPair<QString, QVariantMap>; // an element of a(sa{sv})

// org.freedesktop.impl.portal.GlobalShortcuts, behind the real frontend.
class FakeDesktop : public QDBusVirtualObject
{
public:
    uint response = 0;
    QString noKeysFor; // answered without a trigger
    QString session;
    bool sessionBound = false;
    QStringList bound; // "id|description|preferred trigger"

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        QVariantMap results;
        uint code = 0;
        if (message.member() == QLatin1String("CreateSession")) {
            session = message.arguments().at(1).value<QDBusObjectPath>().path();
            sessionBound = false;
        } else if (message.member() == QLatin1String("BindShortcuts") && !sessionBound) { // once per session
            sessionBound = true;
            code = response;
            QList<Shortcut> answered;
            bound.clear();
            for (auto [id, properties] : qdbus_cast<QList<Shortcut>>(message.arguments().at(2))) {
                bound << id + '|' + properties.value(QStringLiteral("description")).toString() + '|'
                        + properties.value(QStringLiteral("preferred_trigger")).toString();
                answered << Shortcut(id,
                    { { QStringLiteral("trigger_description"),
                        id == noKeysFor ? QString() : QStringLiteral("keys") } });
            }
            results.insert(QStringLiteral("shortcuts"), QVariant::fromValue(answered));
        } else {
            return false;
        }
        connection.send(message.createReply({ code, results }));
        return true;
    }
};

class Actions : public QObject
{
    Q_OBJECT
public:
    QStringList ran;
    Q_INVOKABLE void captureScreen() { ran << QStringLiteral("captureScreen"); }
    Q_INVOKABLE void markupScreen() { ran << QStringLiteral("markupScreen"); }
    Q_INVOKABLE void uploadClipboard() { ran << QStringLiteral("uploadClipboard"); }
    Q_INVOKABLE void uploadSelection() { ran << QStringLiteral("uploadSelection"); }
};

class TestPortalShortcuts : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    QProcess m_bus;
    QProcess m_portal;
    FakeDesktop m_desktop;

    void startPortal(const QString &portals)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DESKTOP_PORTAL_DIR"), portals);
        env.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("tesslytest"));
        m_portal.setProcessEnvironment(env);
        m_portal.start(QStringLiteral("/usr/libexec/xdg-desktop-portal"), {});
        QTRY_VERIFY(QDBusConnection::sessionBus().interface()->isServiceRegistered(
            QStringLiteral("org.freedesktop.portal.Desktop")));
    }
    static void write(const QString &path, const QString &text)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text.toUtf8());
    }

private Q_SLOTS:
    void initTestCase()
    {
        qDBusRegisterMetaType<Shortcut>();
        qDBusRegisterMetaType<QList<Shortcut>>();
        QDir(m_dir.path()).mkdir(QStringLiteral("none"));
        QDir(m_dir.path()).mkdir(QStringLiteral("fake"));
        write(m_dir.filePath(QStringLiteral("fake/fake.portal")),
            QStringLiteral("[portal]\nDBusName=org.freedesktop.impl.portal.desktop.fake\n"
                           "Interfaces=org.freedesktop.impl.portal.GlobalShortcuts;\nUseIn=tesslytest\n"));
        // A bus that starts no services.
        write(m_dir.filePath(QStringLiteral("bus.conf")),
            QStringLiteral("<busconfig><type>session</type><listen>unix:dir=%1</listen><auth>EXTERNAL</auth>"
                           "<policy context=\"default\"><allow send_destination=\"*\"/><allow eavesdrop=\"true\"/>"
                           "<allow own=\"*\"/></policy></busconfig>")
                .arg(m_dir.path()));
        m_bus.start(QStringLiteral("dbus-daemon"),
            { QStringLiteral("--nofork"), QStringLiteral("--print-address"),
                QStringLiteral("--config-file=") + m_dir.filePath(QStringLiteral("bus.conf")) });
        QVERIFY(m_bus.waitForReadyRead());
        const QByteArray address = m_bus.readLine().trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address); // before anything here opens the session bus
        QDBusConnection fake = QDBusConnection::connectToBus(QString::fromUtf8(address), QStringLiteral("desktop"));
        QVERIFY(fake.registerVirtualObject(QStringLiteral("/org/freedesktop/portal/desktop"), &m_desktop));
        QVERIFY(fake.registerService(QStringLiteral("org.freedesktop.impl.portal.desktop.fake")));
        SettingsStore &settings = SettingsStore::instance();
        settings.setUploadFileHotkey(QStringLiteral("Print"));
        settings.setScreenshotHotkey(QStringLiteral("⌥⇧4"));
        settings.setMarkupHotkey(QStringLiteral("⇧⌘3"));
        settings.setClipboardHotKey(QStringLiteral("⌃⌥V"));
    }

    void cleanupTestCase()
    {
        m_portal.kill();
        m_portal.waitForFinished();
        QDBusConnection::disconnectFromBus(QStringLiteral("desktop"));
        m_bus.kill();
        m_bus.waitForFinished();
    }

    void unavailableWithoutTheInterface_data()
    {
        QTest::addColumn<QString>("portals");
        QTest::newRow("no portal") << QString();
        QTest::newRow("portal without it") << QStringLiteral("none");
    }

    void unavailableWithoutTheInterface()
    {
        QFETCH(QString, portals);
        if (!portals.isEmpty())
            startPortal(m_dir.filePath(portals));
        const auto monitor = GlobalShortcutMonitor::create(QStringLiteral("wayland"));
        m_portal.kill();
        m_portal.waitForFinished();
        QCOMPARE(monitor->backendName(), QStringLiteral("null"));
        QVERIFY(monitor->unavailableReason().startsWith(
            QStringLiteral("This desktop does not let applications set global shortcuts")));
    }

    void bindsTheStoredSet_data()
    {
        QTest::addColumn<uint>("response");
        QTest::addColumn<QString>("noKeysFor");
        QTest::addColumn<QString>("activate");
        QTest::addColumn<QList<GlobalShortcutMonitor::Registration>>("registrations");
        QTest::addColumn<QString>("problem"); // the settings window's for uploadClipboard
        using R = GlobalShortcutMonitor::Registration;
        QTest::newRow("bound") << 0u << QString() << QStringLiteral("markupScreen")
                               << QList<R> { R::Registered, R::Registered, R::Registered, R::Registered } << QString();
        QTest::newRow("one without keys") << 0u << QStringLiteral("uploadClipboard") << QStringLiteral("captureScreen")
                                          << QList<R> { R::Registered, R::Registered, R::Registered, R::Taken }
                                          << QStringLiteral("Taken by another program");
        QTest::newRow("refused") << 1u << QString() << QString()
                                 << QList<R> { R::Unavailable, R::Unavailable, R::Unavailable, R::Unavailable }
                                 << QString();
    }

    void bindsTheStoredSet()
    {
        QFETCH(uint, response);
        QFETCH(QString, noKeysFor);
        QFETCH(QString, activate);
        QFETCH(QList<GlobalShortcutMonitor::Registration>, registrations);
        QFETCH(QString, problem);
        if (m_portal.state() == QProcess::NotRunning)
            startPortal(m_dir.filePath(QStringLiteral("fake")));
        m_desktop.response = response;
        m_desktop.noKeysFor = noKeysFor;
        m_desktop.bound.clear();
        const auto monitor = GlobalShortcutMonitor::create(QStringLiteral("wayland"));
        QCOMPARE(monitor->backendName(), QStringLiteral("portal"));
        Actions actions;
        const QList<ShortcutTable::Outcome> outcomes = ShortcutTable::subscribe(*monitor, &actions);
        QTRY_COMPARE(m_desktop.bound,
            QStringList({ QStringLiteral("uploadSelection|Upload selected files|Print"),
                QStringLiteral("captureScreen|Take screenshot|ALT+SHIFT+4"),
                QStringLiteral("markupScreen|Screenshot and mark up|SHIFT+LOGO+3"),
                QStringLiteral("uploadClipboard|Upload clipboard|CTRL+ALT+v") }));
        QCOMPARE(outcomes.size(), 4);
        for (int i = 0; i < outcomes.size(); ++i) {
            const QKeyCombination keys = KeyEquivalent::fromString(outcomes[i].stored).keyCombination();
            QTRY_COMPARE(monitor->registration(keys), registrations[i]);
        }
        SettingsWindowController controller;
        controller.setShortcutMonitor(monitor.get());
        QCOMPARE(controller.shortcuts().at(3).problem, problem);
        QCOMPARE(controller.shortcutsUnavailableText().startsWith(QStringLiteral("The desktop did not allow")),
            response != 0);
        // A session binds once: a changed set goes in a new one.
        SettingsStore::instance().setClipboardHotKey(QStringLiteral("⌃⌥F5"));
        ShortcutTable::subscribe(*monitor, &actions);
        QTRY_COMPARE(m_desktop.bound.value(3), QStringLiteral("uploadClipboard|Upload clipboard|CTRL+ALT+F5"));
        SettingsStore::instance().setClipboardHotKey(QStringLiteral("⌃⌥V"));
        if (activate.isEmpty())
            return;
        QDBusConnection(QStringLiteral("desktop"))
            .send(QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/portal/desktop"),
                      QStringLiteral("org.freedesktop.impl.portal.GlobalShortcuts"), QStringLiteral("Activated"))
                << QVariant::fromValue(QDBusObjectPath(m_desktop.session)) << activate << qulonglong(0)
                << QVariantMap());
        QTRY_COMPARE(actions.ran, QStringList { activate });
    }
};

QTEST_MAIN(TestPortalShortcuts)
#include "tst_portalshortcuts.moc"
