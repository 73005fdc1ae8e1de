#include "logcapture.h"
#include "multipartuploadstate.h"
#include "testfiles.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTest>

using Part = TLMultipartUploadPart;

class TestMultipartUploadState : public QObject
{
    Q_OBJECT
private:
    static TLMultipartUploadState sampleRecord()
    {
        TLMultipartUploadState s(QStringLiteral("up-1"), QStringLiteral("u/alice/big.mov"),
            QStringLiteral("/home/alice/Movies/big take.mov"), QStringLiteral("video/quicktime"), 12'000'000,
            5'242'880);
        s.setParentItem(QStringLiteral("alice/1732350000000"));
        s.setOrder(3);
        s.setCode(QStringLiteral("MTczMjM1MDAwMDAwMQ"));
        s.setCustomDomain(QStringLiteral("share.example.com"));
        s.parts()[0]->setState(Part::Completed);
        s.parts()[0]->setEtag(QStringLiteral("\"9b2cf535f27731c974343645a3985328\""));
        s.parts()[0]->setPresignedURL(QStringLiteral("https://store/part1?X-Amz-Signature=abc"));
        s.parts()[1]->setState(Part::Failed);
        s.parts()[1]->setRetryCount(2);
        s.parts()[1]->setBytesSent(1'000'000);
        return s;
    }

private Q_SLOTS:
    void init() { QDir(TLMultipartUploadState::storageDirectory()).removeRecursively(); }

    void partsCoverTheFileExactly_data()
    {
        QTest::addColumn<quint64>("fileSize");
        QTest::addColumn<quint64>("partSize");
        QTest::addColumn<int>("count");
        QTest::addColumn<quint64>("lastLength");
        QTest::newRow("two even parts") << quint64(10'485'760) << quint64(5'242'880) << 2 << quint64(5'242'880);
        QTest::newRow("short last part") << quint64(10'485'760) << quint64(3'000'000) << 4 << quint64(1'485'760);
        QTest::newRow("smaller than a part") << quint64(100) << quint64(5'242'880) << 1 << quint64(100);
        QTest::newRow("one byte over") << quint64(5'242'881) << quint64(5'242'880) << 2 << quint64(1);
        QTest::newRow("empty file") << quint64(0) << quint64(5'242'880) << 0 << quint64(0);
        QTest::newRow("beyond 4 GiB") << quint64(5) * 1024 * 1024 * 1024 << quint64(64) * 1024 * 1024 << 80
                                      << quint64(64) * 1024 * 1024;
    }

    void partsCoverTheFileExactly()
    {
        QFETCH(quint64, fileSize);
        QFETCH(quint64, partSize);
        QFETCH(int, count);
        QFETCH(quint64, lastLength);

        const auto parts = TLMultipartUploadState::createPartsForFileSize(fileSize, partSize);
        QCOMPARE(parts.size(), count);
        quint64 expectedOffset = 0;
        for (int i = 0; i < parts.size(); ++i) {
            QCOMPARE(parts[i]->partNumber(), quint64(i + 1));
            QCOMPARE(parts[i]->offset(), expectedOffset);
            QCOMPARE(parts[i]->state(), qint64(Part::Pending));
            QVERIFY(parts[i]->etag().isNull());
            expectedOffset += parts[i]->length();
        }
        QCOMPARE(expectedOffset, fileSize);
        if (count > 0)
            QCOMPARE(parts.last()->length(), lastLength);
    }

    void progressCountsCompletedPartsAndBytesInFlight()
    {
        TLMultipartUploadState s(QStringLiteral("id"), QStringLiteral("k"), QStringLiteral("/tmp/a b.bin"),
            QStringLiteral("application/octet-stream"), 300, 100);
        QCOMPARE(s.progress(), 0.0f);
        s.parts()[0]->setState(Part::Completed);
        s.parts()[1]->setBytesSent(50);
        s.parts()[2]->setState(Part::Failed);
        QCOMPARE(s.progress(), 0.5f);
        // A failed part still needs sending; only completed parts count as done.
        QCOMPARE(s.incompleteParts().size(), 2);
        QCOMPARE(s.incompleteParts()[1]->partNumber(), quint64(3));
        QCOMPARE(s.completedParts().size(), 1);

        for (const auto &p : s.parts())
            p->setState(Part::Completed);
        QCOMPARE(s.progress(), 1.0f);
        QVERIFY(s.incompleteParts().isEmpty());
        QCOMPARE(TLMultipartUploadState().progress(), 0.0f);
    }

