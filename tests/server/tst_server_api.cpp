// The JSON API as the desktop client uses it: answers' shapes, listings and
// their filters, and clear errors for bad input.
#include "referenceserver.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QSet>
#include <QtTest>

class ServerApiTest : public QObject
{
    Q_OBJECT

private:
    ReferenceServer m_server;
    QString m_alice, m_bob;

    using Reply = ReferenceServer::Reply;

    QJsonObject presign(const QString &name, const QString &mime, const QJsonObject &extra = {})
    {
        return m_server.presign(m_alice, "alice", name, mime, extra);
    }

    // Presigns and sends the bytes: the file then counts as stored.
    QJsonObject upload(const QString &name, const QString &mime, const QByteArray &bytes, const QJsonObject &extra = {})
    {
        return m_server.upload(m_alice, "alice", name, mime, bytes, extra);
    }

    QJsonArray items(const QString &path, const QString &token)
    {
        const Reply reply = m_server.api("GET", path, token);
        if (reply.status != 200)
            qWarning() << path << reply.status << reply.body;
        return reply.json()["items"].toArray();
    }

private slots:
    void initTestCase()
    {
        QVERIFY2(m_server.start(), qPrintable(m_server.errorString()));
        m_alice = m_server.addUser("alice@example.com", "alice-pass", "alice");
        m_bob = m_server.addUser("bob@example.com", "bob-pass", "bob", "share.bob.example");
        QVERIFY(!m_alice.isEmpty() && !m_bob.isEmpty());
    }

    // The e-mail and the profile's domain are read through the client
    // (tst_api) and after a sign-in (tst_server_web); a custom domain only here.
    void profilesCarryTheirCustomDomain()
    {
        const QJsonObject bob = m_server.api("GET", "/v1/users/me", m_bob).json()["profiles"][0].toObject();
        QCOMPARE(bob["customDomain"].toString(), "share.bob.example");
        QVERIFY(
            !m_server.api("GET", "/v1/users/me", m_alice).json()["profiles"][0].toObject().contains("customDomain"));
    }

    void presignAnswersUrlAndFileRecord()
    {
        const QJsonObject file
            = presign("Screen Shot on 2024-01-02 at 10-11-12.png", "image/png", { { "order", "3" } });
        QCOMPARE(file["domain"].toString(), "alice"); // type and order: tst_apiupload reads them back
        QVERIFY(file["item"].toInteger() > 1600000000000);
        QVERIFY(QRegularExpression("^[A-Za-z0-9_-]{17}$").match(file["code"].toString()).hasMatch());
        QVERIFY(file["thumbnailUrl"].toString().endsWith("/thumbnail"));
        QVERIFY(!file.contains("customDomain"));
    }

    void oneFileIsAMissingObjectUntilItsBytesArrive()
    {
        const QJsonObject file = presign("later.txt", "text/plain");
        const QString path = "/v1/files/alice/" + file["code"].toString();
        // Not JSON: a client waiting for the file takes any JSON answer as the file.
        const Reply before = m_server.api("GET", path, m_alice);
        QCOMPARE(before.status, 404);
        QVERIFY(QJsonDocument::fromJson(before.body).isNull());
        QVERIFY(before.body.contains("<Code>NoSuchKey</Code>"));
        QCOMPARE(m_server.request("PUT", file["url"].toString(), "text").status, 200);
        const Reply after = m_server.api("GET", path, m_alice);
        QCOMPARE(after.status, 200);
        QCOMPARE(after.json()["size"].toInt(), 4);
        QCOMPARE(after.json()["viewCount"].toInt(), 0);
        QCOMPARE(m_server.api("GET", path, m_bob).status, 403);
        // Only the code names a file; the internal number does not.
        const Reply byNumber
            = m_server.api("GET", "/v1/files/alice/" + QString::number(file["item"].toInteger()), m_alice);
        QCOMPARE(byNumber.status, 404);
        QVERIFY(QJsonDocument::fromJson(byNumber.body).isNull());
    }

