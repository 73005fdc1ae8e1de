#include "api.h"
#include "logcapture.h"
#include "loopbackpeer.h"
#include "notificationrecorder.h"
#include "notifications.h"
#include "referenceserver.h"
#include "settingsstore.h"

#include <QColor>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

#include <cmath>

// The service client against the reference service on loopback, and against
// a loopback peer where a request has to be seen byte for byte or an answer
// the service never gives is needed.

namespace {

struct Outcome
{
    bool done = false;
    bool success = false;
    QVariant result;
    Error error;
};

API::Completion recordInto(Outcome &outcome)
{
    return [&outcome](bool success, const QVariant &result, const Error &error) {
        outcome = { true, success, result, error };
    };
}

QVariant jsonOf(const QByteArray &body)
{
    return QJsonDocument::fromJson(body).toVariant();
}

} // namespace

class TestApi : public QObject
{
    Q_OBJECT
    QTemporaryDir m_home;
    ReferenceServer m_server;
    QString m_token;

    SettingsStore &settings() { return SettingsStore::instance(); }
    void useService(const QString &apiUrl) { qputenv("TESSLY_API_URL", apiUrl.toUtf8()); }
    void signIn(const QString &token, const QString &domain)
    {
        settings().setToken(token);
        settings().setDomain(domain);
    }

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("XDG_CONFIG_HOME", m_home.path().toLocal8Bit());
        QVERIFY2(m_server.start(), qPrintable(m_server.errorString()));
        m_token = m_server.addUser(
            QStringLiteral("alice@example.com"), QStringLiteral("secret-pw"), QStringLiteral("alice"));
        QVERIFY2(!m_token.isEmpty(), qPrintable(m_server.errorString()));
        API::instance().setPollInterval(0.02);
    }

    void init()
    {
        useService(m_server.apiUrl());
        m_server.setFaults(QStringLiteral("off"));
        signIn(m_token, QStringLiteral("alice"));
    }

    void requestsCarryTheStoredTokenOnlyWhenThereIsOne()
    {
        LoopbackPeer peer;
        useService(peer.apiUrl());
        LogCapture log;
        Outcome withToken, without;
        API::instance().getMe(recordInto(withToken));
        QTRY_VERIFY(withToken.done);
        settings().setToken(QString());
        API::instance().getMe(recordInto(without));
        QTRY_VERIFY(without.done);

        QCOMPARE(peer.requests().size(), 2);
        const auto first = peer.requests().at(0), second = peer.requests().at(1);
        QCOMPARE(first.method, QByteArray("GET"));
        QCOMPARE(first.target, QByteArray("/v1/users/me"));
        QCOMPARE(first.headers.value("authorization"), ("Bearer " + m_token).toUtf8());
        QCOMPARE(first.headers.value("content-type"), QByteArray("application/json")); // on GET too
        QVERIFY(!second.headers.contains("authorization")); // and still sent
        QCOMPARE(second.headers.value("content-type"), QByteArray("application/json"));
        QCOMPARE(log.count(QStringLiteral("Endpoint http://127.0.0.1:%1/v1/users/me").arg(peer.port())), 2);
        QVERIFY(!log.containsText(m_token));
    }

    void everyEndpointHasItsPathAndBody()
    {
        LoopbackPeer peer;
        useService(peer.apiUrl());
        API &api = API::instance();
        struct Call
        {
            std::function<void(API::Completion)> send;
            QByteArray method, target;
            QVariant body; // expected JSON, invalid for none
        };
        const QVariantMap nameOnly { { "payload", QVariantMap { { "name", "Batch" } } } };
        const QVariantMap folderFull { { "payload",
            QVariantMap { { "name", "Batch" }, { "parentItem", "alice/7" }, { "order", 2 } } } };
        // The profile, folder and link calls are made against the service
        // (profileIsReadFromTheService, tst_statusmenu), the file listing in
        // answersAreMappedByBodyNotStatus.
        const QList<Call> calls = {
            { [&](auto c) { api.getDocuments(c); }, "GET", "/v1/files/alice?mimeType=text/markdown&count=12", {} },
            { [&](auto c) { api.createFolderWithName(QStringLiteral("Batch"), QString(), QVariant(), c); }, "POST",
                "/v1/folders/alice", nameOnly },
            { [&](auto c) { api.createFolderWithName(QStringLiteral("Batch"), QStringLiteral("alice/7"), 2, c); },
                "POST", "/v1/folders/alice", folderFull },
        };
        for (const Call &call : calls) {
            Outcome outcome;
            call.send(recordInto(outcome));
            QTRY_VERIFY(outcome.done);
            QVERIFY(outcome.success);
            const auto seen = peer.requests().last();
            QCOMPARE(seen.method, call.method);
            QCOMPARE(seen.target, call.target);
            if (call.body.isValid()) {
                QCOMPARE(jsonOf(seen.body), call.body);
                QCOMPARE(seen.headers.value("content-type"), QByteArray("application/json"));
            } else {
                QVERIFY(seen.body.isEmpty());
            }
        }
        // The order is sent as a number, not as text.
        QVERIFY(peer.requests().last().body.contains("\"order\":2"));

        // No profile stored: the listings are still sent, with "(null)".
        settings().setDomain(QString());
        Outcome noDomain;
        api.getFiles(recordInto(noDomain));
        QTRY_VERIFY(noDomain.done);
        QCOMPARE(peer.requests().last().target, QByteArray("/v1/files/(null)?type=user&count=12"));
    }

    void unwritableBodyIsNotSent()
    {
        LoopbackPeer peer;
        useService(peer.apiUrl());
        LogCapture log;
        Outcome nan, colour;
        API::instance().createFolderWithName(QStringLiteral("x"), QString(), std::nan(""), recordInto(nan));
        API::instance().createFolderWithName(QStringLiteral("x"), QString(), QColor(Qt::red), recordInto(colour));
        QVERIFY(nan.done && colour.done); // at once, nothing to wait for
        QVERIFY(!nan.success);
        QCOMPARE(nan.error.domain, QStringLiteral("JSONSerialization"));
        QCOMPARE(nan.result.toMap().value("error").toString(), nan.error.localizedDescription);
        QVERIFY(!colour.success);
        QVERIFY(log.contains(QStringLiteral("[API] createFolder: JSON serialization error: ") + nan.error.toString()));
        // A request sent after them is the only one to arrive.
        Outcome after;
        API::instance().getMe(recordInto(after));
        QTRY_VERIFY(after.done);
        QCOMPARE(peer.requests().size(), 1);
        QCOMPARE(peer.requests().first().target, QByteArray("/v1/users/me"));
    }

    // The other calls meet the service elsewhere: getMe in
    // ensureDomainResolvesOnlyWhenNoneIsStored, folders and links in
    // tst_statusmenu (made, then listed in the menu).
    void profileIsReadFromTheService()
    {
        Outcome profile;
        API::instance().getProfile(QStringLiteral("alice"), recordInto(profile));
        QTRY_VERIFY(profile.done);
        QVERIFY(profile.success);
        QCOMPARE(profile.result.toMap().value("domain").toString(), QStringLiteral("alice"));
    }

    // What a hostile or broken service answers must not carry the token
    // elsewhere or make the client hold without bound, and a token that
    // would break the headers is never stored.
    void theTokenStaysWithTheService()
    {
        LoopbackPeer elsewhere;
        LoopbackPeer peer;
        peer.setResponse(307, "{}", "application/json",
            QStringLiteral("Location: http://127.0.0.1:%1/v1/users/me\r\n").arg(elsewhere.port()).toLatin1());
        useService(peer.apiUrl());
        Outcome redirected;
        API::instance().getMe(recordInto(redirected));
        QTRY_VERIFY(redirected.done);
        QVERIFY(!redirected.success);
        QCOMPARE(peer.requests().size(), 1);
        QCOMPARE(elsewhere.connections(), 0);

        // 9 MiB of valid JSON: refused once past the bound, not read whole.
        peer.setResponse(200, "{\"a\": \"" + QByteArray(9 * 1024 * 1024, 'x') + "\"}");
        Outcome huge;
        API::instance().getMe(recordInto(huge));
        QTRY_VERIFY(huge.done);
        QVERIFY(!huge.success);
        QCOMPARE(huge.error.code, -1011);
        QVERIFY2(huge.error.localizedDescription.contains("larger than 8388608 bytes"),
            qPrintable(huge.error.localizedDescription));

        for (const QString &bad : { QStringLiteral("tk\r\nX-Injected: 1"), QStringLiteral("tk with space"),
                 QStringLiteral("tk\u00e9"), QStringLiteral("tk\tx") }) {
            QVERIFY(!SettingsStore::isValidToken(bad));
            settings().setToken(bad);
            QCOMPARE(settings().token(), m_token);
        }
        peer.setResponse(200, "{}");
        Outcome plain;
        API::instance().getMe(recordInto(plain));
        QTRY_VERIFY(plain.done);
        QCOMPARE(peer.requests().last().headers.value("authorization"), ("Bearer " + m_token).toUtf8());
        QVERIFY(!peer.requests().last().headers.contains("x-injected"));
    }

    void answersAreMappedByBodyNotStatus_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("success");
        QTest::addColumn<QString>("responseText"); // in the diagnostic; null: no notification
        QTest::newRow("500 with JSON is a success") << "api.500json=1" << 500 << true << QString();
        QTest::newRow("500 with text") << "api.500text=1" << 500 << false << "Internal Server Error (injected)";
        QTest::newRow("200 with empty body") << "api.empty=1" << 200 << false << "";
    }

    void answersAreMappedByBodyNotStatus()
    {
        QFETCH(QString, fault);
        QFETCH(int, status);
        QFETCH(bool, success);
        QFETCH(QString, responseText);
        QVERIFY(m_server.setFaults(fault));
        NotificationRecorder visible(Notifications::UserVisibleErrorNotification);
        NotificationRecorder authInvalid(Notifications::AuthTokenInvalid);
        LogCapture log;
        Outcome outcome;
        API::instance().getFiles(recordInto(outcome));
        QTRY_VERIFY(outcome.done);
        QCOMPARE(outcome.success, success);
        QVERIFY(log.contains(QStringLiteral("httpResponse.statusCode %1").arg(status)));
        QVERIFY(authInvalid.seen().isEmpty());
        if (success) {
            QCOMPARE(outcome.result.toMap().value("message").toString(), QStringLiteral("Injected fault"));
            QVERIFY(visible.seen().isEmpty());
            return;
        }
        QVERIFY(!outcome.result.isValid());
        QCOMPARE(outcome.error.domain, QStringLiteral("JSONSerialization"));
        QCOMPARE(visible.seen().size(), 1);
        const QVariantMap record = visible.objects().first();
        QCOMPARE(record.value("error").toString(), QStringLiteral("Something went wrong"));
        QCOMPARE(record.value("message").toString(), QStringLiteral("Error communicating with the server"));
        QVERIFY(!record.contains("hideButton"));
        QCOMPARE(record.value("data").toString(),
            QStringLiteral("URL: %1files/alice?type=user&count=12\nResponse Code: %2\nResponse Text:\n%3")
                .arg(m_server.apiUrl())
                .arg(status)
                .arg(responseText));
    }

    void refusedTokenSignalsAuthTokenInvalid()
    {
        settings().setToken(QStringLiteral("tk_not_a_real_token"));
        NotificationRecorder visible(Notifications::UserVisibleErrorNotification);
        NotificationRecorder authInvalid(Notifications::AuthTokenInvalid);
        Outcome outcome;
        API::instance().getMe(recordInto(outcome));
        QTRY_VERIFY(outcome.done);
        QVERIFY(!outcome.success);
        QCOMPARE(outcome.result, QVariant(false));
        QCOMPARE(outcome.error.code, 401);
        QCOMPARE(authInvalid.seen().size(), 1);
        QVERIFY(!authInvalid.seen().first().object.isValid()); // no object
        QVERIFY(visible.seen().isEmpty());
    }

    void ensureDomainResolvesOnlyWhenNoneIsStored()
    {
        LogCapture log;
        bool answer = false;
        API::instance().ensureDomainWithCompletion([&](bool ok) { answer = ok; });
        QVERIFY(answer); // stored: at once, no request
        QVERIFY(!log.containsText(QStringLiteral("Endpoint")));

        settings().setDomain(QString());
        bool done = false;
        API::instance().ensureDomainWithCompletion([&](bool ok) { answer = ok, done = true; });
        QTRY_VERIFY(done);
        QVERIFY(answer);
        QCOMPARE(settings().domain(), QStringLiteral("alice"));
        QVERIFY(log.contains(QStringLiteral("[API] Resolved domain from /me profiles: alice")));
    }

    void ensureDomainRejectsMissingProfiles_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("logsNoProfiles");
        QTest::newRow("empty profiles") << QByteArray(R"({"profiles": []})") << true;
        QTest::newRow("empty domain") << QByteArray(R"({"profiles": [{"domain": ""}]})") << true;
        QTest::newRow("domain not a string") << QByteArray(R"({"profiles": [{"domain": 7}]})") << true;
        QTest::newRow("no profiles key") << QByteArray(R"({"id": 1})") << true;
        QTest::newRow("array answer") << QByteArray(R"([1, 2])") << false;
    }

    void ensureDomainRejectsMissingProfiles()
    {
        QFETCH(QByteArray, body);
        QFETCH(bool, logsNoProfiles);
        LoopbackPeer peer;
        peer.setResponse(200, body);
        useService(peer.apiUrl());
        settings().setDomain(QString());
        LogCapture log;
        bool done = false, answer = true;
        API::instance().ensureDomainWithCompletion([&](bool ok) { answer = ok, done = true; });
        QTRY_VERIFY(done);
        QVERIFY(!answer);
        QVERIFY(settings().domain().isNull());
        QCOMPARE(log.contains(QStringLiteral("[API] No profiles found in /me response")), logsNoProfiles);
    }

    void waitForNewFileFindsAnUploadedFile()
    {
        const QString code = m_server.upload(m_token, "alice", "note.txt", "text/plain", "hello")["code"].toString();
        QVERIFY2(!code.isEmpty(), qPrintable(m_server.errorString()));

        LogCapture log;
        bool done = false, found = false, timedOut = true;
        QVariant answer;
        API::instance().waitForNewFile(
            code, [&](bool f, const QVariant &r, bool t) { done = true, found = f, answer = r, timedOut = t; });
        QVERIFY(!done); // the first poll waits one interval
        QTRY_VERIFY(done);
        QVERIFY(found);
        QVERIFY(!timedOut);
        QCOMPARE(answer.toMap().value("code").toString(), code);
        // The service's codes are no base64 text, so the path carries the code as it is.
        QVERIFY(log.containsText(QStringLiteral("Endpoint %1files/alice/%2").arg(m_server.apiUrl(), code)));
    }

    void waitForNewFileDecodesCodes_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("pathCode");
        for (const auto &[name, code, pathCode] :
            { std::tuple { "base64 of abc", "YWJj", "abc" }, { "decodes to bytes that are not UTF-8", "-_8", "-_8" },
                { "not base64", "a*b", "a*b" }, { "decodes to a slash", "YS9i", "a%2Fb" } })
            QTest::newRow(name) << QString(code) << QString(pathCode);
    }

    void waitForNewFileDecodesCodes()
    {
        QFETCH(QString, code);
        QFETCH(QString, pathCode);
        LoopbackPeer peer;
        useService(peer.apiUrl());
        bool done = false;
        API::instance().waitForNewFile(code, [&](bool, const QVariant &, bool) { done = true; });
        QTRY_VERIFY(done);
        QCOMPARE(peer.requests().size(), 1);
        QCOMPARE(QString::fromLatin1(peer.requests().first().target), QStringLiteral("/v1/files/alice/") + pathCode);
    }

    void waitForNewFileGivesUpAfterFifteenPolls()
    {
        QVERIFY(m_server.setFaults(QStringLiteral("api.500text=1")));
        NotificationRecorder visible(Notifications::UserVisibleErrorNotification);
        LogCapture log;
        bool done = false, found = true, timedOut = false;
        QVariant answer;
        API::instance().waitForNewFile(QStringLiteral("NDI"),
            [&](bool f, const QVariant &r, bool t) { done = true, found = f, answer = r, timedOut = t; });
        QTRY_VERIFY_WITH_TIMEOUT(done, 20000);
        QVERIFY(!found);
        QVERIFY(timedOut);
        QCOMPARE(answer, QVariant(QVariantMap()));
        QCOMPARE(log.count(QStringLiteral("Endpoint %1files/alice/42").arg(m_server.apiUrl())), 15);
        QCOMPARE(visible.seen().size(), 15); // every failed poll is reported
    }

    void waitForNewFileNeedsACodeAndADomain()
    {
        QList<QVariantList> calls;
        API::instance().waitForNewFile(QString(), [&](bool f, const QVariant &r, bool t) {
            calls << QVariantList { f, r, t };
        });
        settings().setDomain(QString());
        API::instance().waitForNewFile(QStringLiteral("YWJj"), [&](bool f, const QVariant &r, bool t) {
            calls << QVariantList { f, r, t };
        });
        // Both at once: the third value says whether a domain was stored.
        QCOMPARE(calls, QList<QVariantList>({ { false, QVariantMap(), true }, { false, QVariantMap(), false } }));
    }

    void completionsArriveOnTheMainThreadWhoeverCalls()
    {
        QThread *completedOn = nullptr;
        bool done = false;
        QThreadPool::globalInstance()->start([&] {
            API::instance().getMe([&](bool, const QVariant &, const Error &) {
                completedOn = QThread::currentThread();
                done = true;
            });
        });
        QTRY_VERIFY(done);
        QCOMPARE(completedOn, QCoreApplication::instance()->thread());
    }
};

QTEST_GUILESS_MAIN(TestApi)
#include "tst_api.moc"