    void roundTripKeepsEverythingButTheUrl()
    {
        const TLMultipartUploadState original = sampleRecord();
        QString error;
        const TLMultipartUploadStatePtr copy = TLMultipartUploadState::decode(original.encode(), &error);
        QVERIFY2(copy, qPrintable(error));

        QCOMPARE(copy->uploadId(), original.uploadId());
        QCOMPARE(copy->key(), original.key());
        QCOMPARE(copy->filePath(), original.filePath());
        QCOMPARE(copy->mimeType(), original.mimeType());
        QCOMPARE(copy->parentItem(), original.parentItem());
        QCOMPARE(copy->order().toLongLong(), 3);
        QCOMPARE(copy->partSize(), original.partSize());
        QCOMPARE(copy->fileSize(), original.fileSize());
        QCOMPARE(copy->createdAt(), original.createdAt());
        QCOMPARE(copy->lastAttemptAt(), original.lastAttemptAt());
        QCOMPARE(copy->code(), original.code());
        QCOMPARE(copy->customDomain(), original.customDomain());
        QCOMPARE(copy->parts().size(), 3);
        for (int i = 0; i < 3; ++i) {
            const auto &a = original.parts()[i];
            const auto &b = copy->parts()[i];
            QCOMPARE(b->description(), a->description());
            QCOMPARE(b->retryCount(), a->retryCount());
            QCOMPARE(b->bytesSent(), a->bytesSent());
            QVERIFY(b->presignedURL().isNull());
        }
        QVERIFY(!original.encode().contains("X-Amz-Signature")); // URLs are never written

        // Absent optional values stay absent; a fractional order stays a number.
        TLMultipartUploadState bare(
            QStringLiteral("b"), QStringLiteral("k"), QStringLiteral("/f"), QStringLiteral("t"), 1, 1);
        bare.setOrder(2.5);
        const auto bareCopy = TLMultipartUploadState::decode(bare.encode());
        QVERIFY(bareCopy);
        QVERIFY(bareCopy->parentItem().isNull());
        QVERIFY(bareCopy->code().isNull());
        QCOMPARE(bareCopy->order().toDouble(), 2.5);
        QVERIFY(bareCopy->parts()[0]->etag().isNull());
    }