    void codesAreRandomAndUnrelatedToItems()
    {
        // Items made in one burst have neighbouring numbers; their codes share nothing that follows them.
        QSet<QString> codes;
        QSet<QChar> firstCharacters;
        for (int i = 0; i < 40; ++i) {
            const QString code = presign("burst.txt", "text/plain")["code"].toString();
            codes.insert(code);
            firstCharacters.insert(code.at(0));
        }
        QCOMPARE(codes.size(), 40);
        QVERIFY(firstCharacters.size() > 10); // 40 draws from 64 letters
    }

    void itemNumbersAreUniqueAndListingsNewestFirst()
    {
        QList<qint64> made;
        for (int i = 0; i < 5; ++i)
            made << upload(QString("burst-%1.txt").arg(i), "text/plain", "x")["item"].toInteger();
        for (int i = 1; i < made.size(); ++i)
            QVERIFY(made[i] > made[i - 1]);
        const QJsonArray listed = items("/v1/files/alice?type=user&count=3", m_alice);
        QCOMPARE(listed.size(), 3);
        QCOMPARE(listed[0]["item"].toInteger(), made[4]);
        QCOMPARE(listed[2]["item"].toInteger(), made[2]);
        QCOMPARE(m_server.api("GET", "/v1/files/alice?count=3", m_alice).json()["count"].toInt(), 3);
    }

    void listingsFilterByKind()
    {
        const QJsonObject doc = upload("notes.md", "text/markdown", "# hi");
        const QJsonObject folder
            = m_server.api("POST", "/v1/folders/alice", m_alice, { { "payload", QJsonObject { { "name", "Trip" } } } })
                  .json();
        const QJsonObject child = upload("in-folder.png", "image/png", "png",
            { { "parentItem", "alice/" + QString::number(folder["item"].toInteger()) } });
        presign("never-sent.png", "image/png");

        const QJsonArray files = items("/v1/files/alice?type=user&count=50", m_alice);
        QStringList names, mimes;
        for (const auto &value : files) {
            names << value.toObject()["name"].toString();
            mimes << value.toObject()["mimeType"].toString();
        }
        QVERIFY(names.contains("Trip")); // folders come with the files...
        QVERIFY(mimes.contains("tessly/folder"));
        QVERIFY(names.contains("notes.md"));
        QVERIFY(!names.contains("never-sent.png")); // ...files without bytes do not

        const QJsonArray docs = items("/v1/files/alice?mimeType=text/markdown&count=12", m_alice);
        QCOMPARE(docs.size(), 1);
        QCOMPARE(docs[0]["item"].toInteger(), doc["item"].toInteger());

        const QJsonArray folders = items("/v1/folders/alice?type=user&count=12", m_alice);
        QCOMPARE(folders.size(), 1);
        QCOMPARE(folders[0]["mimeType"].toString(), "tessly/folder");
        QVERIFY(!folders[0].toObject().contains("size"));

        const QString inside
            = "/v1/files/alice?count=12&parentItem=alice/" + QString::number(folder["item"].toInteger());
        const QJsonArray contents = items(inside, m_alice);
        QCOMPARE(contents.size(), 1);
        QCOMPARE(contents[0]["item"].toInteger(), child["item"].toInteger());
        QCOMPARE(contents[0]["parentItem"].toString(), "alice/" + QString::number(folder["item"].toInteger()));
    }

    void folderAnswerCarriesWhatTheClientReads()
    {
        const QJsonObject parent
            = m_server.api("POST", "/v1/folders/bob", m_bob, { { "payload", QJsonObject { { "name", "Outer" } } } })
                  .json();
        const Reply reply = m_server.api("POST", "/v1/folders/bob", m_bob,
            { { "payload",
                QJsonObject { { "name", "Upload 2024-01-02 at 10.11.12" },
                    { "parentItem", "bob/" + QString::number(parent["item"].toInteger()) }, { "order", 0 } } } });
        QCOMPARE(reply.status, 200);
        const QJsonObject folder = reply.json();
        QCOMPARE(folder["domain"].toString(), "bob");
        QCOMPARE(folder["customDomain"].toString(), "share.bob.example");
        QVERIFY(!folder["code"].toString().isEmpty());
        QVERIFY(folder["item"].toInteger() > parent["item"].toInteger());
        QCOMPARE(folder["order"].toString(), "0");
        QVERIFY(folder["shareUrl"].toString().startsWith("http://share.bob.example/"));
    }

