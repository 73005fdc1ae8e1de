// Web pages: the login page's redirect to the app's URL scheme, sign-up,
// share pages answered by Host, short links and the signed-in pages. The
// login form as a browser fills it in is tst_server_browser's.
#include "referenceserver.h"

#include <QJsonArray>
#include <QRegularExpression>
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

private slots:
    void initTestCase()
    {
        ReferenceServer::Options options;
        options.urlScheme = "tessly-test";
        // Sign-in limits count per client address; a proxy on loopback lets tests be many clients.
        options.extraArguments = { "--trusted-proxy", "127.0.0.1" };
        QVERIFY2(m_server.start(options), qPrintable(m_server.errorString()));
        m_token = m_server.addUser("alice@example.com", "alice-pass", "alice", "files.alice.example");
        QVERIFY(!m_token.isEmpty());
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
        const QJsonObject image = m_server.upload(m_token, "alice", "pixel.png", "image/png", png);
        const QString code = image["code"].toString();

        const Reply page = m_server.request("GET", "/" + code, {}, onHost("alice"));
        QCOMPARE(page.status, 200);
        QVERIFY(page.body.contains("<img class=\"media\" src=\"/" + code.toUtf8() + "/raw\""));
        QCOMPARE(m_server.request("GET", "/" + code + "/raw", {}, onHost("alice")).headers.value("content-type"),
            QByteArray("image/png"));
        const Reply download = m_server.shareDownload("alice", code);
        QCOMPARE(download.body, png);
        QVERIFY(download.headers.value("content-disposition").startsWith("attachment; filename=\"pixel.png\""));
        // The custom domain serves the same page; another profile's host does not.
        QCOMPARE(
            m_server.request("GET", "/" + code + "/download", {}, { { "Host", "files.alice.example" } }).body, png);
        m_server.addUser("bob@example.com", "bob-pass", "bob");
        QCOMPARE(m_server.request("GET", "/" + code, {}, onHost("bob")).status, 404);
        QCOMPARE(m_server.request("GET", "/" + code, {}, onHost("ghost")).status, 404);
        // Only the random code finds the file: not its item number, nor the number's base64 as codes once were.
        const QByteArray number = QByteArray::number(image["item"].toInteger());
        QCOMPARE(m_server.request("GET", "/" + number, {}, onHost("alice")).status, 404);
        QCOMPARE(
            m_server
                .request("GET", "/" + number.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals),
                    {}, onHost("alice"))
                .status,
            404);
        QVERIFY(page.body.contains("70 bytes · 1 view<"));

        const QJsonArray listed = m_server.api("GET", "/v1/files/alice?count=1", m_token).json()["items"].toArray();
        QCOMPARE(listed[0].toObject()["viewCount"].toInt(), 1);
    }

    void videosPlayAndOtherFilesOfferADownload()
    {
        const QString movie
            = m_server.upload(m_token, "alice", "clip.mp4", "video/mp4", "not really a movie")["code"].toString();
        QVERIFY(m_server.request("GET", "/" + movie, {}, onHost("alice")).body.contains("<video"));
        QCOMPARE(m_server.request("GET", "/" + movie + "/thumbnail", {}, onHost("alice")).headers.value("content-type"),
            QByteArray("image/svg+xml"));
        const QString page
            = m_server.upload(m_token, "alice", "page.html", "text/html", "<script>x</script>")["code"].toString();
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
        QCOMPARE(link["shareUrl"].toString(), "http://files.alice.example" + path); // the custom domain
        const Reply onProfile = m_server.request("GET", path, {}, onHost("alice"));
        QCOMPARE(onProfile.status, 302);
        QCOMPARE(onProfile.headers.value("location"), QByteArray("https://example.org/target?q=1"));
        QCOMPARE(m_server.request("GET", path).status, 302);
        QCOMPARE(m_server.request("GET", "/l/unknown", {}, onHost("alice")).status, 404);
        const QJsonArray links = m_server.api("GET", "/v1/links/alice?count=12", m_token).json()["items"].toArray();
        QCOMPARE(links[0].toObject()["viewCount"].toInt(), 2);
        QCOMPARE(links[0].toObject()["content"].toString(), "https://example.org/target?q=1");
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
    }

    // The sign-in form: wrong credentials stay on the page; only a path on
    // this site is followed after sign-in (browsers drop tabs and newlines and
    // read "\\" as "/", so each other row would leave the site); a form sent
    // from another site (login CSRF: a page that signs the visitor into the
    // attacker's account and hands the app its token) is refused.
    void signInForm_data()
    {
        QTest::addColumn<QString>("email");
        QTest::addColumn<QString>("password");
        QTest::addColumn<QByteArray>("redirectTo");
        QTest::addColumn<QByteArray>("header");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("location");
        const QByteArray own = "%2Fme%2Flinks%2Fnew%3Fdomain%3Dalice", ownPath = "/me/links/new?domain=alice";
        const auto row = [](const char *name, const QByteArray &redirectTo, int status, const QByteArray &location,
                             const QString &email = "alice@example.com", const QString &password = "alice-pass",
                             const QByteArray &header = {}, const QByteArray &value = {}) {
            QTest::newRow(name) << email << password << redirectTo << header << value << status << location;
        };
        row("wrong password", "app", 401, {}, "alice@example.com", "nope");
        row("unknown user", "app", 401, {}, "nobody@example.com", "alice-pass");
        row("empty fields", "app", 401, {}, "", "");
        row("own path", own, 302, ownPath);
        const QByteArray fallback = "/me?domain=alice";
        row("absolute URL", "https%3A%2F%2Fevil.example", 302, fallback);
        row("scheme-relative", "%2F%2Fevil.example", 302, fallback);
        row("tab between slashes", "%2F%09%2Fevil.example", 302, fallback);
        row("newline between slashes", "%2F%0A%2Fevil.example", 302, fallback);
        row("backslash", "%2F%5Cevil.example", 302, fallback);
        row("backslashes only", "%5C%5Cevil.example", 302, fallback);
        row("space first", "%20%2F%2Fevil.example", 302, fallback);
        row("control character", "%2F%01%2Fevil.example", 302, fallback);
        row("javascript", "javascript%3Aalert(1)", 302, fallback);
        row("non-ASCII slash look-alike", "%2F%EF%BC%8Fevil.example", 302, fallback);
        row("header break further on", "%2Fme%0D%0ASet-Cookie%3A%20a%3Db", 302, fallback);
        row("backslash further on", "%2Fme%5C..%5Cx", 302, fallback);
        row("non-ASCII further on", "%2Fme%C3%A9", 302, fallback);
        const QString email = "alice@example.com", password = "alice-pass";
        row("other origin", own, 403, {}, email, password, "Origin", "http://evil.example");
        row("opaque origin", own, 403, {}, email, password, "Origin", "null");
        row("other referer", own, 403, {}, email, password, "Referer", "http://evil.example/page");
        row("same origin", own, 302, ownPath, email, password, "Origin", "SELF");
    }

    void signInForm()
    {
        QFETCH(QString, email);
        QFETCH(QString, password);
        QFETCH(QByteArray, redirectTo);
        QFETCH(QByteArray, header);
        QFETCH(QByteArray, value);
        QFETCH(int, status);
        QFETCH(QByteArray, location);
        Headers headers;
        if (!header.isEmpty())
            headers.insert(header, value == "SELF" ? m_server.baseUrl().toString().toUtf8() : value);
        const Reply reply = postForm("/auth/login?redirectTo=" + QString::fromLatin1(redirectTo),
            form({ { "email", email }, { "password", password } }), headers);
        QCOMPARE(reply.status, status);
        QCOMPARE(reply.headers.value("location"), location);
        QCOMPARE(reply.headers.contains("set-cookie"), status == 302);
        if (status == 401) {
            QVERIFY(reply.body.contains("not right"));
            QVERIFY(reply.body.contains("action=\"/auth/login?redirectTo=" + redirectTo + "\""));
        }
    }

    // The admin routes create users and switch faults: a cross-site request
    // (even one whose DNS now points at loopback) must not reach them.
    void adminRoutesAreGuarded_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("token");
        QTest::addColumn<QByteArray>("host");
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<int>("status");
        const auto row = [](const char *name, const QByteArray &method, const QString &path, const QByteArray &token,
                             int status, const QByteArray &host = {}, const QByteArray &type = "application/json") {
            QTest::newRow(name) << method << path << token << host << type << status;
        };
        row("all right", "GET", "/admin/faults", "ADMIN", 200);
        row("no token", "GET", "/admin/faults", {}, 401);
        row("a user's token", "GET", "/admin/faults", "USER", 401);
        row("rebound host name", "POST", "/admin/users", "ADMIN", 404, "evil.example");
        row("form body", "POST", "/admin/users", "ADMIN", 415, {}, "application/x-www-form-urlencoded");
        row("plain text body", "PUT", "/admin/faults", "ADMIN", 415, {}, "text/plain");
        row("wrong method", "POST", "/admin/faults", "ADMIN", 404);
    }

    void adminRoutesAreGuarded()
    {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(QByteArray, token);
        QFETCH(QByteArray, host);
        QFETCH(QByteArray, contentType);
        QFETCH(int, status);
        Headers headers { { "Content-Type", contentType } };
        if (!token.isEmpty())
            headers.insert("Authorization", "Bearer " + (token == "ADMIN" ? m_server.adminToken() : m_token).toUtf8());
        if (!host.isEmpty())
            headers.insert("Host", host + ":" + QByteArray::number(m_server.port()));
        const QByteArray body = method == "GET" ? QByteArray()
            : path.endsWith("users") ? QByteArray("{\"email\":\"intruder@example.com\",\"password\":\"pass1\"}")
                                     : QByteArray("{\"faults\":\"api.500json=1\"}");
        QCOMPARE(m_server.request(method, path, body, headers).status, status);
        // Nothing was changed by a refused request.
        QCOMPARE(m_server.api("GET", "/v1/users/me", m_token).status, 200);
    }

    void adminRoutesNeedTheFlag()
    {
        ReferenceServer server;
        ReferenceServer::Options options;
        options.admin = false;
        QVERIFY2(server.start(options), qPrintable(server.errorString()));
        QVERIFY(server.addUser("a@example.com", "a-pass", "a").isEmpty());
        QVERIFY(!QFile::exists(server.dataDir() + "/admin-token"));
    }

    // A custom domain that is the service's own name used to take over its
    // host: API requests went to the profile's share pages.
    void customDomainsCannotBeTheServicesOwn_data()
    {
        QTest::addColumn<QString>("domain");
        QTest::addColumn<int>("status");
        QTest::newRow("listen address") << "127.0.0.1" << 400;
        QTest::newRow("web domain") << "localhost" << 400;
        QTest::newRow("below the web domain") << "files.localhost" << 400;
        QTest::newRow("another address") << "10.1.2.3" << 400;
        QTest::newRow("a name of one's own") << "files.carol.example" << 200;
    }

    void customDomainsCannotBeTheServicesOwn()
    {
        QFETCH(QString, domain);
        QFETCH(int, status);
        static int account = 0;
        const QString name = QStringLiteral("carol%1").arg(++account);
        const Reply reply = m_server.admin("POST", "/admin/users",
            { { "email", name + "@example.com" }, { "password", "carol-pass" }, { "profile", name },
                { "customDomain", domain } });
        QCOMPARE(reply.status, status);
        QCOMPARE(m_server.api("GET", "/v1/users/me", m_token).status, 200);
        QCOMPARE(m_server.request("GET", "/auth/login").status, 200);
    }

    // Wrong passwords are limited per client address and per account; the
    // right password does not help once the limit is reached.
    void failedSignInsAreLimited()
    {
        m_server.addUser("target@example.com", "target-pass", "target");
        m_server.addUser("other@example.com", "other-pass", "other");
        auto signIn = [&](const QByteArray &client, const QString &email, const QString &password) {
            return postForm("/auth/login", form({ { "email", email }, { "password", password } }),
                { { "X-Forwarded-For", "192.0.2.9, " + client } })
                .status;
        };
        for (int i = 0; i < 10; ++i)
            QCOMPARE(signIn("10.0.0.1", "target@example.com", QString("guess-%1").arg(i)), 401);
        const Reply refused
            = postForm("/auth/login", form({ { "email", "target@example.com" }, { "password", "target-pass" } }),
                { { "X-Forwarded-For", "10.0.0.1" } });
        QCOMPARE(refused.status, 429);
        QVERIFY(refused.headers.value("retry-after").toInt() > 0);
        QVERIFY(!refused.headers.contains("set-cookie"));
        QCOMPARE(signIn("10.0.0.2", "target@example.com", "target-pass"), 429); // the account, from elsewhere
        QCOMPARE(signIn("10.0.0.1", "other@example.com", "other-pass"), 429); // the address, for another account
        QCOMPARE(signIn("10.0.0.3", "other@example.com", "other-pass"), 302);
        // Failures count for fifteen minutes.
        QVERIFY(m_server.setClockOffset(15 * 60));
        QCOMPARE(signIn("10.0.0.1", "target@example.com", "target-pass"), 302);
        QVERIFY(m_server.setClockOffset(0));
    }

    // A browser session is not an API token and an API token is not a
    // session; the app's tokens are listed on the web page and revoked there.
    void sessionsAndApiTokensAreSeparateAndRevocable()
    {
        const Reply login = postForm(
            "/auth/login?redirectTo=app", form({ { "email", "alice@example.com" }, { "password", "alice-pass" } }));
        QCOMPARE(login.status, 302);
        const QByteArray cookie = sessionCookie(login);
        const QString session = QString::fromUtf8(cookie.mid(cookie.indexOf('=') + 1));
        const QUrl location(QString::fromUtf8(login.headers.value("location")));
        QCOMPARE(location.scheme(), "tessly-test"); // the scheme the service was started with
        QCOMPARE(QUrlQuery(location).queryItemValue("domain"), "alice");
        const QString appToken = QUrlQuery(location).queryItemValue("token", QUrl::FullyDecoded);
        QVERIFY(!m_server.serverLog().contains(appToken));
        QCOMPARE(m_server.api("GET", "/v1/users/me", session).status, 401);
        QCOMPARE(
            m_server.request("GET", "/me", {}, { { "Cookie", "tessly_session=" + appToken.toUtf8() } }).status, 302);
        QCOMPARE(m_server.api("GET", "/v1/users/me", appToken).status, 200);

        const Headers signedIn { { "Cookie", cookie } };
        const QByteArray page = m_server.request("GET", "/me", {}, signedIn).body;
        QVERIFY(page.contains("Signed-in apps"));
        const QRegularExpression idField("name=\"id\" value=\"([0-9a-f]{16})\"");
        auto ids = idField.globalMatch(QString::fromUtf8(page));
        int revoked = 0;
        while (ids.hasNext()) {
            const QString id = ids.next().captured(1);
            QCOMPARE(postForm("/me/tokens/revoke", form({ { "id", id } }), signedIn).status, 303);
            ++revoked;
        }
        QVERIFY(revoked >= 2); // the fixture's token and this sign-in's
        QCOMPARE(m_server.api("GET", "/v1/users/me", appToken).status, 401);
        QCOMPARE(m_server.api("GET", "/v1/users/me", m_token).status, 401);
        QCOMPARE(postForm("/me/tokens/revoke", form({ { "id", "0123456789abcdef" } }), signedIn).status, 404);
        // A session lasts thirty days.
        QVERIFY(m_server.setClockOffset(30 * 24 * 3600 - 60));
        QCOMPARE(m_server.request("GET", "/me", {}, signedIn).status, 200);
        QVERIFY(m_server.setClockOffset(30 * 24 * 3600 + 60));
        QCOMPARE(m_server.request("GET", "/me", {}, signedIn).status, 302);
        QVERIFY(m_server.setClockOffset(0));
    }
};

QTEST_GUILESS_MAIN(ServerWebTest)
#include "tst_server_web.moc"
