// The dashboard's pure rules, table-driven: a row's type, size and age texts
// and its metadata line (bad records included), the upload strip's text, and
// where the panel goes next to the tray icon.
#include "popoverfilerowview.h"
#include "popoveruploadstripview.h"
#include "popoverwindowcontroller.h"

#include <QTest>

namespace {

const QDateTime kNow(QDate(2026, 11, 23), QTime(12, 0), Qt::UTC);

qint64 msAgo(qint64 seconds)
{
    return kNow.addSecs(-seconds).toMSecsSinceEpoch();
}

} // namespace

class TestPopoverTexts : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

    void typeLabel_data()
    {
        QTest::addColumn<QString>("mimeType");
        QTest::addColumn<QString>("label");
        const QList<std::pair<const char *, const char *>> rows { { "tessly/folder", "Folder" },
            { "image/jpeg", "JPG" }, { "video/quicktime", "MOV" }, { "video/x-msvideo", "AVI" },
            { "text/plain", "TXT" }, { "text/markdown", "MD" }, { "application/x-zip-compressed", "ZIP" },
            { "application/zip", "ZIP" }, { "text/x-python", "PYTHON" }, { "image/png", "PNG" },
            { "image/svg+xml", "SVG+XML" }, { "plain", nullptr }, { "a/b/c", nullptr }, { "", nullptr } };
        for (const auto &[mime, label] : rows)
            QTest::newRow(mime) << QString::fromLatin1(mime) << QString::fromLatin1(label);
    }
    void typeLabel()
    {
        QFETCH(QString, mimeType);
        QFETCH(QString, label);
        const QString got = PopoverFileRowView::extensionFromMimeType(mimeType);
        QCOMPARE(got, label);
        QCOMPARE(got.isNull(), label.isNull());
    }

    void sizeText_data()
    {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("text");
        const QList<std::pair<qint64, const char *>> rows { { 0, "0 B" }, { 1023, "1023 B" }, { 1024, "1 KB" },
            { 1536, "2 KB" }, { 1048575, "1024 KB" }, { 1048576, "1.0 MB" }, { 10485759, "10.0 MB" },
            { 10485760, "10 MB" }, { 1073741823, "1024 MB" }, { 1073741824, "1.0 GB" }, { 5368709120, "5.0 GB" } };
        for (const auto &[bytes, text] : rows)
            QTest::newRow(text) << bytes << QString::fromLatin1(text);
    }
    void sizeText()
    {
        QFETCH(qint64, bytes);
        QFETCH(QString, text);
        QCOMPARE(PopoverFileRowView::formattedFileSize(bytes), text);
    }

    void ageText_data()
    {
        QTest::addColumn<qint64>("secondsAgo");
        QTest::addColumn<QString>("text");
        const QList<std::pair<qint64, const char *>> rows { { -86400, "just now" }, { 0, "just now" },
            { 59, "just now" }, { 60, "1 min ago" }, { 3599, "59 min ago" }, { 3600, "1 hr ago" },
            { 86340, "23 hr ago" }, { 86400, "1 days ago" }, { 6 * 86400 + 23 * 3600, "6 days ago" },
            { 7 * 86400, "Nov 16, 2026" }, { 400 * 86400, "Oct 19, 2025" } };
        for (const auto &[ago, text] : rows)
            QTest::newRow(text) << ago << QString::fromLatin1(text);
    }
    void ageText()
    {
        QFETCH(qint64, secondsAgo);
        QFETCH(QString, text);
        QCOMPARE(PopoverFileRowView::relativeTimeFromDate(kNow.addSecs(-secondsAgo), kNow), text);
        QVERIFY(PopoverFileRowView::relativeTimeFromDate(QDateTime(), kNow).isNull());
    }

    // Whatever a record holds, the line says what it can and nothing else.
    void metadataLine_data()
    {
        QTest::addColumn<QVariantMap>("record");
        QTest::addColumn<QString>("line");
        QTest::newRow("file") << QVariantMap { { "mimeType", "image/png" }, { "size", 2048 }, { "item", msAgo(300) } }
                              << QStringLiteral("PNG · 2 KB · 5 min ago");
        QTest::newRow("folder never shows its size") << QVariantMap { { "mimeType", "tessly/folder" }, { "size", 4096 },
            { "item", msAgo(120) } } << QStringLiteral("Folder · 2 min ago");
        QTest::newRow("no label starts with the size") << QVariantMap { { "mimeType", "plain" }, { "size", 10 },
            { "item", msAgo(1) } } << QStringLiteral("10 B · just now");
        QTest::newRow("nothing") << QVariantMap {} << QString();
        QTest::newRow("wrong types") << QVariantMap { { "mimeType", 5 }, { "size", "huge" }, { "item", "yesterday" } }
                                     << QString();
        QTest::newRow("numbers as text") << QVariantMap { { "size", "2048" }, { "item", QString::number(msAgo(7200)) } }
                                         << QStringLiteral("2 KB · 2 hr ago");
        QTest::newRow("future") << QVariantMap { { "mimeType", "video/mp4" }, { "item", msAgo(-3600) } }
                                << QStringLiteral("MP4 · just now");
        QTest::newRow("negative size") << QVariantMap { { "mimeType", "image/png" }, { "size", -5000 } }
                                       << QStringLiteral("PNG");
        QTest::newRow("booleans are no numbers") << QVariantMap { { "size", true }, { "item", true } } << QString();
        QTest::newRow("date beyond any calendar")
            << QVariantMap { { "size", 1 }, { "item", 1e300 } } << QStringLiteral("1 B");
    }
    void metadataLine()
    {
        QFETCH(QVariantMap, record);
        QFETCH(QString, line);
        QCOMPARE(PopoverFileRowView::metadataLine(record, kNow), line);
    }

    void uploadStripText_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<float>("progress");
        QTest::addColumn<double>("speed");
        QTest::addColumn<QString>("text");
        QTest::newRow("failed") << 3 << 0.5f << 0.0 << QStringLiteral("Upload failed – click to retry");
        QTest::newRow("paused") << 2 << 0.5f << 100.0 << QStringLiteral("Upload paused");
        QTest::newRow("no speed yet") << 1 << 0.429f << 0.0 << QStringLiteral("Uploading... 42%");
        QTest::newRow("1 MiB/s is KB/s") << 1 << 0.1f << 1048576.0 << QStringLiteral("Uploading... 10% · 1024 KB/s");
        QTest::newRow("MB/s") << 1 << 0.999f << 1572864.0 << QStringLiteral("Uploading... 99% · 1.5 MB/s");
        QTest::newRow("idle") << 0 << 0.3f << 10.0 << QString();
    }
    void uploadStripText()
    {
        QFETCH(int, state);
        QFETCH(float, progress);
        QFETCH(double, speed);
        QFETCH(QString, text);
        QCOMPARE(PopoverUploadStripView::textFor(state, progress, speed), text);
    }

    // Points, origin at the bottom left; the visible frame is 1280 x 776 above y 0.
    void placement_data()
    {
        QTest::addColumn<QRectF>("button");
        QTest::addColumn<QRectF>("frame");
        QTest::newRow("centred under the icon") << QRectF(600, 776, 24, 24) << QRectF(402, 196, 420, 580);
        QTest::newRow("right edge: 4 points inside") << QRectF(1250, 776, 24, 24) << QRectF(856, 196, 420, 580);
        QTest::newRow("left edge: 4 points inside") << QRectF(10, 776, 24, 24) << QRectF(4, 196, 420, 580);
        QTest::newRow("panel at the bottom: opens upwards") << QRectF(1200, -24, 24, 24) << QRectF(856, 0, 420, 580);
        QTest::newRow("pointer below the top: kept on screen")
            << QRectF(700, 790, 1, 1) << QRectF(490.5, 196, 420, 580);
    }
    void placement()
    {
        QFETCH(QRectF, button);
        QFETCH(QRectF, frame);
        QCOMPARE(PopoverWindowController::popoverFrame(button, QRectF(0, 0, 1280, 776)), frame);
    }
};

QTEST_GUILESS_MAIN(TestPopoverTexts)
#include "tst_popovertexts.moc"
