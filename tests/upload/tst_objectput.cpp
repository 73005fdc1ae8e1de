// The object-store PUT on its own: how every way of failing is reported, the
// trusted certificate, aborts and the cap on connections. What reaches the
// store through it is checked where the client sends it (tst_apiupload). Each failure has a real cause on
// this machine (a closed port, a name that cannot resolve, a peer that hangs
// up or never answers, TLS spoken to a plain port, a self-signed certificate,
// a file that shrinks while it is sent).

#include "curlsession.h"
#include "loopbackpeer.h"
#include "referenceserver.h"
#include "testfiles.h"
#include "transporterror.h"

#include <QFile>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Outcome
{
    bool finished = false;
    int finishedCount = 0;
    QList<qint64> progress;
    int status = 0;
    QByteArray body;
    QByteArray etag;
    Error error;
};

// Runs one PUT on `session` to its end.
Outcome run(CurlSession &session, ObjectPut::Request request, int timeoutMs = 20000)
{
    Outcome outcome;
    ObjectPut *put = session.put(std::move(request));
    QObject::connect(
        put, &ObjectPut::uploadProgress, put, [&outcome](qint64 sent, qint64) { outcome.progress << sent; });
    QObject::connect(put, &ObjectPut::finished, put, [&outcome, put] {
        ++outcome.finishedCount;
        outcome.finished = true;
        outcome.status = put->status();
        outcome.body = put->responseBody();
        outcome.etag = put->rawHeader("etag");
        outcome.error = put->error();
        put->deleteLater();
    });
    // Until the transfer is gone: a second finished() would come before that.
    bool gone = false;
    QObject::connect(put, &QObject::destroyed, [&gone] { gone = true; });
    (void)QTest::qWaitFor([&gone] { return gone; }, timeoutMs);
    return outcome;
}

ObjectPut::Request bytesTo(const QString &url, const QByteArray &data)
{
    ObjectPut::Request request;
    request.url = QUrl(url);
    request.contentType = "application/octet-stream";
    request.data = data;
    return request;
}

} // namespace

class TestObjectPut : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    ReferenceServer m_plain;