    void fileNamesWithAnyCharacterRoundTrip_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("spaces and quotes") << QStringLiteral("/home/a/My \"best\" <take> & more.mov");
        QTest::newRow("carriage return") << QStringLiteral("/tmp/line\rbreak.bin");
        QTest::newRow("control characters") << QString::fromUtf8("/tmp/bell\x07tab\tnul-less\x01.bin");
        QTest::newRow("non-ASCII") << QStringLiteral("/tmp/Bildschirmfoto – Grüße 日本.png");
        QTest::newRow("newline") << QStringLiteral("/tmp/two\nlines.mov");
    }

    void fileNamesWithAnyCharacterRoundTrip()
    {
        // Linux file names may hold any byte but "/" and NUL; resuming finds a
        // record by exact path, so the path must come back unchanged.
        QFETCH(QString, path);
        TLMultipartUploadState record(QStringLiteral("odd"), QStringLiteral("k"), path, QStringLiteral("t"), 10, 5);
        TLMultipartUploadState::saveState(record);
        const auto found = TLMultipartUploadState::stateForFilePath(path);
        QVERIFY(found);
        QCOMPARE(found->filePath(), path);
    }

    void decodeChecksEveryValuesKind_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("accepted");
        const QByteArray head = "<?xml version=\"1.0\"?><plist "
                                "version=\"1.0\"><dict><key>$class</key><string>TLMultipartUploadState</string>";
        const QByteArray tail = "</dict></plist>";
        const auto row = [&](const char *name, const QByteArray &keys, bool accepted) {
            QTest::newRow(name) << head + keys + tail << accepted;
        };
        row("only the class: every key absent", "", true);
        row("string for an integer", "<key>partSize</key><string>5</string>", false);
        row("negative size", "<key>fileSize</key><integer>-1</integer>", false);
        row("huge size", "<key>fileSize</key><integer>18446744073709551615</integer>", true);
        row("overflowing size", "<key>fileSize</key><integer>18446744073709551616</integer>", false);
        row("order as string", "<key>order</key><string>1</string>", false);
        row("date as string", "<key>createdAt</key><string>today</string>", false);
        row("bad date", "<key>createdAt</key><date>yesterday</date>", false);
        row("integer for a string", "<key>uploadId</key><integer>7</integer>", false);
        row("parts not an array", "<key>parts</key><dict/>", false);
        row("a string among parts", "<key>parts</key><array><string>x</string></array>", false);
        const QByteArray part = "<key>parts</key><array><dict><key>$class</key><string>%1</string></dict></array>";
        row("a part of another class", QByteArray(part).replace("%1", "NSObject"), false);
        row("a bare part", QByteArray(part).replace("%1", "TLMultipartUploadPart"), true);
        QTest::newRow("wrong root class")
            << QByteArray("<plist version=\"1.0\"><dict><key>$class</key><string>Other</string></dict></plist>")
            << false;
        QTest::newRow("no class") << QByteArray("<plist version=\"1.0\"><dict/></plist>") << false;
        QTest::newRow("truncated") << head.left(head.size() - 10) << false;
        QTest::newRow("not xml") << QByteArray("\x00\x01\x02garbage", 10) << false;
        QTest::newRow("empty") << QByteArray() << false;
        QTest::newRow("two roots") << head + tail.left(7) + "<string>x</string></plist>" << false;
        QTest::newRow("deep nesting") << head + "<key>x</key>" + QByteArray("<array>").repeated(5000) << false;
    }

    void decodeChecksEveryValuesKind()
    {
        QFETCH(QByteArray, body);
        QFETCH(bool, accepted);
        QString error;
        const TLMultipartUploadStatePtr state = TLMultipartUploadState::decode(body, &error);
        QCOMPARE(bool(state), accepted);
        if (!accepted)
            QVERIFY(!error.isEmpty());
        else
            QCOMPARE(state->partSize(), quint64(0));
    }

    void fileNamesAreFlatAndPercentEncoded()
    {
        const QString dir = TLMultipartUploadState::storageDirectory();
        QCOMPARE(dir,
            QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                + QStringLiteral("/com.tessly.Cloud/MultipartUploads"));
        QVERIFY(QDir(dir).exists());
        QCOMPARE(TLMultipartUploadState::fileURLForUploadId(QStringLiteral("a/b-c")),
            dir + QStringLiteral("/a%2Fb%2Dc.plist"));
        QCOMPARE(TLMultipartUploadState::fileURLForUploadId(QStringLiteral("../x_y.z")),
            dir + QStringLiteral("/%2E%2E%2Fx%5Fy%2Ez.plist"));
        QCOMPARE(
            TLMultipartUploadState::fileURLForUploadId(QStringLiteral("é")), dir + QStringLiteral("/%C3%A9.plist"));
    }

    void savedRecordsArePrivateAndResumeFindsTheNewest()
    {
        LogCapture log;
        TLMultipartUploadState first = sampleRecord();
        TLMultipartUploadState::saveState(first);
        QVERIFY(log.contains(QStringLiteral("Saved multipart state for uploadId: up-1")));

        const QString path = TLMultipartUploadState::fileURLForUploadId(QStringLiteral("up-1"));
        QCOMPARE(
            QFile(path).permissions() & (QFileDevice::ReadGroup | QFileDevice::ReadOther | QFileDevice::WriteOther),
            QFileDevice::Permissions());

        QTest::qWait(5); // distinct save stamps
        TLMultipartUploadState second = sampleRecord();
        second.setUploadId(QStringLiteral("up-2"));
        TLMultipartUploadState::saveState(second);

        // Same file path twice: the record saved last wins.
        const TLMultipartUploadStatePtr found = TLMultipartUploadState::stateForFilePath(first.filePath());
        QVERIFY(found);
        QCOMPARE(found->uploadId(), QStringLiteral("up-2"));
        QVERIFY(!TLMultipartUploadState::stateForFilePath(first.filePath() + QStringLiteral("/")));

        // Re-saving the older one makes it the newest.
        QTest::qWait(5);
        TLMultipartUploadState::saveState(first);
        QCOMPARE(TLMultipartUploadState::stateForFilePath(first.filePath())->uploadId(), QStringLiteral("up-1"));

        const auto loaded = TLMultipartUploadState::stateForUploadId(QStringLiteral("up-2"));
        QVERIFY(loaded);
        QCOMPARE(loaded->parts()[1]->retryCount(), quint64(2));
        QVERIFY(!TLMultipartUploadState::stateForUploadId(QStringLiteral("never-saved")));
        QVERIFY(!TLMultipartUploadState::stateForUploadId(QString()));

        // A record that cannot be written as it is is not written at all.
        TLMultipartUploadState odd = sampleRecord();
        odd.setUploadId(QStringLiteral("up-odd"));
        odd.setOrder(QStringLiteral("first"));
        TLMultipartUploadState::saveState(odd);
        QVERIFY(log.contains(QStringLiteral("Failed to archive multipart state: a QString is not a number")));
        QVERIFY(!QFile::exists(TLMultipartUploadState::fileURLForUploadId(QStringLiteral("up-odd"))));
    }

    void listingSkipsWhatItCannotRead()
    {
        LogCapture log;
        TLMultipartUploadState good = sampleRecord();
        TLMultipartUploadState::saveState(good);
        const QString dir = TLMultipartUploadState::storageDirectory();
        TestFiles::write(dir + QStringLiteral("/corrupt.plist"), "<plist><dict><key>$class</key>");
        TestFiles::write(dir + QStringLiteral("/notes.txt"), good.encode());
        TestFiles::write(dir + QStringLiteral("/.hidden.plist"), good.encode());
        TestFiles::write(dir + QStringLiteral("/upper.PLIST"), good.encode());

        const auto all = TLMultipartUploadState::loadAllPendingUploads();
        QCOMPARE(all.size(), 1);
        QCOMPARE(all[0]->uploadId(), QStringLiteral("up-1"));
        QVERIFY(QFile::exists(dir + QStringLiteral("/corrupt.plist"))); // left alone on disk

        QVERIFY(!TLMultipartUploadState::stateForUploadId(QStringLiteral("corrupt")));
        QVERIFY(log.containsText(QStringLiteral("Failed to unarchive multipart state: ")));
    }

    void saveAndRemoveEdgesAreLoggedNotReported()
    {
        LogCapture log;
        TLMultipartUploadState anonymous;
        TLMultipartUploadState::saveState(anonymous);
        QVERIFY(log.contains(QStringLiteral("Cannot save state without uploadId")));
        QVERIFY(TLMultipartUploadState::loadAllPendingUploads().isEmpty());

        TLMultipartUploadState::removeStateForUploadId(QStringLiteral("nothing-here"));
        QVERIFY(log.contains(QStringLiteral("Removed multipart state for uploadId: nothing-here")));

        TLMultipartUploadState record = sampleRecord();
        TLMultipartUploadState::saveState(record);
        TLMultipartUploadState::removeStateForUploadId(QStringLiteral("up-1"));
        QVERIFY(!QFile::exists(TLMultipartUploadState::fileURLForUploadId(QStringLiteral("up-1"))));

        // A write that cannot land (a folder squats on the record's name, which
        // stops root as well as anyone): logged, the caller carries on.
        QVERIFY(QDir().mkpath(TLMultipartUploadState::fileURLForUploadId(QStringLiteral("up-1"))));
        TLMultipartUploadState::saveState(record);
        QVERIFY(log.containsText(QStringLiteral("Failed to write multipart state: ")));
    }
};

QTEST_GUILESS_MAIN(TestMultipartUploadState)
#include "tst_multipartuploadstate.moc"
