// Limits that keep the service up for everyone: bodies it would have to hold
// in memory, and connections that are opened and then left hanging.
#include "referenceserver.h"

#include <QHostAddress>
#include <QTcpSocket>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

constexpr int kPerAddress = 20;

// A raw connection from a chosen loopback address, for what Qt's HTTP
// client will not send: chunked bodies and requests that never finish.
std::unique_ptr<QTcpSocket> connectFrom(const QString &source, quint16 port)
{
    auto socket = std::make_unique<QTcpSocket>();
    if (!socket->bind(QHostAddress(source)))
        return nullptr;
    socket->connectToHost(QHostAddress::LocalHost, port);
    return socket;
}

} // namespace

class ServerLimitsTest : public QObject
{
    Q_OBJECT

private:
    using Reply = ReferenceServer::Reply;
    ReferenceServer m_server;
    QString m_token;

private slots:
    void initTestCase()
    {
        ReferenceServer::Options options;
        options.extraArguments
            = { "--max-connections-per-address", QString::number(kPerAddress), "--read-timeout", "15" };
        QVERIFY2(m_server.start(options), qPrintable(m_server.errorString()));
        m_token = m_server.addUser("alice@example.com", "alice-pass", "alice");
    }

    // A chunked body has no length to check: it is refused before it is read,
    // where it used to be buffered whole (a 300 MB body cost 800 MB).
    void chunkedBodiesAreRefusedUnread_data()
    {
        QTest::addColumn<QByteArray>("requestLine");
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("api") << QByteArray("POST /v1/files/alice HTTP/1.1") << QByteArray("LengthRequired");
        QTest::newRow("sign-up form") << QByteArray("POST /get-started HTTP/1.1") << QByteArray("Length required");
        QTest::newRow("object PUT") << QByteArray("PUT /store/alice/1 HTTP/1.1") << QByteArray("MissingContentLength");
    }

    void chunkedBodiesAreRefusedUnread()
    {
        QFETCH(QByteArray, requestLine);
        QFETCH(QByteArray, answer);
        auto socket = connectFrom("127.0.0.1", quint16(m_server.port()));
        QVERIFY(socket && socket->waitForConnected(10000));
        socket->write(requestLine + "\r\nHost: 127.0.0.1\r\nAuthorization: Bearer " + m_token.toUtf8()
            + "\r\nContent-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n100000\r\n"
            + QByteArray(64 * 1024, 'x'));
        // The answer comes while most of the announced megabyte is still unsent.
        QByteArray received;
        QTRY_VERIFY_WITH_TIMEOUT(
            (received += socket->readAll()).contains("\r\n\r\n") && received.contains(answer), 20000);
        QVERIFY2(received.startsWith("HTTP/1.1 411"), received.constData());
    }

    void oversizedBodiesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("status");
        QTest::newRow("JSON over 1 MiB") << QByteArray("POST") << "/v1/links/alice" << (1 << 20) + 1 << 413;
        QTest::newRow("JSON at 1 MiB") << QByteArray("POST") << "/v1/links/alice" << (1 << 20) << 400;
        QTest::newRow("sign-in form over 8 KiB") << QByteArray("POST") << "/auth/login" << (8 << 10) + 1 << 413;
        QTest::newRow("sign-in form at 8 KiB") << QByteArray("POST") << "/auth/login" << (8 << 10) << 401;
    }

    void oversizedBodiesAreRefused()
    {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(int, size);
        QFETCH(int, status);
        const Reply reply = m_server.request(method, path, QByteArray(size, ' '),
            { { "Authorization", "Bearer " + m_token.toUtf8() },
                { "Content-Type",
                    path.startsWith("/v1/") ? "application/json" : "application/x-www-form-urlencoded" } });
        QCOMPARE(reply.status, status);
        QCOMPARE(m_server.api("GET", "/v1/users/me", m_token).status, 200);
    }

    // Sockets that send half a request: one address gets its share of
    // connections and no more, and the ones it holds do not keep anyone
    // else waiting (they used to hold all 64 threads for a minute).
    void slowConnectionsDoNotBlockOthers()
    {
        const QByteArray halfRequest = "GET /v1/users/me HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ";
        std::vector<std::unique_ptr<QTcpSocket>> greedy, spread;
        for (int i = 0; i < 300; ++i)
            greedy.push_back(connectFrom("127.0.0.2", quint16(m_server.port())));
        for (int address = 3; address < 8; ++address)
            for (int i = 0; i < kPerAddress; ++i)
                spread.push_back(connectFrom(QStringLiteral("127.0.0.%1").arg(address), quint16(m_server.port())));
        for (auto *sockets : { &greedy, &spread })
            for (auto &socket : *sockets) {
                QVERIFY(socket);
                QVERIFY(socket->waitForConnected(10000));
                socket->write(halfRequest);
                socket->flush();
            }
        auto open = [](const std::vector<std::unique_ptr<QTcpSocket>> &sockets) {
            return std::count_if(sockets.begin(), sockets.end(),
                [](const auto &socket) { return socket->state() == QAbstractSocket::ConnectedState; });
        };
        // Past its share, an address's connections are closed at once.
        QTRY_COMPARE_WITH_TIMEOUT(open(greedy), kPerAddress, 20000);

        const Reply normal = m_server.api("GET", "/v1/users/me", m_token);
        QCOMPARE(normal.status, 200);
        // ...and it was answered while every admitted slow socket still held its connection.
        QCOMPARE(open(greedy), kPerAddress);
        QCOMPARE(open(spread), 5 * kPerAddress);

        // A request that stops sending is dropped after the read time-out.
        QTRY_COMPARE_WITH_TIMEOUT(open(greedy) + open(spread), 0, 60000);
        QCOMPARE(m_server.api("GET", "/v1/users/me", m_token).status, 200);
    }
};

QTEST_GUILESS_MAIN(ServerLimitsTest)
#include "tst_server_limits.moc"
