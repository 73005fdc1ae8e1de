// Web pages: the login page's redirect to the app's URL scheme, sign-up,
// share pages answered by Host, short links and the signed-in pages.
#include "referenceserver.h"

#include <QJsonArray>
#include <QtTest>
#include <QUrlQuery>

class ServerWebTest : public QObject
{
    Q_OBJECT

private:
    using Reply = ReferenceServer::Reply;
    using Headers = QMap<QByteArray, QByteArray>;
    ReferenceServer m_server;
    QString m_token;

    Reply postForm(const QString &path, const QUrlQuery &form, const Headers &extra = {})
    {
        Headers headers = extra;
        headers.insert("Content-Type", "application/x-www-form-urlencoded");
        return m_server.request("POST", path, form.toString(QUrl::FullyEncoded).toUtf8(), headers);
    }

    static QUrlQuery form(std::initializer_list<std::pair<QString, QString>> fields)
    {
        QUrlQuery query;
        for (const auto &[name, value] : fields)
            query.addQueryItem(name, QString::fromUtf8(QUrl::toPercentEncoding(value)));
        return query;
    }

    static QByteArray sessionCookie(const Reply &reply) { return reply.headers.value("set-cookie").split(';').first(); }

    Headers onHost(const QString &profile) { return { { "Host", (profile + "." + m_server.webDomain()).toUtf8() } }; }

    QJsonObject upload(
        const QString &token, const QString &profile, const QString &name, const QString &mime, const QByteArray &bytes)
    {
        const QJsonObject file
            = m_server.api("POST", "/v1/files/" + profile, token, { { "name", name }, { "mimeType", mime } }).json();
        m_server.request("PUT", file["url"].toString(), bytes, { { "Content-Type", mime.toUtf8() } });
        return file;
    }

private slots:
    void initTestCase()
    {
        ReferenceServer::Options options;
        options.urlScheme = "tessly-test";
        QVERIFY2(m_server.start(options), qPrintable(m_server.errorString()));
        m_token = m_server.addUser("alice@example.com", "alice-pass", "alice", "files.alice.example");
        QVERIFY(!m_token.isEmpty());
    }

    void loginPagePostsEmailAndPasswordBackToItself()
    {
        const Reply page = m_server.request("GET", "/auth/login?redirectTo=app");
        QCOMPARE(page.status, 200);
        QVERIFY(page.headers.value("content-type").startsWith("text/html"));
        QVERIFY(page.body.contains("method=\"post\" action=\"/auth/login?redirectTo=app\""));
        QVERIFY(page.body.contains("name=\"email\""));
        QVERIFY(page.body.contains("name=\"password\" type=\"password\""));
    }

    void rightPasswordRedirectsToTheAppWithAWorkingToken()
    {
        const Reply reply = postForm(
            "/auth/login?redirectTo=app", form({ { "email", "alice@example.com" }, { "password", "alice-pass" } }));
        QCOMPARE(reply.status, 302);
        const QUrl location(QString::fromUtf8(reply.headers.value("location")));
        QCOMPARE(location.scheme(), "tessly-test");
        const QUrlQuery query(location);
        QCOMPARE(query.queryItemValue("domain"), "alice");
        const QString token = query.queryItemValue("token", QUrl::FullyDecoded);
        QVERIFY(!token.isEmpty());
        QVERIFY(token != m_token); // every sign-in gets its own token
        const Reply me = m_server.api("GET", "/v1/users/me", token);
        QCOMPARE(me.status, 200);
        QCOMPARE(me.json()["email"].toString(), "alice@example.com");
        // The token never reaches the log.
        QVERIFY(!m_server.serverLog().contains(token));
    }

    void wrongCredentialsStayOnTheLoginPage_data()
    {
        QTest::addColumn<QString>("email");
        QTest::addColumn<QString>("password");
        QTest::newRow("wrong password") << "alice@example.com"
                                        << "nope";
        QTest::newRow("unknown user") << "nobody@example.com"
                                      << "alice-pass";
        QTest::newRow("empty fields") << ""
                                      << "";
    }

    void wrongCredentialsStayOnTheLoginPage()
    {
        QFETCH(QString, email);
        QFETCH(QString, password);
        const Reply reply
            = postForm("/auth/login?redirectTo=app", form({ { "email", email }, { "password", password } }));
        QCOMPARE(reply.status, 401);
        QVERIFY(!reply.headers.contains("location"));
        QVERIFY(reply.body.contains("not right"));
        QVERIFY(reply.body.contains("action=\"/auth/login?redirectTo=app\""));
    }

    void getStartedCreatesAccountAndProfile()
    {
        const Reply reply = postForm("/get-started?redirectTo=app",
            form({ { "email", "new@example.com" }, { "password", "new-pass" }, { "profile", "newbie" } }));
        QCOMPARE(reply.status, 302);
        const QUrlQuery query { QUrl(QString::fromUtf8(reply.headers.value("location"))) };
        QCOMPARE(query.queryItemValue("domain"), "newbie");
        const QString token = query.queryItemValue("token", QUrl::FullyDecoded);
        QCOMPARE(
            m_server.api("GET", "/v1/users/me", token).json()["profiles"][0].toObject()["domain"].toString(), "newbie");

        const Reply taken = postForm("/get-started",
            form({ { "email", "other@example.com" }, { "password", "pass1" }, { "profile", "newbie" } }));
        QCOMPARE(taken.status, 409);
        QVERIFY(taken.body.contains("taken"));
        const Reply badName = postForm(
            "/get-started", form({ { "email", "x@example.com" }, { "password", "pass1" }, { "profile", "Bad Name" } }));
        QCOMPARE(badName.status, 400);
        // Nothing half-made: the e-mail of the refused sign-up is still free.
        QCOMPARE(postForm("/get-started",
                     form({ { "email", "x@example.com" }, { "password", "pass1" }, { "profile", "xx" } }))
                     .status,
            302);
    }

