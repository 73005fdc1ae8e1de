// The status menu's and the upload row's decisions, table by table: segment
// codes, empty texts, speeds, list identity, the upload row's state and
// buttons, the cancel prompt, and stored shortcuts read, shown and written back.
#include "error.h"
#include "keyequivalent.h"
#include "statusmenumodel.h"
#include "uploadprogressmodel.h"

#include <QTest>

using namespace StatusMenuModel;

class TestStatusMenuModel : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void segments_data()
    {
        QTest::addColumn<int>("stored");
        QTest::addColumn<int>("menu");
        QTest::addColumn<int>("storedBack"); // what choosing that menu segment stores
        QTest::addColumn<int>("list");
        QTest::addColumn<QString>("emptyText");
        QTest::newRow("files") << 0 << 0 << 0 << int(List::Files) << "No files yet";
        QTest::newRow("documents show as Files") << 1 << 0 << 0 << int(List::Files) << "No documents yet";
        QTest::newRow("folders") << 2 << 1 << 2 << int(List::Folders) << "No folders yet";
        QTest::newRow("links") << 3 << 2 << 3 << int(List::Links) << "No links yet";
        QTest::newRow("unknown code") << 7 << 0 << 0 << int(List::Files) << "No files yet";
        QTest::newRow("negative code") << -1 << 0 << 0 << int(List::Files) << "No files yet";
    }
    void segments()
    {
        QFETCH(int, stored);
        QFETCH(int, menu);
        QCOMPARE(menuSegmentForStoredSegment(stored), menu);
        QFETCH(int, storedBack);
        QCOMPARE(storedSegmentForMenuSegment(menu), storedBack);
        QFETCH(int, list);
        QCOMPARE(int(listForStoredSegment(stored)), list);
        QFETCH(QString, emptyText);
        QCOMPARE(emptyTextForStoredSegment(stored), emptyText);
    }

    void menuSegmentsOutsideTheSwitchStoreFiles()
    {
        QCOMPARE(storedSegmentForMenuSegment(3), 0);
        QCOMPARE(storedSegmentForMenuSegment(-1), 0);
    }

    void speeds_data()
    {
        QTest::addColumn<double>("bytesPerSecond");
        QTest::addColumn<QString>("menu");
        QTest::addColumn<QString>("row");
        QTest::newRow("zero") << 0.0 << "0 KB/s"
                              << "0 B/s";
        QTest::newRow("exactly 1 KiB") << 1024.0 << "1 KB/s"
                                       << "1024 B/s";
        QTest::newRow("2 KiB") << 2048.0 << "2 KB/s"
                               << "2 KB/s";
        QTest::newRow("exactly 1 MiB") << 1048576.0 << "1024 KB/s"
                                       << "1024 KB/s";
        QTest::newRow("1.5 MB") << 1536000.0 << "1.5 MB/s"
                                << "1.5 MB/s";
        QTest::newRow("large") << 123456789.0 << "117.7 MB/s"
                               << "117.7 MB/s";
    }
    void speeds()
    {
        QFETCH(double, bytesPerSecond);
        QFETCH(QString, menu);
        QCOMPARE(formattedSpeed(bytesPerSecond), menu);
        QFETCH(QString, row);
        QCOMPARE(UploadProgressModel::formattedSpeed(bytesPerSecond), row);
    }

    void answers()
    {
        const QVariantMap answer { { QStringLiteral("items"),
            QVariantList { QVariantMap { { "code", "a" }, { "mimeType", "image/png" } },
                QVariantMap { { "code", "f" }, { "mimeType", "tessly/folder" } }, QVariantMap { { "code", "b" } } } } };
        const QVariantList files = filesFromAnswer(answer);
        QCOMPARE(files.size(), 2);
        QCOMPARE(itemCode(files[0].toMap()), QStringLiteral("a"));
        QCOMPARE(itemCode(files[1].toMap()), QStringLiteral("b"));
        QCOMPARE(itemsFromAnswer(answer).size(), 3);
        QVERIFY(filesFromAnswer(QVariant()).isEmpty());
        QVERIFY(itemsFromAnswer(QVariantList { 1, 2 }).isEmpty());
    }

    void sameItems_data()
    {
        const auto files = [](const QStringList &codes) {
            QVariantList list;
            for (const QString &code : codes)
                list << QVariantMap { { "code", code }, { "name", "n" + code } };
            return list;
        };
        const auto links = [](const QStringList &slugs) {
            QVariantList list;
            for (const QString &slug : slugs)
                list << QVariantMap { { "slug", slug } };
            return list;
        };
        QTest::addColumn<QVariantList>("shown");
        QTest::addColumn<QVariantList>("incoming");
        QTest::addColumn<bool>("same");
        QTest::newRow("same codes") << files({ "a", "b" }) << files({ "a", "b" }) << true;
        QTest::newRow("other names, same codes")
            << files({ "a" }) << QVariantList { QVariantMap { { "code", "a" }, { "name", "renamed" } } } << true;
        QTest::newRow("reordered") << files({ "a", "b" }) << files({ "b", "a" }) << false;
        QTest::newRow("one more") << files({ "a" }) << files({ "b", "a" }) << false;
        QTest::newRow("one new, one gone") << files({ "a", "b" }) << files({ "c", "a" }) << false;
        QTest::newRow("both empty") << QVariantList() << QVariantList() << true;
        QTest::newRow("links by slug") << links({ "x", "y" }) << links({ "x", "y" }) << true;
        QTest::newRow("links, one replaced") << links({ "x", "y" }) << links({ "x", "z" }) << false;
    }
    void sameItems()
    {
        QFETCH(QVariantList, shown);
        QFETCH(QVariantList, incoming);
        QFETCH(bool, same);
        QCOMPARE(StatusMenuModel::sameItems(shown, incoming), same);
    }

    void detailTexts_data()
    {
        const QDateTime now = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
        const qint64 nowMs = now.toMSecsSinceEpoch();
        QTest::addColumn<QVariantMap>("item");
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<QString>("text");
        QTest::newRow("bytes, just now") << QVariantMap { { "size", 1023 }, { "item", nowMs - 59'000 } } << now
                                         << "1023 B \u00b7 just now";
        QTest::newRow("KB, minutes") << QVariantMap { { "size", 1024 }, { "item", nowMs - 60'000 } } << now
                                     << "1 KB \u00b7 1 min ago";
        QTest::newRow("MB with a decimal, hours")
            << QVariantMap { { "size", 1048576 }, { "item", nowMs - 86'340'000 } } << now << "1.0 MB \u00b7 23 hr ago";
        QTest::newRow("whole MB, days") << QVariantMap { { "size", 10 * 1048576 }, { "item", nowMs - 601'200'000 } }
                                        << now << "10 MB \u00b7 6 days ago";
        QTest::newRow("GB") << QVariantMap { { "size", qint64(1) << 30 } } << now << "1.0 GB";
        QTest::newRow("folder never shows a size") << QVariantMap { { "mimeType", "tessly/folder" }, { "size", 4096 },
            { "item", nowMs - 120'000 } } << now << "2 min ago";
        QTest::newRow("nothing known") << QVariantMap {} << now << "";
    }
    void detailTexts()
    {
        QFETCH(QVariantMap, item);
        QFETCH(QDateTime, now);
        QFETCH(QString, text);
        QCOMPARE(detailText(item, now), text);
    }

    void uploadRows_data()
    {
        QTest::addColumn<UploadSnapshot>("snapshot");
        QTest::addColumn<UploadRow>("row");
        QTest::newRow("idle") << UploadSnapshot {} << UploadRow {};
        QTest::newRow("single request running")
            << UploadSnapshot { 1, 0.25f, 4096, false, false, 0, 0 } << UploadRow { true, 1, 0.25f, 4096, false };
        QTest::newRow("multipart running")
            << UploadSnapshot { 2, 0.5f, 2e6, true, false, 1, 0.1f } << UploadRow { true, 1, 0.5f, 2e6, true };
        QTest::newRow("queue paused by the user")
            << UploadSnapshot { 1, 0.4f, 0, true, true, 1, 0.4f } << UploadRow { true, 2, 0.4f, 0, true };
        QTest::newRow("only records on disk")
            << UploadSnapshot { 0, 0, 0, false, false, 2, 0.3f } << UploadRow { true, 3, 0.3f, 0, true };
        QTest::newRow("finished tasks still counted")
            << UploadSnapshot { 3, 1.0f, 0, false, false, 0, 0 } << UploadRow { true, 1, 1.0f, 0, false };
    }
    void uploadRows()
    {
        QFETCH(UploadSnapshot, snapshot);
        QFETCH(UploadRow, row);
        QCOMPARE(uploadRow(snapshot), row);
    }

    void rowStates_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("multipart");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("buttons"); // p pause, r resume, t retry, c cancel
        QTest::newRow("nothing") << 0 << true << ""
                                 << "";
        QTest::newRow("uploading, single request") << 1 << false << "Uploading at 1.5 MB/s"
                                                   << "c";
        QTest::newRow("uploading, multipart") << 1 << true << "Uploading at 1.5 MB/s"
                                              << "pc";
        QTest::newRow("paused") << 2 << true << "Upload paused"
                                << "rc";
        QTest::newRow("failed") << 3 << false << "Upload failed - tap retry to continue"
                                << "tc";
    }
    void rowStates()
    {
        QFETCH(int, state);
        UploadProgressModel model;
        QFETCH(bool, multipart);
        model.updateWithProgress(0.427f, 1536000, state, multipart);
        QCOMPARE(model.uploadState(), state);
        QCOMPARE(model.progressValue(), 43);
        QFETCH(QString, text);
        QCOMPARE(model.statusText(), text);
        QString shown;
        shown += model.isPauseVisible() ? "p" : "";
        shown += model.isResumeVisible() ? "r" : "";
        shown += model.isRetryVisible() ? "t" : "";
        shown += model.isCancelVisible() ? "c" : "";
        QFETCH(QString, buttons);
        QCOMPARE(shown, buttons);
    }

    void failureNotificationsSetTheFailedState_data()
    {
        QTest::addColumn<QVariantMap>("object");
        QTest::addColumn<QString>("text");
        QTest::newRow("with an error") << QVariantMap {
            { "error", QVariant::fromValue(Error(QStringLiteral("TLMultipartUploadSession"), -1, "Part 3 failed")) }
        } << "Upload failed: Part 3 failed";
        QTest::newRow("null error") << QVariantMap { { "error", QVariant() } }
                                    << "Upload failed - tap retry to continue";
        QTest::newRow("no error key") << QVariantMap {} << "Upload failed - tap retry to continue";
    }
    void failureNotificationsSetTheFailedState()
    {
        UploadProgressModel model;
        model.updateWithProgress(0.5f, 100, 1, true);
        QFETCH(QVariantMap, object);
        model.multipartUploadFailed(object);
        QCOMPARE(model.uploadState(), 3);
        QFETCH(QString, text);
        QCOMPARE(model.statusText(), text);
        QVERIFY(model.isRetryVisible() && model.isCancelVisible() && !model.isPauseVisible());
    }

    void cancelPrompts()
    {
        // One upload's question is asked in tst_statusmenu.
        const auto one = UploadProgressModel::cancelPromptForCount(1);
        QCOMPARE(one.informativeText,
            QStringLiteral("This will cancel 1 file currently uploading. This action cannot be undone."));
        QCOMPARE(one.cancelButton, QStringLiteral("Cancel 1 Upload"));
        const auto three = UploadProgressModel::cancelPromptForCount(3);
        QCOMPARE(three.message, QStringLiteral("Cancel 3 Uploads?"));
        QCOMPARE(three.informativeText,
            QStringLiteral("This will cancel 3 files currently uploading. This action cannot be undone."));
        QCOMPARE(three.cancelButton, QStringLiteral("Cancel 3 Uploads"));
    }

    void keyEquivalents_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QKeySequence>("sequence");
        QTest::newRow("first-run screenshot") << "\u2325\u21e74"
                                              << "Alt+Shift+4" << QKeySequence(Qt::ALT | Qt::SHIFT | Qt::Key_4);
        QTest::newRow("control shift") << "\u2303\u21e74"
                                       << "Ctrl+Shift+4" << QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_4);
        QTest::newRow("all four in order")
            << "\u2303\u2325\u21e7\u2318R"
            << "Ctrl+Alt+Shift+Super+R" << QKeySequence(Qt::CTRL | Qt::ALT | Qt::SHIFT | Qt::META | Qt::Key_R);
        QTest::newRow("command is Super") << "\u2318C"
                                          << "Super+C" << QKeySequence(Qt::META | Qt::Key_C);
        QTest::newRow("lower-case letter") << "\u2325c"
                                           << "Alt+C" << QKeySequence(Qt::ALT | Qt::Key_C);
        QTest::newRow("bare key") << "V"
                                  << "V" << QKeySequence(Qt::Key_V);
        QTest::newRow("function key") << "\u2325F12"
                                      << "Alt+F12" << QKeySequence(Qt::ALT | Qt::Key_F12);
        QTest::newRow("return glyph") << "\u2303\u21a9"
                                      << "Ctrl+Return" << QKeySequence(Qt::CTRL | Qt::Key_Return);
        QTest::newRow("punctuation") << "\u21e7/"
                                     << "Shift+/" << QKeySequence(Qt::SHIFT | Qt::Key_Slash);
        QTest::newRow("empty") << ""
                               << "" << QKeySequence();
        QTest::newRow("modifiers only") << "\u2325\u21e7"
                                        << "" << QKeySequence();
        QTest::newRow("out of order") << "\u21e7\u23254"
                                      << "" << QKeySequence();
        QTest::newRow("repeated modifier") << "\u2325\u23254"
                                           << "" << QKeySequence();
        QTest::newRow("two keys") << "\u2325AB"
                                  << "" << QKeySequence();
        QTest::newRow("no such function key") << "\u2325F99"
                                              << "" << QKeySequence();
    }
    void keyEquivalents()
    {
        QFETCH(QString, shown);
        QFETCH(QString, stored);
        const KeyEquivalent key = KeyEquivalent::fromString(stored);
        QCOMPARE(key.isValid(), !shown.isEmpty());
        QCOMPARE(key.displayText(), shown);
        QFETCH(QKeySequence, sequence);
        QCOMPARE(key.keySequence(), sequence);
        if (key.isValid()) { // written back, and recorded from the keys, as stored (letters in upper case)
            QCOMPARE(key.toString(), stored.toUpper());
            QCOMPARE(KeyEquivalent::fromKeyCombination(key.keyCombination()).toString(), stored.toUpper());
        }
    }
};

Q_DECLARE_METATYPE(StatusMenuModel::UploadSnapshot)
Q_DECLARE_METATYPE(StatusMenuModel::UploadRow)

QTEST_GUILESS_MAIN(TestStatusMenuModel)
#include "tst_statusmenumodel.moc"