private Q_SLOTS:
    void initTestCase() { QVERIFY2(m_plain.start(), qPrintable(m_plain.errorString())); }

    void serviceCertificateNamedInTheConfigurationIsTrusted()
    {
        ReferenceServer tls;
        ReferenceServer::Options options;
        options.tls = true;
        QVERIFY2(tls.start(options), qPrintable(tls.errorString()));
        const QString url = tls.baseUrl().toString() + QStringLiteral("/store/nobody/1?X-Amz-Signature=00");
        CurlSession session(4);
        qputenv("TESSLY_CA_FILE", tls.caCertificatePath().toLocal8Bit());
        const Outcome trusted = run(session, bytesTo(url, "x"));
        qunsetenv("TESSLY_CA_FILE");
        QVERIFY2(trusted.error.isNull(), qPrintable(trusted.error.toString()));
        QCOMPARE(trusted.status, 403); // an answer over TLS: the store refuses the made-up signature
        QCOMPARE(run(session, bytesTo(url, "x")).error.code, -1202); // and without it, untrusted
    }

    void realCausesMapToTheirRows_data()
    {
        QTest::addColumn<QString>("cause");
        QTest::addColumn<int>("code");
        QTest::newRow("closed port") << "closed" << -1004;
        QTest::newRow("unresolvable name") << "dns" << -1003;
        QTest::newRow("peer hangs up") << "drop" << -1005;
        QTest::newRow("peer never answers") << "silent" << -1001;
        QTest::newRow("TLS to a plain port") << "tls-plain" << -1200;
        QTest::newRow("self-signed certificate") << "self-signed" << -1202;
        QTest::newRow("file shrinks while sent") << "shrink" << -1102;
    }

    void realCausesMapToTheirRows()
    {
        QFETCH(QString, cause);
        QFETCH(int, code);
        if (cause == QLatin1String("dns") && TransportError::machineIsOffline())
            QSKIP("this machine has no network, so a failed lookup is reported as offline");

        const TransportCause setup(cause, m_plain);
        ObjectPut::Request request = bytesTo(setup.url(QStringLiteral("/store/x")), TestFiles::randomBytes(64 * 1024));
        if (cause == QLatin1String("silent"))
            request.idleTimeoutMs = 1000;
        CurlSession session(4);
        Outcome outcome;
        if (cause == QLatin1String("shrink")) {
            // The size is announced when the PUT is made; the file then loses
            // half of it before the first byte is read.
            LoopbackPeer sink;
            request.url = QStringLiteral("http://127.0.0.1:%1/store/x").arg(sink.port());
            request.file = std::make_shared<QFile>(
                TestFiles::random(m_dir.path(), QStringLiteral("shrinks.bin"), 4 * 1024 * 1024));
            QVERIFY(request.file->open(QIODevice::ReadOnly));
            ObjectPut *put = session.put(request);
            QVERIFY(QFile::resize(request.file->fileName(), 2 * 1024 * 1024));
            connect(put, &ObjectPut::finished, put, [&outcome, put] {
                ++outcome.finishedCount;
                outcome.finished = true;
                outcome.error = put->error();
            });
            QTRY_VERIFY_WITH_TIMEOUT(outcome.finished, 20000);
            QVERIFY2(outcome.error.localizedDescription.contains(QLatin1String("shrinks.bin")),
                qPrintable(outcome.error.localizedDescription));
            QCOMPARE(sink.requests().size(), 0); // the store never got a whole request
        } else {
            QVERIFY(request.url.isValid());
            outcome = run(session, request);
        }
        QVERIFY(outcome.finished);
        QCOMPARE(outcome.finishedCount, 1);
        QCOMPARE(outcome.error.domain, QStringLiteral("TesslyURLErrorDomain"));
        QCOMPARE(outcome.error.code, code);
        QVERIFY(!outcome.error.localizedDescription.isEmpty());
        QCOMPARE(outcome.status, 0);
        if (cause == QLatin1String("self-signed"))
            QVERIFY2(outcome.error.localizedDescription.contains(QLatin1String("self-signed")),
                qPrintable(outcome.error.localizedDescription));
    }

    void abortEndsOnceAsCancelledAndDeletingMidwayIsSafe()
    {
        LoopbackPeer silent(LoopbackPeer::Mode::Silent);
        CurlSession session(4);
        const QString url = QStringLiteral("http://127.0.0.1:%1/store/x").arg(silent.port());
        ObjectPut *put = session.put(bytesTo(url, TestFiles::randomBytes(1024)));
        int finishedCount = 0;
        connect(put, &ObjectPut::finished, put, [&finishedCount] { ++finishedCount; });
        QTRY_COMPARE(silent.connections(), 1);
        QCOMPARE(session.transfers(), QList<ObjectPut *> { put });
        put->abort();
        put->abort(); // a second abort changes nothing
        QCOMPARE(finishedCount, 1);
        QCOMPARE(put->error().code, -999);
        QCOMPARE(put->error().localizedDescription, QStringLiteral("cancelled"));
        QVERIFY(session.transfers().isEmpty());
        delete put;

        // A transfer deleted while it runs leaves the session working.
        ObjectPut *dropped = session.put(bytesTo(url, TestFiles::randomBytes(1024)));
        QTRY_COMPARE(silent.connections(), 2);
        delete dropped;
        QVERIFY(session.transfers().isEmpty());
        LoopbackPeer peer;
        const Outcome after = run(session, bytesTo(QStringLiteral("http://127.0.0.1:%1/s").arg(peer.port()), "after"));
        QCOMPARE(after.status, 200);
    }

    void connectionsPerHostAreCapped()
    {
        // Six PUTs to a peer that never answers, at most four connections:
        // the other two wait for a connection rather than open their own.
        LoopbackPeer silent(LoopbackPeer::Mode::Silent);
        CurlSession session(4);
        QList<ObjectPut *> puts;
        for (int i = 0; i < 6; ++i)
            puts << session.put(bytesTo(QStringLiteral("http://127.0.0.1:%1/store/%2").arg(silent.port()).arg(i), "x"));
        QTRY_COMPARE(silent.connections(), 4);
        // A whole transfer to another host goes through the same loop, which
        // has had every chance to open a fifth connection meanwhile.
        LoopbackPeer other;
        QCOMPARE(run(session, bytesTo(QStringLiteral("http://127.0.0.1:%1/s").arg(other.port()), "x")).status, 200);
        QCOMPARE(silent.connections(), 4);
        QCOMPARE(session.transfers().size(), 6);
        qDeleteAll(puts);
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    TestObjectPut test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_objectput.moc"
