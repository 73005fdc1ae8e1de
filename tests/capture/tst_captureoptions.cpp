// The tool's command line: the clusters its callers send, and the mistakes it
// must refuse before touching the screen.
#include "captureoptions.h"

#include <QTest>

class TestCaptureOptions : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void callersArgumentListsParse()
    {
        QString error;
        std::optional<CaptureOptions> region = CaptureOptions::parse({ "-i", "/tmp/a b.png" }, &error);
        QVERIFY2(region, qPrintable(error));
        QVERIFY(region->interactive && !region->windowMode && !region->record);
        QCOMPARE(region->path, QStringLiteral("/tmp/a b.png"));

        std::optional<CaptureOptions> window = CaptureOptions::parse({ "-i", "-w", "/tmp/w.png" }, &error);
        QVERIFY(window && window->interactive && window->windowMode);

        // The recording cluster: the application id is the rest of the argument.
        std::optional<CaptureOptions> movie
            = CaptureOptions::parse({ "-UkvigBcom.tessly.Cloud", "/tmp/Screen Capture.mov" }, &error);
        QVERIFY2(movie, qPrintable(error));
        QVERIFY(movie->showToolbar && movie->showClicks && movie->record && movie->interactive && movie->recordAudio);
        QCOMPARE(movie->openWith, QStringLiteral("com.tessly.Cloud"));
        QCOMPARE(movie->path, QStringLiteral("/tmp/Screen Capture.mov"));
    }

    void valuesAttachedOrSeparate()
    {
        QString error;
        std::optional<CaptureOptions> a = CaptureOptions::parse({ "-xR-10,20,30,40", "f.png" }, &error);
        QVERIFY2(a, qPrintable(error));
        QVERIFY(a->silent);
        QCOMPARE(*a->rect, QRect(-10, 20, 30, 40)); // left of the primary screen is fine
        std::optional<CaptureOptions> b = CaptureOptions::parse({ "-l", "0x1a00007", "f.png" }, &error);
        QCOMPARE(*b->windowId, 0x1a00007u);
        std::optional<CaptureOptions> c = CaptureOptions::parse({ "-l", "4194311", "f.png" }, &error);
        QCOMPARE(*c->windowId, 4194311u);
        std::optional<CaptureOptions> d
            = CaptureOptions::parse({ "-v", "-B", "org.example.App", "-R0,0,8,8", "m.mov" }, &error);
        QVERIFY2(d, qPrintable(error));
        QCOMPARE(d->openWith, QStringLiteral("org.example.App"));
    }

    void mistakesAreRefused_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("message");
        QTest::newRow("nothing") << QStringList {} << "no output file given";
        QTest::newRow("no mode") << QStringList { "f.png" } << "nothing to capture";
        QTest::newRow("two files") << QStringList { "-i", "a.png", "b.png" } << "one output file only";
        QTest::newRow("negative height") << QStringList { "-R0,0,10,-1", "f.png" } << "-R expects";
        QTest::newRow("not numbers") << QStringList { "-R", "a,b,c,d", "f.png" } << "-R expects";
        QTest::newRow("five numbers") << QStringList { "-R1,2,3,4,5", "f.png" } << "-R expects";
        QTest::newRow("R without value") << QStringList { "-R" } << "-R needs a rectangle";
        QTest::newRow("window zero") << QStringList { "-l0", "f.png" } << "-l expects";
        QTest::newRow("window too large") << QStringList { "-l0x100000000", "f.png" } << "-l expects";
        QTest::newRow("R and l") << QStringList { "-R0,0,1,1", "-l5", "f.png" } << "cannot be combined";
        QTest::newRow("R interactive") << QStringList { "-i", "-R0,0,1,1", "f.png" } << "not interactive";
        QTest::newRow("record a window id") << QStringList { "-v", "-l5", "f.mov" } << "cannot be recorded";
        QTest::newRow("clicks on a picture") << QStringList { "-ik", "f.png" } << "recordings only";
        QTest::newRow("unknown letter") << QStringList { "-iq", "f.png" } << "unknown option -q";
    }

    void mistakesAreRefused()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, message);
        QString error;
        QVERIFY(!CaptureOptions::parse(args, &error));
        QVERIFY2(error.contains(message), qPrintable(error));
    }
};

QTEST_GUILESS_MAIN(TestCaptureOptions)
#include "tst_captureoptions.moc"
