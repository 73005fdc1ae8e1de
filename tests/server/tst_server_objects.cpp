// The object store behind presigned URLs: signature checks, single PUTs and
// multipart uploads with S3's rules for parts, ETags and completion.
#include "referenceserver.h"
#include "testfiles.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QtTest>

namespace {

constexpr qint64 kPartSize = 64 * 1024;

QByteArray quotedMd5(const QByteArray &bytes)
{
    return '"' + QCryptographicHash::hash(bytes, QCryptographicHash::Md5).toHex() + '"';
}

} // namespace

class ServerObjectsTest : public QObject
{
    Q_OBJECT

private:
    using Reply = ReferenceServer::Reply;
    ReferenceServer m_server;
    QString m_token;

    using Multipart = ReferenceServer::Multipart;

    Multipart initiate(const QByteArray &bytes) { return m_server.initiateMultipart(m_token, "alice", bytes); }

    QByteArray download(const QString &code) { return m_server.shareDownload("alice", code).body; }

private slots:
    void initTestCase()
    {
        ReferenceServer::Options options;
        options.partSize = kPartSize;
        QVERIFY2(m_server.start(options), qPrintable(m_server.errorString()));
        m_token = m_server.addUser("alice@example.com", "alice-pass", "alice");
        QVERIFY(!m_token.isEmpty());
    }

    void singlePutStoresExactBytesWhateverTheContentType_data()
    {
        QTest::addColumn<QByteArray>("contentType");
        QTest::newRow("file's own type") << QByteArray("image/png");
        QTest::newRow("octet stream") << QByteArray("application/octet-stream");
        QTest::newRow("none") << QByteArray();
    }

    void singlePutStoresExactBytesWhateverTheContentType()
    {
        QFETCH(QByteArray, contentType);
        const QJsonObject file = m_server.presign(m_token, "alice", "shot.png", "image/png");
        const QByteArray bytes = TestFiles::randomBytes(100000);
        QMap<QByteArray, QByteArray> headers;
        if (!contentType.isEmpty())
            headers.insert("Content-Type", contentType);
        const Reply put = m_server.request("PUT", file["url"].toString(), bytes, headers);
        QCOMPARE(put.status, 200);
        QCOMPARE(put.headers.value("etag"), quotedMd5(bytes));
        QCOMPARE(download(file["code"].toString()), bytes);
    }

