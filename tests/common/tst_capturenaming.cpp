#include "capturenaming.h"
#include "usertemporarydirectory.h"

#include <QDir>
#include <QLocale>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

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
        const auto row = [](const char *tag, const QString &name, const QString &extension, const QDateTime &at,
                             const QString &expected) { QTest::newRow(tag) << name << extension << at << expected; };
        row("screen shot, zero-padded", "Screen Shot", "png", morning, "Screen Shot on 2025-03-07 at 09-05-03.png");
        row("24-hour clock", "Screen Capture", "mov", QDateTime(QDate(2025, 12, 31), QTime(23, 59, 59)),
            "Screen Capture on 2025-12-31 at 23-59-59.mov");
        row("archive", "Archive", "zip", morning, "Archive on 2025-03-07 at 09-05-03.zip");
        // Placeholders inside the base name are text, not further arguments.
        row("percent in name", "100% %2 done", "png", morning, "100% %2 done on 2025-03-07 at 09-05-03.png");
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
        // The date and the time come from one instant: across midnight a mix
        // of the two would be a day off.
        const QDateTime stamp = QDateTime::fromString(name, "'Screen Shot on 'yyyy-MM-dd' at 'HH-mm-ss'.png'");
        QVERIFY2(stamp.isValid(), qPrintable(name));
        QVERIFY2(stamp >= before.addMSecs(-before.time().msec()) && stamp <= after, qPrintable(name));
    }

    // Files waiting for upload go to a fresh 0700 folder of the user's, in
    // $XDG_RUNTIME_DIR when that is private, never under a predictable name
    // in the shared temporary folder.
    void temporaryFolderIsPrivateAndFresh_data()
    {
        QTest::addColumn<QString>("runtimeMode"); // "private", "shared", "missing" or "unset"
        QTest::addColumn<bool>("tmpdirExists");
        QTest::addColumn<QString>("expectedParent"); // "runtime", "tmpdir" or "/tmp"
        QTest::newRow("private runtime folder") << "private" << true << "runtime";
        QTest::newRow("runtime folder others can write") << "shared" << true << "tmpdir";
        QTest::newRow("runtime folder missing") << "missing" << true << "tmpdir";
        QTest::newRow("no runtime folder") << "unset" << true << "tmpdir";
        QTest::newRow("TMPDIR missing too") << "unset" << false << "/tmp";
    }

    void temporaryFolderIsPrivateAndFresh()
    {
        QFETCH(QString, runtimeMode);
        QFETCH(bool, tmpdirExists);
        QFETCH(QString, expectedParent);
        QTemporaryDir runtime, tmp;
        QVERIFY(runtime.isValid() && tmp.isValid());
        QFile::setPermissions(runtime.path(),
            runtimeMode == "shared" ? QFileDevice::Permissions(0x7777)
                                    : QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        const QByteArray savedRuntime = qgetenv("XDG_RUNTIME_DIR"), savedTmp = qgetenv("TMPDIR");
        if (runtimeMode == "unset")
            qunsetenv("XDG_RUNTIME_DIR");
        else
            qputenv("XDG_RUNTIME_DIR",
                runtimeMode == "missing" ? runtime.filePath("gone").toUtf8() : runtime.path().toUtf8());
        qputenv("TMPDIR", tmpdirExists ? tmp.path().toUtf8() : tmp.filePath("gone").toUtf8());
        const QString first = UserTemporaryDirectory::create();
        const QString second = UserTemporaryDirectory::create();
        qputenv("XDG_RUNTIME_DIR", savedRuntime);
        qputenv("TMPDIR", savedTmp);

        const QString parent = expectedParent == "runtime" ? runtime.path()
            : expectedParent == "tmpdir"                   ? tmp.path()
                                                           : "/tmp";
        for (const QString &dir : { first, second }) {
            QVERIFY2(dir.startsWith(parent + "/tessly-") && dir.endsWith('/'), qPrintable(dir));
            struct stat st
            {
            };
            QCOMPARE(::lstat(QFile::encodeName(dir).constData(), &st), 0);
            QVERIFY(S_ISDIR(st.st_mode));
            QCOMPARE(st.st_mode & 0777, 0700u);
            QCOMPARE(st.st_uid, ::getuid());
            QVERIFY(QDir(dir).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
            QDir().rmdir(dir);
        }
        QVERIFY(first != second);

        // The run keeps one folder, and names go straight after it.
        const QString dir = CaptureNaming::temporaryDirectory();
        QCOMPARE(UserTemporaryDirectory::path(), dir);
        QVERIFY(CaptureNaming::captureTemporaryFilePath("Screen Shot").startsWith(dir + "Screen Shot on "));
        QVERIFY(CaptureNaming::captureTemporaryFilePathVideo("Screen Capture").startsWith(dir + "Screen Capture on "));
        const QString job = UserTemporaryDirectory::makeJobFolder("job");
        QVERIFY2(job.startsWith(dir + "job-"), qPrintable(job));
        QVERIFY(job != UserTemporaryDirectory::makeJobFolder("job"));
    }
};

QTEST_GUILESS_MAIN(TestCaptureNaming)
#include "tst_capturenaming.moc"
