#include "defaultskeys.h"
#include "logcapture.h"
#include "settingsstore.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

// Every case runs against a settings folder of its own: XDG_CONFIG_HOME points
// at a temporary folder before the store is first touched, so the first
// instance() of this process sees a fresh file. A "second launch" and "another
// process" are this test binary run again as a child (see main()).

namespace {

QString iniValue(const QString &key)
{
    QSettings raw(SettingsStore::filePath(), QSettings::IniFormat);
    return raw.value(key).toString();
}

bool iniContains(const QString &key)
{
    QSettings raw(SettingsStore::filePath(), QSettings::IniFormat);
    return raw.contains(key);
}

// Runs this binary as a child: argv = the child command.
QString runChild(const QStringList &args)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("TST_SETTINGS_CHILD"), QStringLiteral("1"));
    child.setProcessEnvironment(env);
    child.start(QCoreApplication::applicationFilePath(), args);
    if (!child.waitForFinished(30000) || child.exitCode() != 0)
        return QStringLiteral("<child failed>");
    return QString::fromUtf8(child.readAllStandardOutput()).trimmed();
}

int childMain(const QStringList &args)
{
    SettingsStore &store = SettingsStore::instance();
    QTextStream out(stdout);
    if (args.value(0) == QLatin1String("get"))
        out << store.stringForKey(args.value(1));
    else if (args.value(0) == QLatin1String("set"))
        store.setObject(args.value(2), args.value(1));
    return 0;
}

} // namespace