    // Every refusal, whatever its cause (no or a wrong token, another's
    // profile, bad input), is a clear JSON error and leaves nothing half-made.
    void refusalsAreClearErrors_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("authorization");
        const QByteArray alice = "Bearer " + m_alice.toUtf8();
        const auto row = [&](const char *name, const char *method, const QString &path, const QByteArray &body,
                             int status, const QByteArray &authorization = {}) {
            QTest::newRow(name) << QByteArray(method) << path << body << status
                                << (authorization.isNull() ? alice : authorization);
        };
        row("no token", "GET", "/v1/users/me", {}, 401, "");
        row("wrong token", "GET", "/v1/users/me", {}, 401, "Bearer nope");
        row("not bearer", "GET", "/v1/files/alice", {}, 401, "Basic " + m_alice.toUtf8());
        row("empty bearer on a listing", "GET", "/v1/links/alice?count=12", {}, 401, "Bearer ");
        row("another's profile", "GET", "/v1/profiles/bob", {}, 403);
        row("unknown profile", "GET", "/v1/profiles/nobody", {}, 404);
        row("another's files", "GET", "/v1/files/bob?type=user&count=12", {}, 403);
        row("link for another", "POST", "/v1/links/bob", "{\"payload\":{\"content\":\"https://x.org\"}}", 403);
        row("unknown profile's folders", "GET", "/v1/folders/ghost?type=user&count=12", {}, 404);
        const QString files = "/v1/files/alice";
        row("malformed json", "POST", files, "{\"name\":", 400);
        row("array body", "POST", files, "[1]", 400);
        row("missing name", "POST", files, "{\"mimeType\":\"image/png\"}", 400);
        row("name not a string", "POST", files, "{\"name\":5}", 400);
        row("oversized name", "POST", files, "{\"name\":\"" + QByteArray(300, 'a') + ".png\"}", 400);
        row("traversal in name", "POST", files, "{\"name\":\"../../etc/passwd\"}", 400);
        row("dot-dot name", "POST", files, "{\"name\":\"..\"}", 400);
        row("bad mime", "POST", files, "{\"name\":\"a\",\"mimeType\":\"png\"}", 400);
        row("unknown parent", "POST", files, "{\"name\":\"a\",\"parentItem\":\"alice/123\"}", 404);
        row("parent of other profile", "POST", files, "{\"name\":\"a\",\"parentItem\":\"bob/1\"}", 400);
        row("unknown type", "POST", files, "{\"name\":\"a\",\"type\":\"resumable\"}", 400);
        row("multipart without size", "POST", files, "{\"name\":\"a\",\"type\":\"multipart\"}", 400);
        row("negative size", "POST", files, "{\"name\":\"a\",\"type\":\"multipart\",\"size\":-1}", 400);
        row("link without payload", "POST", "/v1/links/alice", "{\"content\":\"https://a.b\"}", 400);
        row("link not http", "POST", "/v1/links/alice", "{\"payload\":{\"content\":\"javascript:alert(1)\"}}", 400);
        row("folder with slash", "POST", "/v1/folders/alice", "{\"payload\":{\"name\":\"a/b\"}}", 400);
        row("order as object", "POST", "/v1/folders/alice", "{\"payload\":{\"name\":\"a\",\"order\":{}}}", 400);
        row("count out of range", "GET", "/v1/files/alice?count=0", {}, 400);
        row("unknown type filter", "GET", "/v1/folders/alice?type=team", {}, 400);
        row("unknown endpoint", "GET", "/v1/nothing", {}, 404);
    }

    void refusalsAreClearErrors()
    {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        QFETCH(QByteArray, authorization);
        QMap<QByteArray, QByteArray> headers { { "Content-Type", "application/json" } };
        if (!authorization.isEmpty())
            headers.insert("Authorization", authorization);
        const Reply reply = m_server.request(method, path, body, headers);
        QCOMPARE(reply.status, status);
        QVERIFY2(!reply.json()["message"].toString().isEmpty(), reply.body.constData());
        if (status == 401)
            QCOMPARE(reply.json()["error"].toString(), "Unauthorized");
        // Nothing was half-made: the service still answers normally.
        QCOMPARE(m_server.api("GET", "/v1/users/me", m_alice).status, 200);
    }
};

QTEST_GUILESS_MAIN(ServerApiTest)
#include "tst_server_api.moc"