    void sharePagesAnswerOnTheProfileHost()
    {
        const QByteArray png = QByteArray::fromBase64(
            "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==");
        const QJsonObject image = upload(m_token, "alice", "pixel.png", "image/png", png);
        const QString code = image["code"].toString();

        const Reply page = m_server.request("GET", "/" + code, {}, onHost("alice"));
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.contains("<img class=\"media\" src=\"/" + code.toUtf8() + "/raw\""));
        QCOMPARE(m_server.request("GET", "/" + code + "/raw", {}, onHost("alice")).headers.value("content-type"),
            QByteArray("image/png"));
        const Reply download = m_server.request("GET", "/" + code + "/download", {}, onHost("alice"));
        QCOMPARE(download.body, png);
        QVERIFY(download.headers.value("content-disposition").startsWith("attachment; filename=\"pixel.png\""));
        // The custom domain serves the same page; another profile's host does not.
        QCOMPARE(
            m_server.request("GET", "/" + code + "/download", {}, { { "Host", "files.alice.example" } }).body, png);
        m_server.addUser("bob@example.com", "bob-pass", "bob");
        QCOMPARE(m_server.request("GET", "/" + code, {}, onHost("bob")).status, 404);
        QCOMPARE(m_server.request("GET", "/" + code, {}, onHost("ghost")).status, 404);

        const QJsonArray listed = m_server.api("GET", "/v1/files/alice?count=1", m_token).json()["items"].toArray();
        QCOMPARE(listed[0].toObject()["viewCount"].toInt(), 1);
    }

    void videosPlayAndOtherFilesOfferADownload()
    {
        const QString movie
            = upload(m_token, "alice", "clip.mp4", "video/mp4", "not really a movie")["code"].toString();
        QVERIFY(m_server.request("GET", "/" + movie, {}, onHost("alice")).body.contains("<video"));
        QCOMPARE(m_server.request("GET", "/" + movie + "/thumbnail", {}, onHost("alice")).headers.value("content-type"),
            QByteArray("image/svg+xml"));
        const QString page
            = upload(m_token, "alice", "page.html", "text/html", "<script>x</script>")["code"].toString();
        const Reply raw = m_server.request("GET", "/" + page + "/raw", {}, onHost("alice"));
        // User content never runs as a page on the share host.
        QVERIFY(raw.headers.value("content-disposition").startsWith("attachment"));
        QVERIFY(raw.headers.value("content-security-policy").contains("sandbox"));
        QVERIFY(!m_server.request("GET", "/" + page, {}, onHost("alice")).body.contains("<script>x"));
    }

    void shortLinksRedirect()
    {
        const QJsonObject link
            = m_server
                  .api("POST", "/v1/links/alice", m_token,
                      { { "payload", QJsonObject { { "content", "https://example.org/target?q=1" } } } })
                  .json();
        const QString path = "/l/" + link["slug"].toString();
        const Reply onProfile = m_server.request("GET", path, {}, onHost("alice"));
        QCOMPARE(onProfile.status, 302);
        QCOMPARE(onProfile.headers.value("location"), QByteArray("https://example.org/target?q=1"));
        QCOMPARE(m_server.request("GET", path).status, 302);
        QCOMPARE(m_server.request("GET", "/l/unknown", {}, onHost("alice")).status, 404);
        const QJsonArray links = m_server.api("GET", "/v1/links/alice?count=12", m_token).json()["items"].toArray();
        QCOMPARE(links[0].toObject()["viewCount"].toInt(), 2);
    }

    void signedInPagesNeedASession()
    {
        const Reply anonymous = m_server.request("GET", "/me?domain=alice");
        QCOMPARE(anonymous.status, 302);
        QVERIFY(anonymous.headers.value("location").startsWith("/auth/login?redirectTo="));

        const Reply login = postForm("/auth/login?redirectTo=%2Fme%2Flinks%2Fnew%3Fdomain%3Dalice",
            form({ { "email", "alice@example.com" }, { "password", "alice-pass" } }));
        QCOMPARE(login.status, 302);
        QCOMPARE(login.headers.value("location"), QByteArray("/me/links/new?domain=alice"));
        const Headers session { { "Cookie", sessionCookie(login) } };

        QVERIFY(m_server.request("GET", "/me?domain=alice", {}, session).body.contains("pixel.png"));
        QCOMPARE(m_server.request("GET", "/me?domain=bob", {}, session).status, 404);
        QCOMPARE(postForm("/me/links/new?domain=alice", form({ { "url", "https://qt.io" } }), session).status, 201);
        const Reply document = postForm(
            "/me/documents/new?domain=alice", form({ { "title", "Plan" }, { "text", "# Plan\n- one" } }), session);
        QCOMPARE(document.status, 303);
        const QJsonArray docs
            = m_server.api("GET", "/v1/files/alice?mimeType=text/markdown&count=12", m_token).json()["items"].toArray();
        QCOMPARE(docs[0].toObject()["name"].toString(), "Plan.md");
        QCOMPARE(docs[0].toObject()["size"].toInt(), 12);
        // An open redirect is not offered: only paths on this site are followed.
        const Reply elsewhere = postForm("/auth/login?redirectTo=https%3A%2F%2Fevil.example",
            form({ { "email", "alice@example.com" }, { "password", "alice-pass" } }));
        QCOMPARE(elsewhere.headers.value("location"), QByteArray("/me?domain=alice"));
    }
};

QTEST_GUILESS_MAIN(ServerWebTest)
#include "tst_server_web.moc"
