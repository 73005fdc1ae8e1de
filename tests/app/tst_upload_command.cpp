// `tessly upload`, `uploads`, `resume` and `cancel-all` as users and scripts
// run them: the real binary against the real reference service, including a
// large upload killed with SIGKILL at random moments and resumed.
#include "multipartuploadstate.h"
#include "referenceserver.h"
#include "testfiles.h"

#include <QCryptographicHash>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace {

struct Run
{
    int status = -1;
    QString out;
    QString err;
};

} // namespace

class TestUploadCommand : public QObject
{
    Q_OBJECT
private:
    ReferenceServer server;
    QTemporaryDir dir;

    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("TESSLY_API_URL"), server.apiUrl());
        env.insert(QStringLiteral("TESSLY_WEB_DOMAIN"), server.webDomain());
        env.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*.info=false"));
        return env;
    }

    static QString tessly() { return qEnvironmentVariable("TESSLY_BINARY_DIR") + QStringLiteral("/src/app/tessly"); }

    Run run(const QStringList &args)
    {
        QProcess process;
        process.setProcessEnvironment(environment());
        process.start(tessly(), args);
        process.waitForFinished(120000);
        return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError()) };
    }

    QByteArray downloaded(const QString &link)
    {
        const QString code = link.section(QLatin1Char('/'), -1);
        const auto reply = server.request("GET", QStringLiteral("/%1/download").arg(code), {},
            { { "Host", QStringLiteral("cli.%1").arg(server.webDomain()).toUtf8() } });
        return QCryptographicHash::hash(reply.body, QCryptographicHash::Sha256);
    }

private Q_SLOTS:
    void initTestCase()
    {
        ReferenceServer::Options options;
        options.partSize = 1024 * 1024;
        QVERIFY2(server.start(options), qPrintable(server.errorString()));
        const QString token
            = server.addUser(QStringLiteral("cli@example.com"), QStringLiteral("secret-pass"), QStringLiteral("cli"));
        QVERIFY(!token.isEmpty());
        const Run login = run({ QStringLiteral("login"), QStringLiteral("--token"), token });
        QVERIFY2(login.status == 0, qPrintable(login.err));
    }

    void printsOneLinkPerFileInOrder()
    {
        const QString a = TestFiles::random(dir.path(), QStringLiteral("a notes.txt"), 1000);
        const QString b = TestFiles::random(dir.path(), QStringLiteral("-b.bin"), 300000);
        const Run r = run({ QStringLiteral("upload"), a, dir.filePath(QStringLiteral("missing.png")), b });
        QCOMPARE(r.status, 1); // one file was missing
        const QStringList links = r.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(links.size(), 2);
        QVERIFY(links[0].startsWith(QStringLiteral("https://cli.%1/").arg(server.webDomain())));
        QCOMPARE(downloaded(links[0]), TestFiles::sha256(a));
        QCOMPARE(downloaded(links[1]), TestFiles::sha256(b));
        QVERIFY2(r.err.contains(QLatin1String("missing.png: no such file")), qPrintable(r.err));

        const Run none = run({ QStringLiteral("upload") });
        QCOMPARE(none.status, 2);
        QVERIFY(none.err.contains(QLatin1String("usage: tessly upload FILE...")));
        QCOMPARE(run({ QStringLiteral("upload"), QStringLiteral("--bogus") }).status, 2);
    }

    void killedUploadResumesWithoutResendingFinishedParts()
    {
        // Slow the store down so every kill lands mid-upload: each part waits
        // 300 ms, so one run of at most 1.3 s gets at most about 20 of the 60
        // parts through, and three runs never finish the upload.
        QVERIFY(server.setFaults(QStringLiteral("put.stall=1,stall-ms=300,put.only=parts")));
        const QString big = TestFiles::random(dir.path(), QStringLiteral("big take.mov"), 60 * 1024 * 1024);

        QString uploadId;
        for (int kill = 0; kill < 3; ++kill) {
            QProcess process;
            process.setProcessEnvironment(environment());
            process.start(tessly(), { QStringLiteral("upload"), big });
            QVERIFY(process.waitForStarted());
            QTest::qWait(400 + QRandomGenerator::global()->bounded(900));
            ::kill(pid_t(process.processId()), SIGKILL);
            process.waitForFinished();
            if (const auto record = TLMultipartUploadState::stateForFilePath(big))
                uploadId = record->uploadId();
        }
        QVERIFY2(!uploadId.isEmpty(), "no kill landed while the upload was under way");

        const Run listed = run({ QStringLiteral("uploads") });
        QCOMPARE(listed.status, 0);
        QVERIFY2(listed.out.contains(big), qPrintable(listed.out));

        const auto record = TLMultipartUploadState::stateForFilePath(big);
        QVERIFY(record);
        QList<int> doneBefore;
        for (const auto &part : record->completedParts())
            doneBefore << int(part->partNumber());
        const auto before = server.partPutCounts(record->uploadId());

        QVERIFY(server.setFaults(QStringLiteral("off")));
        const Run resumed = run({ QStringLiteral("resume") });
        QVERIFY2(resumed.status == 0, qPrintable(resumed.err));
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
        process.start(tessly(), { QStringLiteral("upload"), big });
        QTRY_VERIFY_WITH_TIMEOUT(TLMultipartUploadState::stateForFilePath(big), 10000);
        ::kill(pid_t(process.processId()), SIGKILL);
        process.waitForFinished();
        QVERIFY(server.setFaults(QStringLiteral("off")));

        const Run cancelled = run({ QStringLiteral("cancel-all") });
        QVERIFY2(cancelled.status == 0, qPrintable(cancelled.err));
        QVERIFY(cancelled.out.contains(QLatin1String("Cancelled 1 unfinished upload.")));
        QVERIFY(!TLMultipartUploadState::stateForFilePath(big));
        QCOMPARE(run({ QStringLiteral("resume") }).out.trimmed(), QStringLiteral("Nothing to resume."));
    }
};

QTEST_GUILESS_MAIN(TestUploadCommand)
#include "tst_upload_command.moc"
