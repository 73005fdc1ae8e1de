// What survives a restart, the command line scripts rely on, HTTPS, and the
// request log's discretion about secrets.
#include "referenceserver.h"

#include <QDirIterator>
#include <QProcess>
#include <QSslSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

namespace {

struct Run
{
    int exitCode = -1;
    QByteArray out, err;
};

Run runServer(const QStringList &arguments)
{
    QProcess process;
    process.start(qEnvironmentVariable("TESSLY_SERVER_BIN"), arguments);
    process.waitForFinished(30000);
    return { process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError() };
}

} // namespace

class ServerDurabilityTest : public QObject
{
    Q_OBJECT

private:
    using Reply = ReferenceServer::Reply;

private slots:
    void restartKeepsAccountsFilesLinksAndOpenUploads()
    {
        ReferenceServer server;
        ReferenceServer::Options options;
        options.partSize = 1024;
        QVERIFY2(server.start(options), qPrintable(server.errorString()));
        const QString token = server.addUser("alice@example.com", "alice-pass", "alice");
        const QJsonObject file = server.upload(token, "alice", "keep.txt", "text/plain", "kept bytes");
        const QJsonObject link = server
                                     .api("POST", "/v1/links/alice", token,
                                         { { "payload", QJsonObject { { "content", "https://a.example" } } } })
                                     .json();
        ReferenceServer::Multipart upload = server.initiateMultipart(token, "alice", QByteArray(2048 + 7, 'm'));
        const QString part1 = server.partUrl(upload, 1);
        const QByteArray etag1 = server.request("PUT", part1, upload.bytes.left(1024)).headers.value("etag");

        const QUrl before = server.baseUrl();
        QVERIFY2(server.restart(), qPrintable(server.errorString()));
        QCOMPARE(server.api("GET", "/v1/users/me", token).status, 200);
        QCOMPARE(server.api("GET", "/v1/files/alice/" + file["code"].toString(), token).json()["size"].toInt(), 10);
        QCOMPARE(server.request("GET", "/l/" + link["slug"].toString()).headers.value("location"),
            QByteArray("https://a.example"));
        // A URL handed out before the restart still works (the new process has
        // a port of its own; the URL names the old one in its Host), and so
        // does the upload it belongs to.
        QUrl oldPart1(part1);
        oldPart1.setPort(server.port());
        const QByteArray oldHost = QStringLiteral("%1:%2").arg(before.host()).arg(before.port()).toUtf8();
        QCOMPARE(server.request("PUT", oldPart1.toString(), upload.bytes.left(1024), { { "Host", oldHost } })
                     .headers.value("etag"),
            etag1);
        upload.etags[1] = etag1; // sent before the restart
        QCOMPARE(server.putPart(upload, 2, upload.bytes.mid(1024, 1024)).status, 200);
        QCOMPARE(server.putPart(upload, 3, upload.bytes.mid(2048)).status, 200);
        const Reply done = server.complete(upload, upload.partList());
        QCOMPARE(done.status, 200);
        QCOMPARE(done.json()["size"].toInteger(), upload.bytes.size());
        // Item numbers keep growing across restarts.
        const QJsonObject later
            = server.api("POST", "/v1/folders/alice", token, { { "payload", QJsonObject { { "name", "after" } } } })
                  .json();
        QVERIFY(later["item"].toInteger() > file["item"].toInteger());
    }