class TestSettingsStore : public QObject
{
    Q_OBJECT
    QTemporaryDir m_home;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("XDG_CONFIG_HOME", m_home.path().toLocal8Bit());
    }

    // Must stay the first case: it is the process's first instance().
    void firstInstanceSeedsExactlyTheFirstRunDefaults()
    {
        QVERIFY(!QFile::exists(SettingsStore::filePath()));
        SettingsStore &store = SettingsStore::instance();
        QCOMPARE(&SettingsStore::instance(), &store);
        QCOMPARE(SettingsStore::filePath(), m_home.filePath(QStringLiteral("tessly/tessly.ini")));

        QSettings raw(SettingsStore::filePath(), QSettings::IniFormat);
        QStringList keys = raw.allKeys();
        keys.sort();
        QCOMPARE(keys,
            QStringList({ "clipboardHotKey", "hasRunBefore", "markupHotkey", "multiFileUploadAsFolder",
                "recordScreenHotKey", "screenshotHotkey", "uploadFileHotkey" }));
        // The shortcuts' values are typed on the desktop in tst_globalshortcuts
        // and shown in tst_statusmenu.
        QVERIFY(store.multiFileUploadAsFolder());
        QVERIFY(store.token().isNull());
        QVERIFY(store.domain().isNull());
    }

    void fileAndFolderAreOwnerOnly()
    {
        SettingsStore::instance().setToken(QStringLiteral("tk_mode_check"));
        struct stat st
        {
        };
        QCOMPARE(::stat(QFile::encodeName(SettingsStore::filePath()).constData(), &st), 0);
        QCOMPARE(st.st_mode & 0777, 0600u);
        QCOMPARE(::stat(QFile::encodeName(m_home.filePath(QStringLiteral("tessly"))).constData(), &st), 0);
        QCOMPARE(st.st_mode & 0777, 0700u);
        SettingsStore::instance().setToken(QString());
    }

    void secondLaunchRewritesNothingEvenAfterKeysWereRemoved()
    {
        SettingsStore &store = SettingsStore::instance();
        store.setMarkupHotkey(QString());
        store.setMultiFileUploadAsFolder(false);
        QCOMPARE(runChild({ QStringLiteral("get"), QStringLiteral("markupHotkey") }), QString());
        QVERIFY(!iniContains(QStringLiteral("markupHotkey")));
        QVERIFY(!store.multiFileUploadAsFolder());

        // Deleting hasRunBefore re-seeds all five and turns the folder option back on.
        store.removeObject(QString::fromLatin1(DefaultsKeys::HasRunBefore));
        QCOMPARE(runChild({ QStringLiteral("get"), QStringLiteral("markupHotkey") }), QStringLiteral("⌥⇧3"));
        QVERIFY(store.multiFileUploadAsFolder());
    }

    void valuesWrittenByAnotherProcessAreSeenAtOnce()
    {
        SettingsStore &store = SettingsStore::instance();
        QCOMPARE(store.sound(), QStringLiteral("Purr")); // read first, so a stale cache would show
        QCOMPARE(runChild({ QStringLiteral("set"), QStringLiteral("sound"), QStringLiteral("Glass") }), QString());
        QCOMPARE(store.sound(), QStringLiteral("Glass"));
        store.setDomain(QStringLiteral("alice"));
        QCOMPARE(runChild({ QStringLiteral("get"), QStringLiteral("domain") }), QStringLiteral("alice"));
        store.setDomain(QString());
    }

    void nullRemovesStringKeysAndFallbacksReturn()
    {
        SettingsStore &store = SettingsStore::instance();
        store.setSound(QStringLiteral("None"));
        QCOMPARE(store.sound(), QStringLiteral("None")); // the store does not interpret it
        store.setSound(QString());
        QVERIFY(!iniContains(QStringLiteral("sound")));
        QCOMPARE(store.sound(), QStringLiteral("Purr"));

        store.setShowDockIcon(false); // booleans always write
        QVERIFY(iniContains(QStringLiteral("showDockIcon")));
        store.setSelectedMenuSegment(3);
        QCOMPARE(store.selectedMenuSegment(), 3);
        store.setSelectedMenuSegment(0);
        QCOMPARE(iniValue(QStringLiteral("selectedMenuSegment")), QStringLiteral("0"));
    }

    void shortcutGlyphsRoundTripAsStored()
    {
        SettingsStore &store = SettingsStore::instance();
        const QString all = QStringLiteral("⌃⌥⇧⌘K");
        store.setScreenshotHotkey(all);
        QCOMPARE(store.screenshotHotkey(), all);
        QCOMPARE(runChild({ QStringLiteral("get"), QStringLiteral("screenshotHotkey") }), all);
        // Punctuation a recorder may produce must survive INI quoting.
        for (const QString &odd : { QStringLiteral("⌥,"), QStringLiteral("⌘;"), QStringLiteral("⇧\""),
                 QStringLiteral("⌥="), QStringLiteral("⌃@"), QStringLiteral("⌥\\") }) {
            store.setClipboardHotKey(odd);
            QCOMPARE(store.clipboardHotKey(), odd);
        }
        store.setScreenshotHotkey(QStringLiteral("⌥⇧4"));
        store.setClipboardHotKey(QStringLiteral("⌥⇧V"));
    }

    void tokenReadsAreLoggedMasked()
    {
        SettingsStore &store = SettingsStore::instance();
        store.setToken(QStringLiteral("tk_live_secret_value"));
        LogCapture log;
        QCOMPARE(store.token(), QStringLiteral("tk_live_secret_value"));
        QCOMPARE(store.token(), QStringLiteral("tk_live_secret_value"));
        QCOMPARE(log.count(QStringLiteral("token tk_l…")), 2);
        QVERIFY(!log.containsText(QStringLiteral("secret_value")));
        store.setToken(QString());
        log.clear();
        QVERIFY(store.token().isNull());
        QVERIFY(log.contains(QStringLiteral("token (null)")));
    }

    void lineColorRoundTripsAndFallsBackToRed_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<QColor>("expected");
        const QColor red(255, 59, 48);
        QTest::newRow("absent") << QVariant() << red;
        QTest::newRow("corrupt data") << QVariant(QByteArray("\x00\x01garbage", 9)) << red;
        QByteArray otherClass;
        {
            QDataStream s(&otherClass, QIODevice::WriteOnly);
            s << QStringLiteral("QImage") << QColor(Qt::blue);
        }
        QTest::newRow("data of another class") << QVariant(otherClass) << red;
        QByteArray truncated;
        {
            QDataStream s(&truncated, QIODevice::WriteOnly);
            s << QStringLiteral("QColor");
        }
        QTest::newRow("class tag without colour") << QVariant(truncated) << red;
        QTest::newRow("a string, not data") << QVariant(QStringLiteral("#00ff00")) << red;
    }

    void lineColorRoundTripsAndFallsBackToRed()
    {
        QFETCH(QVariant, stored);
        QFETCH(QColor, expected);
        SettingsStore &store = SettingsStore::instance();
        store.setObject(stored, QStringLiteral("lineColor"));
        QCOMPARE(store.lineColor(), expected);

        const QColor picked = QColor::fromRgbF(0.2f, 0.4f, 0.6f, 0.5f);
        store.setLineColor(picked);
        QCOMPARE(store.lineColor(), picked);
        store.setLineColor(QColor());
        QVERIFY(!iniContains(QStringLiteral("lineColor")));
    }

    void typedReadsOfOtherTypesAreEmpty()
    {
        SettingsStore &store = SettingsStore::instance();
        store.setObject(QByteArray("\x01\x02", 2), QStringLiteral("kDefaultMicIdKey"));
        QVERIFY(store.stringForKey(QStringLiteral("kDefaultMicIdKey")).isNull());
        QCOMPARE(store.integerForKey(QStringLiteral("kDefaultMicIdKey")), 0);
        QVERIFY(!store.boolForKey(QStringLiteral("kDefaultMicIdKey")));

        store.setObject(QStringLiteral("not a number"), QStringLiteral("kTLDefaultFormatKey"));
        QCOMPARE(store.integerForKey(QStringLiteral("kTLDefaultFormatKey")), 0);
        QVERIFY(!store.boolForKey(QStringLiteral("kTLDefaultFormatKey")));
        QVERIFY(store.dataForKey(QStringLiteral("kTLDefaultFormatKey")).isNull());
        store.setInteger(2, QStringLiteral("kTLDefaultFormatKey"));
        QCOMPARE(store.integerForKey(QStringLiteral("kTLDefaultFormatKey")), 2);
        QVERIFY(store.boolForKey(QStringLiteral("kTLDefaultFormatKey")));
    }

    void concurrentWritersLoseNothing()
    {
        // Accessors are used from upload completions on other threads.
        SettingsStore &store = SettingsStore::instance();
        QList<QThread *> threads;
        for (int t = 0; t < 4; ++t) {
            threads << QThread::create([&store, t] {
                for (int i = 0; i < 20; ++i)
                    store.setInteger(i, QStringLiteral("load%1").arg(t));
            });
            threads.last()->start();
        }
        for (QThread *thread : threads) {
            QVERIFY(thread->wait(60000));
            delete thread;
        }
        for (int t = 0; t < 4; ++t)
            QCOMPARE(store.integerForKey(QStringLiteral("load%1").arg(t)), 19);
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (qEnvironmentVariableIsSet("TST_SETTINGS_CHILD"))
        return childMain(app.arguments().mid(1));
    TestSettingsStore test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_settingsstore.moc"
