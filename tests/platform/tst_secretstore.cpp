// The sign-in token in the desktop's keyring (GNOME Keyring under the
// harness): moved there from the settings file, seen by every process that
// signs in or out, and kept in the file where no keyring runs.
#include "e2e.h"
#include "referenceserver.h"
#include "secretstore.h"
#include "settingsstore.h"
#include "tesslycommand.h"

#include <QCoreApplication>
#include <QSettings>
#include <QTest>

class TestSecretStore : public QObject
{
    Q_OBJECT

    ReferenceServer m_server;

    // What the keyring holds for us, as another program reads it; null when
    // it holds nothing.
    static QString inKeyring()
    {
        int code = -1;
        const QByteArray out
            = E2E::runTool("secret-tool", { "lookup", "server", "com.tessly.Cloud", "user", "token" }, &code);
        return code == 0 ? QString::fromUtf8(out) : QString();
    }

    static QString inFile()
    {
        return QSettings(SettingsStore::filePath(), QSettings::IniFormat).value(QStringLiteral("token")).toString();
    }

    // `tessly login --token`, the real binary, in a session bus of `bus`.
    int login(const QString &token, const QString &bus = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"))
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), bus);
        return TesslyCommand::run({ "login", "--token", token }, env, {}, 60000).exitCode;
    }

    QString newAccount(const QString &name)
    {
        return m_server.addUser(name + QStringLiteral("@example.com"), QStringLiteral("secret-pass"), name);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(E2E::underHarness());
        QVERIFY2(m_server.start(), qPrintable(m_server.errorString()));
        qputenv("TESSLY_API_URL", m_server.apiUrl().toUtf8());
        qputenv("TESSLY_WEB_DOMAIN", m_server.webDomain().toUtf8());
        QCOMPARE(SecretStore::create()->backendName(), QStringLiteral("keychain"));
        QCOMPARE(SecretStore::create(QStringLiteral("null"))->backendName(), QStringLiteral("null"));
    }

    void tokenLivesInTheKeyringForEveryProcess()
    {
        // What an earlier version left: the token in the file.
        const QString first = newAccount(QStringLiteral("alice"));
        SettingsStore::instance().setToken(first);
        QCOMPARE(inFile(), first);
        SecretStore::installTokenVault();
        QCOMPARE(inKeyring(), first);
        QCOMPARE(inFile(), QString());
        QCOMPARE(SettingsStore::instance().token(), first);

        // Another process signs in to another account, and this one sees it.
        const QString second = newAccount(QStringLiteral("bob"));
        QCOMPARE(login(second), 0);
        QCOMPARE(inKeyring(), second);
        QCOMPARE(inFile(), QString());
        QCOMPARE(SettingsStore::instance().token(), second);

        // Signing out empties the keyring too.
        SettingsStore::instance().setToken(QString());
        QCOMPARE(inKeyring(), QString());
        QCOMPARE(SettingsStore::instance().token(), QString());

        // A process that reaches no keyring keeps the token in the file,
        // and this one reads it from there.
        const QString third = newAccount(QStringLiteral("carol"));
        QCOMPARE(login(third, QStringLiteral("unix:path=/nonexistent")), 0);
        QCOMPARE(inFile(), third);
        QCOMPARE(inKeyring(), QString());
        QCOMPARE(SettingsStore::instance().token(), third);
    }
};

QTEST_GUILESS_MAIN(TestSecretStore)
#include "tst_secretstore.moc"
