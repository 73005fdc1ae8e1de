#include "loopbackpeer.h"
#include "referenceserver.h"
#include "tesslycommand.h"

#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

// `tessly login` and `tessly logout`, run as the real binary against the
// reference service, each case with a settings folder of its own.

using Run = TesslyCommand::Run;

class TestLoginCommand : public QObject
{
    Q_OBJECT
    ReferenceServer m_server;
    QString m_token;
    std::unique_ptr<QTemporaryDir> m_config;

    QString iniPath() const { return m_config->filePath(QStringLiteral("tessly/tessly.ini")); }
    QVariant stored(const QString &key) const { return QSettings(iniPath(), QSettings::IniFormat).value(key); }

    Run tessly(const QStringList &args, const QString &apiUrl, const QByteArray &input = {})
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_config->path());
        env.insert(QStringLiteral("TESSLY_API_URL"), apiUrl);
        env.insert(QStringLiteral("TESSLY_WEB_DOMAIN"), m_server.webDomain());
        return TesslyCommand::run(args, env, input, 60000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(m_server.start(), qPrintable(m_server.errorString()));
        m_token = m_server.addUser(
            QStringLiteral("carol@example.com"), QStringLiteral("secret-pw"), QStringLiteral("carol"));
        QVERIFY2(!m_token.isEmpty(), qPrintable(m_server.errorString()));
    }

    void init() { m_config = std::make_unique<QTemporaryDir>(); }

    void loginResolvesTheProfileAndLogoutForgetsIt()
    {
        const Run in = tessly({ QStringLiteral("login"), QStringLiteral("--token"), m_token }, m_server.apiUrl());
        QCOMPARE(in.exitCode, 0);
        QVERIFY2(in.out.contains(QLatin1String("carol")), qPrintable(in.out));
        QCOMPARE(stored(QStringLiteral("token")).toString(), m_token);
        QCOMPARE(stored(QStringLiteral("domain")).toString(), QStringLiteral("carol"));
        QVERIFY2(!in.err.contains(m_token) && !in.out.contains(m_token), "the token never reaches the output");

        const Run out = tessly({ QStringLiteral("logout") }, m_server.apiUrl());
        QCOMPARE(out.exitCode, 0);
        QVERIFY(!stored(QStringLiteral("token")).isValid());
        QVERIFY(!stored(QStringLiteral("domain")).isValid());
        QVERIFY(stored(QStringLiteral("hasRunBefore")).isValid()); // preferences stay
    }

    // Every login asks the service about the token, also with a profile
    // named or one stored from before, and the new account's profile
    // replaces the old one; a refused token, or a profile named that is not
    // the account's, leaves the earlier sign-in.
    void everyLoginChecksTheTokenAndReplacesTheProfile()
    {
        LoopbackPeer peer;
        peer.setResponse(200, R"({"id": 9, "profiles": [{"domain": "elsewhere"}, {"domain": "team"}]})");
        Run run = tessly({ QStringLiteral("login"), QStringLiteral("--token=") + m_token, QStringLiteral("--domain"),
                             QStringLiteral("team") },
            peer.apiUrl());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(peer.requests().size(), 1);
        QCOMPARE(peer.requests().first().target, QByteArray("/v1/users/me"));
        QCOMPARE(stored(QStringLiteral("domain")).toString(), QStringLiteral("team"));

        peer.setResponse(200, R"({"id": 9, "profiles": [{"domain": "elsewhere"}]})");
        run = tessly({ QStringLiteral("login"), QStringLiteral("--token=tk_other"), QStringLiteral("--domain=team") },
            peer.apiUrl());
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(QLatin1String("no profile \"team\" (its profiles: elsewhere)")), qPrintable(run.err));
        QCOMPARE(stored(QStringLiteral("token")).toString(), m_token);
        QCOMPARE(stored(QStringLiteral("domain")).toString(), QStringLiteral("team"));

        const QString dave
            = m_server.addUser(QStringLiteral("dave@example.com"), QStringLiteral("secret-pw"), QStringLiteral("dave"));
        QVERIFY(!dave.isEmpty());
        run = tessly({ QStringLiteral("login"), QStringLiteral("--token"), dave }, m_server.apiUrl());
        QCOMPARE(run.exitCode, 0);
        QVERIFY2(run.out.contains(QLatin1String("dave")), qPrintable(run.out));
        QCOMPARE(stored(QStringLiteral("domain")).toString(), QStringLiteral("dave"));

        run = tessly(
            { QStringLiteral("login"), QStringLiteral("--token"), QStringLiteral("tk_wrong") }, m_server.apiUrl());
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(QLatin1String("refused")), qPrintable(run.err));
        QCOMPARE(stored(QStringLiteral("token")).toString(), dave);
        QCOMPARE(stored(QStringLiteral("domain")).toString(), QStringLiteral("dave"));
    }

    void tokenCanComeFromStandardInput()
    {
        const Run run = tessly({ QStringLiteral("login"), QStringLiteral("--token"), QStringLiteral("-") },
            m_server.apiUrl(), m_token.toUtf8() + "\n");
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(stored(QStringLiteral("token")).toString(), m_token);
    }

    void accountWithoutProfileIsSentToGetStarted()
    {
        LoopbackPeer peer;
        peer.setResponse(200, R"({"id": 9, "profiles": []})");
        const Run run
            = tessly({ QStringLiteral("login"), QStringLiteral("--token"), QStringLiteral("tk_new") }, peer.apiUrl());
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(QLatin1String("No Profile Found")), qPrintable(run.err));
        QVERIFY(run.err.contains(m_server.webDomain() + QStringLiteral("/get-started")));
        // As with the login link: the token stays, the profile is resolved later.
        QCOMPARE(stored(QStringLiteral("token")).toString(), QStringLiteral("tk_new"));
        QVERIFY(!stored(QStringLiteral("domain")).isValid());
    }

    void unreachableServiceSaysWhy()
    {
        const Run run = tessly(
            { QStringLiteral("login"), QStringLiteral("--token"), m_token }, QStringLiteral("http://127.0.0.1:1/v1/"));
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains(QLatin1String("Connection failed: Could not connect to the server.")),
            qPrintable(run.err));
    }

    void badArgumentsChangeNothing_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("no token") << QStringList { "login" };
        QTest::newRow("empty token") << QStringList { "login", "--token", "" };
        QTest::newRow("token without value") << QStringList { "login", "--token" };
        QTest::newRow("unknown option") << QStringList { "login", "--token", "tk", "--profile", "x" };
        QTest::newRow("logout with arguments") << QStringList { "logout", "now" };
        // A token ends up in an HTTP header: nothing but printable ASCII.
        QTest::newRow("token with a line break") << QStringList { "login", "--token", "tk\r\nX-Injected: 1" };
        QTest::newRow("token with a space") << QStringList { "login", "--token", "tk 1" };
        QTest::newRow("token not ASCII") << QStringList { "login", "--token", "tk\u00e9" };
    }

    void badArgumentsChangeNothing()
    {
        QFETCH(QStringList, args);
        const Run run = tessly(args, m_server.apiUrl());
        QCOMPARE(run.exitCode, 2);
        QVERIFY2(run.err.startsWith(QStringLiteral("tessly %1: ").arg(args.first())), qPrintable(run.err));
        QVERIFY(!QFile::exists(iniPath()));
    }
};

QTEST_GUILESS_MAIN(TestLoginCommand)
#include "tst_login_command.moc"
