// `tessly upload`, `uploads`, `resume` and `cancel-all` as users and scripts
// run them: the real binary against the real reference service, including a
// large upload killed with SIGKILL at random moments and resumed.
#include "multipartuploadstate.h"
#include "referenceserver.h"
#include "tesslycommand.h"
#include "testfiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Run = TesslyCommand::Run;

class TestUploadCommand : public QObject
{
    Q_OBJECT
private:
    ReferenceServer server;
    QTemporaryDir dir;
    QTemporaryDir tmp; // the command's temporary folder

    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("TESSLY_API_URL"), server.apiUrl());
        env.insert(QStringLiteral("TESSLY_WEB_DOMAIN"), server.webDomain());
        env.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*.info=false"));
        env.remove(QStringLiteral("XDG_RUNTIME_DIR"));
        env.insert(QStringLiteral("TMPDIR"), tmp.path());
        return env;
    }

    Run run(const QStringList &args) { return TesslyCommand::run(args, environment()); }

    // What a visitor of the share link gets, and its SHA-256.
    QByteArray body(const QString &link) { return server.shareDownload("cli", link.section('/', -1)).body; }
    QByteArray downloaded(const QString &link) { return server.shareDownloadSha256("cli", link.section('/', -1)); }

private Q_SLOTS:
    void initTestCase()
    {
        ReferenceServer::Options options;
        options.partSize = 5 * 1024 * 1024; // the smallest part S3 takes
        QVERIFY2(server.start(options), qPrintable(server.errorString()));
        const QString token
            = server.addUser(QStringLiteral("cli@example.com"), QStringLiteral("secret-pass"), QStringLiteral("cli"));
        QVERIFY(!token.isEmpty());
        const Run login = run({ QStringLiteral("login"), QStringLiteral("--token"), token });
        QVERIFY2(login.exitCode == 0, qPrintable(login.err));
    }

    void printsOneLinkPerFileInOrder()
    {
        const QString a = TestFiles::random(dir.path(), QStringLiteral("a notes.txt"), 1000);
        const QString b = TestFiles::random(dir.path(), QStringLiteral("-b.bin"), 300000);
        // Two folders of one name: each goes as its own archive.
        QVERIFY(
            QDir(dir.path()).mkpath(QStringLiteral("one/src")) && QDir(dir.path()).mkpath(QStringLiteral("two/src")));
        TestFiles::random(dir.filePath(QStringLiteral("one/src")), QStringLiteral("first.txt"), 10);
        TestFiles::random(dir.filePath(QStringLiteral("two/src")), QStringLiteral("second.txt"), 10);
        const Run r = run({ QStringLiteral("upload"), a, dir.filePath(QStringLiteral("missing.png")), b,
            dir.filePath(QStringLiteral("one/src")), dir.filePath(QStringLiteral("two/src")) });
        QCOMPARE(r.exitCode, 1); // one file was missing
        const QStringList links = r.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(links.size(), 4);
        QVERIFY(links[0].startsWith(QStringLiteral("https://cli.%1/").arg(server.webDomain())));
        QCOMPARE(downloaded(links[0]), TestFiles::sha256(a));
        QCOMPARE(downloaded(links[1]), TestFiles::sha256(b));
        QVERIFY(body(links[2]).contains("src/first.txt") && !body(links[2]).contains("src/second.txt"));
        QVERIFY(body(links[3]).contains("src/second.txt") && !body(links[3]).contains("src/first.txt"));
        QVERIFY2(r.err.contains(QLatin1String("missing.png: no such file")), qPrintable(r.err));
        // A name's control characters reach the terminal quoted.
        const Run evil
            = run({ QStringLiteral("upload"), dir.filePath(QStringLiteral("red\x1b[31m\nfake: ok\u202e.png")) });
        QCOMPARE(evil.exitCode, 1);
        QVERIFY2(evil.err.endsWith(QStringLiteral("red\\x1B[31m\\x0Afake: ok\\u202E.png: no such file\n")),
            qPrintable(evil.err));
        // Archives go once uploaded, and with them the run's private folder.
        QVERIFY2(QDir(tmp.path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
            qPrintable(QDir(tmp.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).join(' ')));

        const Run none = run({ QStringLiteral("upload") });
        QCOMPARE(none.exitCode, 2);
        QVERIFY(none.err.contains(QLatin1String("usage: tessly upload FILE...")));
        QCOMPARE(run({ QStringLiteral("upload"), QStringLiteral("--bogus") }).exitCode, 2);
    }

    void namesOfEveryKindUpload()
    {
        // A file and a folder named in Latin-1, as an older system left them,
        // and a name holding a terminal escape sequence.
        const QByteArray root = QFile::encodeName(dir.path());
        const QByteArray file = root + "/caf\xe9.txt";
        const QByteArray folder = root + "/d\xe9j\xe0";
        const QByteArray escaping = root + "/esc\x1b]0;title\x07.txt";
        QVERIFY(::mkdir(folder.constData(), 0700) == 0);
        const QByteArray content = "bytes of a file with an old name\n";
        for (const QByteArray &path : { file, folder + "/inside.txt", escaping }) {
            const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL, 0600);
            QVERIFY(fd >= 0 && ::write(fd, content.constData(), content.size()) == content.size() && ::close(fd) == 0);
        }
        // Passed as the shell passes them: the bytes as they are.
        QProcess process;
        process.setProcessEnvironment(environment());
        process.start(QStringLiteral("sh"),
            { QStringLiteral("-c"),
                QStringLiteral("export TESSLY_VERBOSE=1; exec \"$0\" upload \"$1/$(printf 'caf\\351.txt')\" "
                               "\"$1/$(printf 'd\\351j\\340')\" \"$1/$(printf 'esc\\033]0;title\\007.txt')\""),
                TesslyCommand::program(), dir.path() });
        QVERIFY(process.waitForFinished(120000));
        const QString err = QString::fromUtf8(process.readAllStandardError());
        QVERIFY2(process.exitCode() == 0, qPrintable(err));
        const QStringList links
            = QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(links.size(), 3);
        QCOMPARE(body(links[0]), content);
        QVERIFY(body(links[1]).contains("inside.txt"));
        QCOMPARE(body(links[2]), content);
        QVERIFY2(!err.contains(QChar(0x1b)) && !err.contains(QChar(0x07)), "no raw control character in the log");
    }

    void killedUploadResumesWithoutResendingFinishedParts()
    {
        // Slow the store down (each part PUT waits 2 s) and kill each run as
        // soon as one more part of the 12 is through, so every kill lands
        // mid-upload.
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=2000,put.only=parts")));
        const QString big = TestFiles::random(dir.path(), QStringLiteral("big take.mov"), 60 * 1024 * 1024);

        qsizetype partsDone = 0;
        for (int kill = 0; kill < 2; ++kill) {
            QProcess process;
            process.setProcessEnvironment(environment());
            process.start(TesslyCommand::program(), { QStringLiteral("upload"), big });
            QVERIFY(process.waitForStarted());
            QTRY_VERIFY_WITH_TIMEOUT(TLMultipartUploadState::stateForFilePath(big)
                    && TLMultipartUploadState::stateForFilePath(big)->completedParts().size() > partsDone,
                30000);
            ::kill(pid_t(process.processId()), SIGKILL);
            process.waitForFinished();
            partsDone = TLMultipartUploadState::stateForFilePath(big)->completedParts().size();
        }
        QVERIFY(partsDone < 12);

        const Run listed = run({ QStringLiteral("uploads") });
        QCOMPARE(listed.exitCode, 0);
        QVERIFY2(listed.out.contains(big), qPrintable(listed.out));

        const auto record = TLMultipartUploadState::stateForFilePath(big);
        QVERIFY(record);
        QList<int> doneBefore;
        for (const auto &part : record->completedParts())
            doneBefore << int(part->partNumber());
        const auto before = server.partPutCounts(record->uploadId());

        QVERIFY(server.setFaults(QStringLiteral("off")));
        const Run resumed = run({ QStringLiteral("resume") });
        QVERIFY2(resumed.exitCode == 0, qPrintable(resumed.err));
        QCOMPARE(downloaded(resumed.out.trimmed()), TestFiles::sha256(big));

        const auto after = server.partPutCounts(record->uploadId());
        for (int number : doneBefore)
            QCOMPARE(after.value(number), before.value(number));
        QVERIFY(!TLMultipartUploadState::stateForFilePath(big));
        QCOMPARE(run({ QStringLiteral("uploads") }).out.trimmed(), QStringLiteral("No unfinished uploads."));
    }

    void cancelAllForgetsUnfinishedUploads()
    {
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=30000,put.only=parts")));
        const QString big = TestFiles::random(dir.path(), QStringLiteral("abandoned.bin"), 55 * 1024 * 1024);
        QProcess process;
        process.setProcessEnvironment(environment());
        process.start(TesslyCommand::program(), { QStringLiteral("upload"), big });
        QTRY_VERIFY_WITH_TIMEOUT(TLMultipartUploadState::stateForFilePath(big), 10000);
        ::kill(pid_t(process.processId()), SIGKILL);
        process.waitForFinished();
        QVERIFY(server.setFaults(QStringLiteral("off")));

        const Run cancelled = run({ QStringLiteral("cancel-all") });
        QVERIFY2(cancelled.exitCode == 0, qPrintable(cancelled.err));
        QVERIFY(cancelled.out.contains(QLatin1String("Cancelled 1 unfinished upload.")));
        QVERIFY(!TLMultipartUploadState::stateForFilePath(big));
        QCOMPARE(run({ QStringLiteral("resume") }).out.trimmed(), QStringLiteral("Nothing to resume."));
    }
};

QTEST_GUILESS_MAIN(TestUploadCommand)
#include "tst_upload_command.moc"
