// Archiver runs the real /usr/bin/zip; archives are checked with unzip.
#include "archiver.h"
#include "dispatch.h"
#include "logcapture.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write fixture %s", qPrintable(path));
}

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

    QTemporaryDir m_tmp;
    QTemporaryDir m_home;
    QByteArray m_savedTmpdir;
    QString tmp() const { return QDir(m_tmp.path()).canonicalPath() + "/"; }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QFileInfo::exists("/usr/bin/zip"));
        QVERIFY(m_tmp.isValid() && m_home.isValid());
        m_savedTmpdir = qgetenv("TMPDIR");
        qputenv("TMPDIR", m_tmp.path().toUtf8());

        writeFile(m_home.filePath("Photos/beach.jpg"), "jpeg bytes");
        writeFile(m_home.filePath("Photos/2024/snow.png"), "png bytes");
        writeFile(m_home.filePath("Photos/.DS_Store"), "finder");
        writeFile(m_home.filePath("Photos/2024/.DS_Store"), "finder");
        QDir().mkpath(m_home.filePath("Photos/empty"));
    }

    void cleanupTestCase() { qputenv("TMPDIR", m_savedTmpdir); }

    void folderIsArchivedUnderItsOwnName()
    {
        LogCapture log;
        const QUrl archive = Archiver::zipFiles({ m_home.filePath("Photos/") });
        QCOMPARE(archive, QUrl::fromLocalFile(tmp() + "Photos.zip"));
        // Relative to the folder's parent; no directory entries, no .DS_Store.
        QCOMPARE(entries(archive), QStringList({ "Photos/2024/snow.png", "Photos/beach.jpg" }));
        QCOMPARE(unzip({ "-p", archive.toLocalFile(), "Photos/2024/snow.png" }), QByteArray("png bytes"));
        QVERIFY(log.contains("Archive Task: /usr/bin/zip (\"-r\", \"-9\", \"-x\", \"*.DS_Store\", \"-D\", \"" + tmp()
            + "Photos.zip\", \"Photos\")"));
    }

    void archivingAgainReplacesTheEarlierArchive()
    {
        const QString folder = m_home.filePath("Again");
        writeFile(folder + "/old.txt", "old");
        QCOMPARE(entries(Archiver::zipFiles({ folder })), QStringList({ "Again/old.txt" }));

        QFile::remove(folder + "/old.txt");
        writeFile(folder + "/new.txt", "new");
        LogCapture log;
        const QUrl archive = Archiver::zipFiles({ folder });
        QCOMPARE(entries(archive), QStringList({ "Again/new.txt" }));
        QVERIFY(log.contains("File exists at path: " + tmp() + "Again.zip"));
    }

    void severalItemsMakeADatedArchive()
    {
        writeFile(m_home.filePath("a/notes.txt"), "notes");
        writeFile(m_home.filePath("b/c/report.pdf"), "pdf");
        const QUrl archive = Archiver::zipFiles(
            { m_home.filePath("a/notes.txt"), m_home.filePath("b/c/report.pdf"), m_home.filePath("Photos") });
        const QFileInfo info(archive.toLocalFile());
        QCOMPARE(info.absolutePath() + "/", tmp());
        QVERIFY2(QRegularExpression(R"(^Archive on \d{4}-\d\d-\d\d at \d\d-\d\d-\d\d\.zip$)")
                     .match(info.fileName())
                     .hasMatch(),
            qPrintable(info.fileName()));
        QCOMPARE(
            entries(archive), QStringList({ "Photos/2024/snow.png", "Photos/beach.jpg", "notes.txt", "report.pdf" }));
        QVERIFY(Archiver::captureTemporaryFilePathWithName("Archive").endsWith(".zip"));
        QVERIFY(!Archiver::captureTemporaryFilePathWithName("Archive").contains('/'));
    }

    void awkwardNamesArriveIntact()
    {
        // Names a shell, an option parser or zip's own wildcards would mangle.
        const QStringList names { "-rf", "--version", "-x", "it's \"quoted\"", "new\nline", "Ünïcödé ✓.txt", "a*b",
            "ab", "x[1].txt", "$(touch pwned)", " leading space" };
        const QString dir = m_home.filePath("awkward");
        QStringList paths;
        for (const QString &name : names) {
            writeFile(dir + "/" + name, name.toUtf8());
            if (name != "ab") // "a*b" must not pull in its sibling
                paths << dir + "/" + name;
        }
        writeFile(dir + "/-Dashed folder/inside.txt", "inside");
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

        // A single dashed file names the archive after itself.
        const QUrl single = Archiver::zipFiles({ dir + "/-rf" });
        QCOMPARE(single, QUrl::fromLocalFile(tmp() + "-rf.zip"));
        QCOMPARE(entries(single), QStringList({ "-rf" }));
        QCOMPARE(unzip({ "-p", single.toLocalFile() }), QByteArray("-rf"));
    }

    void badInputIsReportedNotArchived()
    {
        LogCapture log;
        QCOMPARE(Archiver::zipFiles({}), QUrl());

        const QString missing = m_home.filePath("does not exist");
        QCOMPARE(Archiver::zipFiles({ missing }), QUrl());
        QVERIFY(!QFileInfo::exists(tmp() + "does not exist.zip"));
        QVERIFY(log.containsText("zip could not add " + missing + ": exit code 12"));

        // What can be read still makes it into the archive.
        writeFile(m_home.filePath("present.txt"), "here");
        const QUrl archive = Archiver::zipFiles({ missing, m_home.filePath("present.txt") });
        QCOMPARE(entries(archive), QStringList({ "present.txt" }));
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
        QCOMPARE(result, QUrl::fromLocalFile(tmp() + "Photos.zip"));
    }
};

QTEST_GUILESS_MAIN(TestArchiver)
#include "tst_archiver.moc"