    // With umask 022 the data folder used to be world-readable: the store's
    // signing secret, password hashes, the TLS key.
    void dataFolderIsTheServiceUsersAlone()
    {
        ReferenceServer server;
        ReferenceServer::Options options;
        options.tls = true;
        const mode_t previous = ::umask(022);
        const bool started = server.start(options);
        ::umask(previous);
        QVERIFY2(started, qPrintable(server.errorString()));
        const QString token = server.addUser("modes@example.com", "modes-pass", "modes");
        QVERIFY2(!server.upload(token, "modes", "a.txt", "text/plain", "private").isEmpty(),
            qPrintable(server.errorString()));

        QStringList paths { server.dataDir() }, seen;
        QDirIterator it(
            server.dataDir(), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        while (it.hasNext())
            paths << it.next();
        for (const QString &path : paths) {
            struct stat info
            {
            };
            QCOMPARE(::stat(QFile::encodeName(path).constData(), &info), 0);
            QVERIFY2((info.st_mode & 077) == 0, qPrintable(path + " is open to others"));
            seen << QFileInfo(path).fileName();
        }
        for (const char *name : { "tessly.sqlite", "admin-token", "key.pem", "cert.pem" })
            QVERIFY2(seen.contains(name), name);
    }

    void addUserPrintsTheTokenAlone()
    {
        QTemporaryDir dir;
        const Run run = runServer({ "add-user", "--data", dir.path(), "--email", "cli@example.com", "--password",
            "cli-pass", "--profile", "cli", "--custom-domain", "Files.Cli.Example" });
        QCOMPARE(run.exitCode, 0);
        const QByteArray token = run.out.trimmed();
        QVERIFY(!token.isEmpty());
        QCOMPARE(run.out, token + "\n");
        QVERIFY(!token.contains(' '));

        const Run again = runServer({ "add-user", "--data", dir.path(), "--email", "cli@example.com", "--password",
            "other", "--profile", "cli2" });
        QCOMPARE(again.exitCode, 1);
        QVERIFY(again.out.isEmpty());
        QVERIFY(again.err.contains("already exists"));
    }

    void badCommandLinesAreExplained_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("message");
        const auto row = [](const char *name, const QString &arguments, const QByteArray &message) {
            QTest::newRow(name) << arguments.split(' ') << message;
        };
        row("unknown command", "launch", "unknown command");
        row("no data folder", "serve --listen 127.0.0.1:0", "--data");
        row("remote without consent", "serve --data /tmp/x --listen 0.0.0.0:0", "--allow-remote");
        row("bad port", "serve --data /tmp/x --listen 127.0.0.1:99999", "port");
        row("bad part size", "serve --data /tmp/x --part-size 0", "--part-size");
        row("cert without key", "serve --data /tmp/x --tls-cert c.pem", "--tls-key");
        row("bad faults", "serve --data /tmp/x --listen 127.0.0.1:0 --faults put.boom=1", "unknown fault");
        row("invalid profile", "add-user --data /tmp/x --email a@b.c --password pass --profile ../etc", "profile name");
    }

    void badCommandLinesAreExplained()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, message);
        const Run run = runServer(arguments);
        QVERIFY(run.exitCode == 1 || run.exitCode == 2);
        QVERIFY2(run.err.contains(message), run.err.constData());
        QVERIFY(!run.out.startsWith("listening"));
    }

    void requestLogLeavesSecretsOut()
    {
        ReferenceServer server;
        QVERIFY2(server.start(), qPrintable(server.errorString()));
        const QString token = server.addUser("log@example.com", "log-pass", "logger");
        const QString url = server.presign(token, "logger", "a")["url"].toString();
        QCOMPARE(server.request("PUT", url, "x").status, 200);
        const QString signature = QUrlQuery(QUrl(url)).queryItemValue("X-Amz-Signature");
        QVERIFY(!signature.isEmpty());
        QTRY_VERIFY(server.serverLog().contains("PUT /store/logger/"));
        const QString log = server.serverLog();
        QVERIFY(log.contains("X-Amz-Signature=REDACTED"));
        QVERIFY(!log.contains(signature));
        QVERIFY(!log.contains(token));
        QVERIFY(!log.contains("Bearer"));
        QVERIFY(log.contains("GET /v1/users/me") || log.contains("POST /v1/files/logger 200"));
    }

    void httpsWithASelfSignedCertificate()
    {
        if (!QSslSocket::supportsSsl())
            QSKIP("Qt has no TLS back-end here");
        ReferenceServer server;
        ReferenceServer::Options options;
        options.tls = true;
        QVERIFY2(server.start(options), qPrintable(server.errorString()));
        QCOMPARE(server.baseUrl().scheme(), "https");
        QVERIFY(QFile::exists(server.caCertificatePath()));
        const QString token = server.addUser("tls@example.com", "tls-pass", "secure");
        QVERIFY2(!token.isEmpty(), qPrintable(server.errorString()));
        const QJsonObject file = server.upload(token, "secure", "a.txt", "text/plain", "over tls");
        QVERIFY(file["url"].toString().startsWith("https://127.0.0.1:"));
        QVERIFY(file["shareUrl"].toString().startsWith("https://secure.localhost:"));
        // The same certificate is used again after a restart.
        auto certificate = [&] {
            QFile pem(server.caCertificatePath());
            return pem.open(QIODevice::ReadOnly) ? pem.readAll() : QByteArray();
        };
        const QByteArray before = certificate();
        QVERIFY(server.restart());
        QCOMPARE(certificate(), before);
        QCOMPARE(server.api("GET", "/v1/files/secure/" + file["code"].toString(), token).status, 200);
    }
};

QTEST_GUILESS_MAIN(ServerDurabilityTest)
#include "tst_server_durability.moc"
