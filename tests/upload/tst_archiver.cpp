// Archiver runs the real /usr/bin/zip; archives are checked with unzip.
#include "archiver.h"
#include "capturenaming.h"
#include "dispatch.h"
#include "logcapture.h"
#include "testfiles.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray unzip(const QStringList &arguments)
{
    QProcess process;
    process.start("unzip", arguments);
    if (!process.waitForFinished(30000) || process.exitCode() != 0)
        qFatal("unzip %s failed: %s", qPrintable(arguments.join(' ')), process.readAllStandardError().constData());
    return process.readAllStandardOutput();
}

// Entry names as stored, sorted (for names without line breaks).
QStringList entries(const QUrl &archive)
{
    QStringList names = QString::fromUtf8(unzip({ "-Z1", archive.toLocalFile() })).split('\n', Qt::SkipEmptyParts);
    names.sort();
    return names;
}

} // namespace

class TestArchiver : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;

    // Where archives go: a folder of their own, mode 0700, in the user's
    // private temporary folder.
    static QString privateFolderOf(const QUrl &archive)
    {
        const QFileInfo info(archive.toLocalFile());
        struct stat st
        {
        };
        if (::lstat(QFile::encodeName(info.absolutePath()).constData(), &st) != 0 || !S_ISDIR(st.st_mode)
            || st.st_uid != ::getuid() || (st.st_mode & 0777) != 0700)
            return {};
        const QString parent = QFileInfo(info.absolutePath()).absolutePath() + "/";
        return parent == CaptureNaming::temporaryDirectory() ? info.absolutePath() : QString();
    }

    static QStringList temporaryEntries()
    {
        return QDir(CaptureNaming::temporaryDirectory())
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QFileInfo::exists("/usr/bin/zip"));
        QVERIFY(m_home.isValid());
        TestFiles::write(m_home.filePath("Photos/beach.jpg"), "jpeg bytes");
        TestFiles::write(m_home.filePath("Photos/2024/snow.png"), "png bytes");
        TestFiles::write(m_home.filePath("Photos/.DS_Store"), "finder");
        TestFiles::write(m_home.filePath("Photos/2024/.DS_Store"), "finder");
        QDir().mkpath(m_home.filePath("Photos/empty"));
    }

    void folderIsArchivedUnderItsOwnName()
    {
        LogCapture log;
        const QUrl archive = Archiver::zipFiles({ m_home.filePath("Photos/") });
        QCOMPARE(QFileInfo(archive.toLocalFile()).fileName(), QStringLiteral("Photos.zip"));
        const QString folder = privateFolderOf(archive);
        QVERIFY2(!folder.isEmpty(), qPrintable(archive.toLocalFile()));
        // Relative to the folder's parent; no directory entries, no .DS_Store.
        QCOMPARE(entries(archive), QStringList({ "Photos/2024/snow.png", "Photos/beach.jpg" }));
        QCOMPARE(unzip({ "-p", archive.toLocalFile(), "Photos/2024/snow.png" }), QByteArray("png bytes"));
        QVERIFY(log.contains("Archive Task: /usr/bin/zip (\"-r\", \"-9\", \"-y\", \"-x\", \"*.DS_Store\", \"-D\", \""
            + archive.toLocalFile() + "\", \"Photos\")"));

        Archiver::removeArchive(archive);
        QVERIFY(!QFileInfo::exists(folder));
    }

    // Each archive is one this call wrote: never one planted at a name we
    // would pick, never one shared with another folder of the same name.
    void everyArchiveIsNewAndOwn()
    {
        TestFiles::write(m_home.filePath("one/src/a.txt"), "one");
        TestFiles::write(m_home.filePath("two/src/b.txt"), "two");
        const QString planted = QDir::tempPath() + "/src.zip";
        const bool plantedHere = !QFileInfo::exists(planted) && QFile::copy(m_home.filePath("one/src/a.txt"), planted);

        const QUrl one = Archiver::zipFiles({ m_home.filePath("one/src") });
        const QUrl two = Archiver::zipFiles({ m_home.filePath("two/src") });
        if (plantedHere)
            QFile::remove(planted);
        QVERIFY(one != two);
        QVERIFY(one.toLocalFile() != planted && !privateFolderOf(one).isEmpty() && !privateFolderOf(two).isEmpty());
        QCOMPARE(entries(one), QStringList({ "src/a.txt" }));
        QCOMPARE(entries(two), QStringList({ "src/b.txt" }));

        // Archiving the folder again does not add to the earlier archive.
        QFile::remove(m_home.filePath("one/src/a.txt"));
        TestFiles::write(m_home.filePath("one/src/new.txt"), "new");
        const QUrl again = Archiver::zipFiles({ m_home.filePath("one/src") });
        QCOMPARE(entries(again), QStringList({ "src/new.txt" }));
        for (const QUrl &archive : { one, two, again })
            Archiver::removeArchive(archive);
    }

    // Links are stored as links: one to the settings file must not put the
    // token into the archive, and a loop must not run without end.
    void linksAreStoredNotFollowed()
    {
        TestFiles::write(m_home.filePath("secret.ini"), "token=tk_secret");
        TestFiles::write(m_home.filePath("Linked/plain.txt"), "plain");
        QVERIFY(QFile::link(m_home.filePath("secret.ini"), m_home.filePath("Linked/settings")));
        QVERIFY(QFile::link(m_home.filePath("Linked"), m_home.filePath("Linked/loop")));
        const QUrl archive = Archiver::zipFiles({ m_home.filePath("Linked") });
        QCOMPARE(entries(archive), QStringList({ "Linked/loop", "Linked/plain.txt", "Linked/settings" }));
        QCOMPARE(unzip({ "-p", archive.toLocalFile(), "Linked/settings" }), m_home.filePath("secret.ini").toUtf8());
        Archiver::removeArchive(archive);
    }

    void awkwardNamesArriveIntact()
    {
        // Names a shell, an option parser or zip's own wildcards would mangle.
        const QStringList names { "-rf", "--version", "-x", "it's \"quoted\"", "new\nline", "Ünïcödé ✓.txt", "a*b",
            "ab", "x[1].txt", "$(touch pwned)", " leading space" };
        const QString dir = m_home.filePath("awkward");
        QStringList paths;
        for (const QString &name : names) {
            TestFiles::write(dir + "/" + name, name.toUtf8());
            if (name != "ab") // "a*b" must not pull in its sibling
                paths << dir + "/" + name;
        }
        TestFiles::write(dir + "/-Dashed folder/inside.txt", "inside");
        paths << dir + "/-Dashed folder";

        const QUrl archive = Archiver::zipFiles(paths);
        QVERIFY(archive.isValid());
        QStringList expected = names;
        expected.removeAll("ab");
        expected << "-Dashed folder/inside.txt";
        // unzip lists control characters escaped; extracting with -^ gives
        // the stored names back byte for byte.
        QTemporaryDir out;
        unzip({ "-^", "-q", archive.toLocalFile(), "-d", out.path() });
        QStringList extracted;
        QDirIterator it(out.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString file = it.next();
            extracted << QDir(out.path()).relativeFilePath(file);
            const QString original = file.mid(out.path().size() + 1);
            QFile copy(file);
            QVERIFY(copy.open(QIODevice::ReadOnly));
            QCOMPARE(
                copy.readAll(), original == "-Dashed folder/inside.txt" ? QByteArray("inside") : original.toUtf8());
        }
        extracted.sort();
        expected.sort();
        QCOMPARE(extracted, expected);
        QVERIFY(!QFileInfo::exists(dir + "/pwned"));
        QVERIFY2(QRegularExpression(R"(^Archive on \d{4}-\d\d-\d\d at \d\d-\d\d-\d\d\.zip$)")
                     .match(QFileInfo(archive.toLocalFile()).fileName())
                     .hasMatch(),
            qPrintable(archive.toLocalFile()));

        // A single dashed file names the archive after itself.
        const QUrl single = Archiver::zipFiles({ dir + "/-rf" });
        QCOMPARE(QFileInfo(single.toLocalFile()).fileName(), QStringLiteral("-rf.zip"));
        QCOMPARE(entries(single), QStringList({ "-rf" }));
        QCOMPARE(unzip({ "-p", single.toLocalFile() }), QByteArray("-rf"));
        Archiver::removeArchive(archive);
        Archiver::removeArchive(single);
    }

    // Anything zip could not take whole fails the archive: no partial
    // archive is returned, and none is left behind.
    void badInputIsReportedNotArchived()
    {
        LogCapture log;
        const QStringList before = temporaryEntries();
        QCOMPARE(Archiver::zipFiles({}), QUrl());

        const QString missing = m_home.filePath("does not exist");
        QCOMPARE(Archiver::zipFiles({ missing }), QUrl());
        QVERIFY(log.containsText("zip could not add " + missing + ": exit code 12"));
        TestFiles::write(m_home.filePath("present.txt"), "here");
        QCOMPARE(Archiver::zipFiles({ m_home.filePath("present.txt"), missing }), QUrl());
        QCOMPARE(temporaryEntries(), before);
    }

    void asynchronousFormReportsOnTheMainThread()
    {
        QUrl result;
        bool onMain = false;
        bool called = false;
        Archiver::zipFiles({ m_home.filePath("Photos") }, [&](const QUrl &archive) {
            result = archive;
            onMain = Dispatch::isMainThread();
            called = true;
        });
        QVERIFY(!called);
        QTRY_VERIFY_WITH_TIMEOUT(called, 30000);
        QVERIFY(onMain);
        QCOMPARE(entries(result), QStringList({ "Photos/2024/snow.png", "Photos/beach.jpg" }));
        Archiver::removeArchive(result);
    }
};

QTEST_GUILESS_MAIN(TestArchiver)
#include "tst_archiver.moc"