    void alteredPresignedUrlsAreRefused_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<QString>("to");
        QTest::addColumn<QByteArray>("code");
        QTest::addColumn<QByteArray>("host"); // sent instead of the URL's
        const auto row = [](const char *name, const QString &from, const QString &to, const QByteArray &code,
                             const QByteArray &host = {}) { QTest::newRow(name) << from << to << code << host; };
        const QByteArray mismatch = "SignatureDoesNotMatch";
        row("signature", "X-Amz-Signature=", "X-Amz-Signature=0", mismatch);
        row("other host", "", "", mismatch, "evil.example:1");
        row("longer lifetime", "X-Amz-Expires=3600", "X-Amz-Expires=7200", mismatch);
        row("other object", "/store/alice/", "/store/alice/1", mismatch);
        row("no signature", "&X-Amz-Signature=", "&X-Amz-Nothing=", "AccessDenied");
        row("other access key", "tessly-embedded", "someone-else", "InvalidAccessKeyId");
    }

    void alteredPresignedUrlsAreRefused()
    {
        QFETCH(QString, from);
        QFETCH(QString, to);
        QFETCH(QByteArray, code);
        QFETCH(QByteArray, host);
        const QJsonObject file = m_server.presign(m_token, "alice", "a.txt");
        QString url = file["url"].toString();
        QVERIFY(url.contains(from));
        url.replace(from, to);
        QMap<QByteArray, QByteArray> headers;
        if (!host.isEmpty())
            headers.insert("Host", host);
        const Reply put = m_server.request("PUT", url, "should not be kept", headers);
        QCOMPARE(put.status, 403);
        QCOMPARE(put.headers.value("content-type"), QByteArray("application/xml"));
        QVERIFY2(put.body.contains("<Code>" + code + "</Code>"), put.body.constData());
        QCOMPARE(m_server.api("GET", "/v1/files/alice/" + file["code"].toString(), m_token).status, 404);
    }

    // Judged by the service's clock, moved instead of waited for.
    void urlsExpireAfterTheirLifetime_data()
    {
        QTest::addColumn<qint64>("offset");
        QTest::addColumn<int>("status");
        QTest::newRow("a second before the end") << qint64(3599) << 200;
        QTest::newRow("a second after the end") << qint64(3601) << 403;
    }

    void urlsExpireAfterTheirLifetime()
    {
        QFETCH(qint64, offset);
        QFETCH(int, status);
        const QString url = m_server.presign(m_token, "alice", "a.txt")["url"].toString();
        QVERIFY(url.contains("X-Amz-Expires=3600"));
        QVERIFY(m_server.setClockOffset(offset));
        const Reply put = m_server.request("PUT", url, "bytes");
        QVERIFY(m_server.setClockOffset(0));
        QCOMPARE(put.status, status);
        if (status == 403)
            QVERIFY2(
                put.body.contains("<Code>AccessDenied</Code>") && put.body.contains("expired"), put.body.constData());
    }

    // A part or an object may not carry more than was declared for it, and
    // the parts of an upload must add up to its declared size.
    void bodiesAreHeldToTheirDeclaredSizes_data()
    {
        QTest::addColumn<int>("part");
        QTest::addColumn<int>("extra");
        QTest::addColumn<int>("status");
        QTest::newRow("first part one byte long") << 1 << 1 << 400;
        QTest::newRow("last part one byte long") << 3 << 1 << 400;
        QTest::newRow("last part exact") << 3 << 0 << 200;
    }

    void bodiesAreHeldToTheirDeclaredSizes()
    {
        QFETCH(int, part);
        QFETCH(int, extra);
        QFETCH(int, status);
        Multipart upload = initiate(TestFiles::randomBytes(kPartSize * 2 + 10));
        const QByteArray bytes = upload.bytes.mid((part - 1) * kPartSize, kPartSize) + QByteArray(extra, 'x');
        const Reply put = m_server.putPart(upload, part, bytes);
        QCOMPARE(put.status, status);
        if (status == 400)
            QVERIFY2(put.body.contains("<Code>EntityTooLarge</Code>"), put.body.constData());
        QCOMPARE(m_server.partStoredCounts(upload.uploadId).value(part), status == 200 ? 1 : 0);
    }

    void completionNeedsTheDeclaredSize()
    {
        Multipart upload = initiate(TestFiles::randomBytes(kPartSize * 2 + 10));
        QVERIFY(m_server.putAllParts(upload));
        QCOMPARE(m_server.putPart(upload, 3, upload.bytes.right(5)).status, 200); // a short last part
        const Reply refused = m_server.complete(upload, upload.partList());
        QCOMPARE(refused.status, 400);
        QCOMPARE(refused.json()["error"].toString(), "InvalidPart");
        QVERIFY(refused.json()["message"].toString().contains(QString::number(kPartSize * 2 + 10)));
        QCOMPARE(m_server.api("GET", "/v1/files/alice/" + upload.code, m_token).status, 404);
        QCOMPARE(m_server.putPart(upload, 3, upload.bytes.right(10)).status, 200);
        QCOMPARE(m_server.complete(upload, upload.partList()).status, 200);
        QCOMPARE(download(upload.code), upload.bytes);
    }

    void multipartUploadAssemblesThePartsInOrder()
    {
        Multipart upload = initiate(TestFiles::randomBytes(kPartSize * 2 + 1234));
        QCOMPARE(upload.partSize, kPartSize);
        QVERIFY(!upload.code.isEmpty());
        const QJsonArray parts = m_server.partUrls(upload, { 3, 1, 2 }).json()["parts"].toArray();
        QCOMPARE(parts.size(), 3);
        QCOMPARE(parts[0].toObject()["partNumber"].toInt(), 3);
        // Parts may arrive in any order; the ETag is the part's quoted MD5.
        for (int n : { 3, 1, 2 }) {
            const QByteArray bytes = upload.bytes.mid((n - 1) * kPartSize, kPartSize);
            QCOMPARE(m_server.putPart(upload, n, bytes).status, 200);
            QCOMPARE(upload.etags[n], quotedMd5(bytes));
        }
        QJsonArray list = upload.partList();
        list[1]
            = QJsonObject { { "partNumber", 2 }, { "etag", QString(upload.etags[2]).remove('"') } }; // unquoted is fine
        const Reply done = m_server.complete(upload, list);
        QCOMPARE(done.status, 200);
        QVERIFY2(done.json()["etag"].toString().endsWith("-3\""), done.body.constData());
        QCOMPARE(done.json()["size"].toInteger(), upload.bytes.size());
        QCOMPARE(done.json()["code"].toString(), upload.code);
        QCOMPARE(done.json()["order"].toString(), "2");
        QCOMPARE(download(upload.code), upload.bytes);
        // Ranges (a player seeking) may start in one part and end in another.
        const QByteArray host = "alice." + m_server.webDomain().toUtf8();
        const QList<std::pair<qint64, qint64>> ranges { { kPartSize - 10, kPartSize + 9 }, { 0, 2 * kPartSize + 1233 },
            { 2 * kPartSize - 1, 2 * kPartSize } };
        for (const auto &[from, to] : ranges) {
            const Reply range = m_server.request("GET", "/" + upload.code + "/download", {},
                QMap<QByteArray, QByteArray> {
                    { "Host", host }, { "Range", QStringLiteral("bytes=%1-%2").arg(from).arg(to).toUtf8() } });
            QCOMPARE(range.status, 206);
            QCOMPARE(range.body, upload.bytes.mid(from, to - from + 1));
        }
        // Completed uploads are gone for good.
        QCOMPARE(m_server.complete(upload, list).json()["error"].toString(), "NoSuchUpload");
    }

    // Each row's name says how the list is broken; the column is S3's error code.
    void completeChecksPartsAndEtags_data()
    {
        QTest::addColumn<QString>("code");
        for (const auto &[breakage, code] :
            { std::pair { "wrong etag", "InvalidPart" }, { "descending", "InvalidPartOrder" },
                { "duplicate", "InvalidPartOrder" }, { "missing part", "InvalidPart" },
                { "missing etag", "InvalidPart" }, { "part number zero", "InvalidArgument" },
                { "part number past the end", "InvalidArgument" }, { "empty list", "MalformedXML" } })
            QTest::newRow(breakage) << QString(code);
    }

    void completeChecksPartsAndEtags()
    {
        QFETCH(QString, code);
        const QByteArray breakage = QTest::currentDataTag();
        Multipart upload = initiate(TestFiles::randomBytes(kPartSize * 2 + 10));
        QVERIFY(m_server.putAllParts(upload));
        QJsonArray parts = upload.partList();
        auto entry = [&](int index) { return parts[index].toObject(); };
        if (breakage == "wrong etag")
            parts[1] = QJsonObject { { "partNumber", 2 }, { "etag", QString(quotedMd5("other")) } };
        else if (breakage == "descending")
            parts = { entry(0), entry(2), entry(1) };
        else if (breakage == "duplicate")
            parts = { entry(0), entry(1), entry(1), entry(2) };
        else if (breakage == "missing part")
            parts.removeAt(1);
        else if (breakage == "missing etag")
            parts[2] = QJsonObject { { "partNumber", 3 } };
        else if (breakage == "part number zero")
            parts.prepend(QJsonObject { { "partNumber", 0 }, { "etag", "x" } });
        else if (breakage == "part number past the end")
            parts.append(QJsonObject { { "partNumber", 4 }, { "etag", "x" } });
        else if (breakage == "empty list")
            parts = {};
        const Reply refused = m_server.complete(upload, parts);
        QCOMPARE(refused.status, 400);
        QCOMPARE(refused.json()["error"].toString(), code);
        // A refused completion keeps the upload: the right list still works.
        QCOMPARE(m_server.complete(upload, upload.partList()).status, 200);
        QCOMPARE(download(upload.code), upload.bytes);
    }

    void resentPartReplacesTheEarlierOne()
    {
        Multipart upload = initiate(TestFiles::randomBytes(kPartSize + 5));
        QVERIFY(m_server.putAllParts(upload));
        const QByteArray firstEtag = upload.etags[1];
        QByteArray changed = upload.bytes;
        changed[0] = char(changed[0] ^ 0xff);
        QCOMPARE(m_server.putPart(upload, 1, changed.left(kPartSize)).status, 200);
        QJsonArray stale = upload.partList();
        stale[0] = QJsonObject { { "partNumber", 1 }, { "etag", QString::fromUtf8(firstEtag) } };
        QCOMPARE(m_server.complete(upload, stale).json()["error"].toString(), "InvalidPart");
        QCOMPARE(m_server.complete(upload, upload.partList()).status, 200);
        QCOMPARE(download(upload.code), changed);
    }

    void partsAreCheckedAgainstTheUpload()
    {
        Multipart upload = initiate(TestFiles::randomBytes(kPartSize * 2));
        QCOMPARE(m_server.partUrls(upload, { 0 }).status, 400);
        QCOMPARE(m_server.partUrls(upload, { 3 }).status, 400);
        QCOMPARE(m_server.partUrls(upload, { "1" }).status, 400);
        Multipart wrongKey = upload;
        wrongKey.key = "alice/1";
        QCOMPARE(m_server.partUrls(wrongKey, { 1 }).status, 400);
        Multipart unknown = upload;
        unknown.uploadId = "no-such-upload";
        const Reply missing = m_server.partUrls(unknown, { 1 });
        QCOMPARE(missing.status, 404);
        QCOMPARE(missing.json()["error"].toString(), "NoSuchUpload");

        Multipart foreign = upload; // bob asks for parts of alice's upload under his profile
        foreign.token = m_server.addUser("bob@example.com", "bob-pass", "bob");
        foreign.profile = "bob";
        QCOMPARE(m_server.partUrls(foreign, { 1 }).status, 403);
    }

    void abortDropsTheUploadAndItsParts()
    {
        Multipart upload = initiate(TestFiles::randomBytes(kPartSize * 2));
        const QString url = m_server.partUrl(upload, 2);
        QCOMPARE(m_server.putPart(upload, 1, upload.bytes.left(kPartSize)).status, 200);
        const Reply aborted = m_server.abort(upload);
        QCOMPARE(aborted.status, 204);
        QVERIFY(aborted.body.isEmpty());
        const Reply late = m_server.request("PUT", url, upload.bytes.mid(kPartSize));
        QCOMPARE(late.status, 404);
        QVERIFY(late.body.contains("<Code>NoSuchUpload</Code>"));
        QCOMPARE(m_server.partUrls(upload, { 2 }).status, 404);
        QCOMPARE(m_server.complete(upload, upload.partList()).json()["error"].toString(), "NoSuchUpload");
        QCOMPARE(m_server.abort(upload).status, 404);
        QVERIFY(!QDir(m_server.dataDir() + "/store/uploads/" + upload.uploadId).exists());
    }
};

QTEST_GUILESS_MAIN(ServerObjectsTest)
#include "tst_server_objects.moc"
