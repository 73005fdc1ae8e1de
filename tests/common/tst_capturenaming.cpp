#include "capturenaming.h"

#include <QDir>
#include <QLocale>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

class TestCaptureNaming : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void stampedAndPlainNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QDateTime>("at");
        QTest::addColumn<QString>("expected");

        const QDateTime morning(QDate(2025, 3, 7), QTime(9, 5, 3));
        QTest::newRow("screen shot, zero-padded") << "Screen Shot"
                                                  << "png" << morning << "Screen Shot on 2025-03-07 at 09-05-03.png";
        QTest::newRow("24-hour clock") << "Screen Capture"
                                       << "mov" << QDateTime(QDate(2025, 12, 31), QTime(23, 59, 59))
                                       << "Screen Capture on 2025-12-31 at 23-59-59.mov";
        QTest::newRow("archive") << "Archive"
                                 << "zip" << morning << "Archive on 2025-03-07 at 09-05-03.zip";
        // Placeholders inside the base name are text, not further arguments.
        QTest::newRow("percent in name") << "100% %2 done"
                                         << "png" << morning << "100% %2 done on 2025-03-07 at 09-05-03.png";
    }

    void stampedAndPlainNames()
    {
        QFETCH(QString, name);
        QFETCH(QString, extension);
        QFETCH(QDateTime, at);
        QFETCH(QString, expected);
        QCOMPARE(CaptureNaming::nameForFile(name, extension, at), expected);
        QCOMPARE(CaptureNaming::nameForFile(name, extension, false), name + "." + extension);
    }

    void digitsStayAsciiInAnyLocale()
    {
        const QLocale previous;
        QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt));
        const QString name = CaptureNaming::nameForFile("Markup", "png", QDateTime(QDate(2025, 3, 7), QTime(9, 5, 3)));
        QLocale::setDefault(previous);
        QCOMPARE(name, QStringLiteral("Markup on 2025-03-07 at 09-05-03.png"));
    }

    void currentTimestampIsNow()
    {
        const QDateTime before = QDateTime::currentDateTime();
        const QString name = CaptureNaming::nameForFile("Screen Shot", "png", true);
        const QDateTime after = QDateTime::currentDateTime();
        // The date and the time come from one instant: across midnight the
        // pair must match either side, never a mix of the two.
        QVERIFY2(name == CaptureNaming::nameForFile("Screen Shot", "png", before)
                || name == CaptureNaming::nameForFile("Screen Shot", "png", after),
            qPrintable(name));
    }

    void temporaryPathsAppendTheNameDirectly()
    {
        QTemporaryDir tmp;
        QVERIFY(tmp.isValid());
        const QByteArray saved = qgetenv("TMPDIR");
        for (const QString &tmpdir : { tmp.path(), tmp.path() + "/" }) {
            qputenv("TMPDIR", tmpdir.toUtf8());
            const QString dir = CaptureNaming::temporaryDirectory();
            QCOMPARE(dir, QDir(tmp.path()).canonicalPath() + "/");

            const QRegularExpression png(
                "^" + QRegularExpression::escape(dir) + R"(Screen Shot on \d{4}-\d\d-\d\d at \d\d-\d\d-\d\d\.png$)");
            QVERIFY2(png.match(CaptureNaming::captureTemporaryFilePath("Screen Shot")).hasMatch(),
                qPrintable(CaptureNaming::captureTemporaryFilePath("Screen Shot")));
            QVERIFY(CaptureNaming::captureTemporaryFilePathVideo("Screen Capture").endsWith(".mov"));
            QVERIFY(
                CaptureNaming::captureTemporaryFilePathVideo("Screen Capture").startsWith(dir + "Screen Capture on "));
        }
        qputenv("TMPDIR", "/");
        QCOMPARE(CaptureNaming::temporaryDirectory(), QStringLiteral("/"));
        // A TMPDIR that does not exist must not turn into the root folder.
        qputenv("TMPDIR", tmp.filePath("missing").toUtf8());
        QCOMPARE(CaptureNaming::temporaryDirectory(), QStringLiteral("/tmp/"));
        qputenv("TMPDIR", saved);
    }
};

QTEST_GUILESS_MAIN(TestCaptureNaming)
#include "tst_capturenaming.moc"
