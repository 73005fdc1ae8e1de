// `tessly record` as a script runs it, on a real X desktop with its own sound
// server (the harness's --audio), the real ffmpeg and the reference service:
// a window of moving stripes is recorded, uploaded, downloaded through its
// share link and looked at the way a viewer would.
#include "e2e.h"
#include "referenceserver.h"
#include "tesslycommand.h"

#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QWidget>

#include <csignal>

namespace {

// Left half red; on the right a blue bar sliding over white, so frames
// taken at different moments differ where the bar was.
class MovingPattern : public QWidget
{
public:
    MovingPattern()
    {
        setWindowTitle(QStringLiteral("Moving pattern"));
        setGeometry(101, 121, 321, 241);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            m_offset = (m_offset + 4) % 120;
            update();
        });
        m_timer.start(30);
        show();
        [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(this);
    }
    static bool isRed(const QColor &c) { return c.red() > 180 && c.green() < 80 && c.blue() < 80; }
    static bool isBlue(const QColor &c) { return c.blue() > 180 && c.red() < 80 && c.green() < 80; }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        p.fillRect(0, 0, width() / 2, height(), Qt::red);
        p.fillRect(width() / 2, 0, width() - width() / 2, height(), Qt::white);
        p.fillRect(width() / 2 + m_offset, 0, 40, height(), Qt::blue);
    }

private:
    QTimer m_timer;
    int m_offset = 0;
};

} // namespace

class TestRecordCommand : public QObject
{
    Q_OBJECT

    ReferenceServer m_server;
    QTemporaryDir m_tmp;
    std::unique_ptr<MovingPattern> m_pattern;

    QString region() const
    {
        const QRect g = m_pattern->geometry();
        return QStringLiteral("%1,%2,%3,%4").arg(g.x()).arg(g.y()).arg(g.width()).arg(g.height());
    }

    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("TESSLY_API_URL"), m_server.apiUrl());
        env.insert(QStringLiteral("TESSLY_WEB_DOMAIN"), m_server.webDomain());
        env.insert(QStringLiteral("TMPDIR"), m_tmp.path());
        return env;
    }

    // `tessly ARGS`, or PROGRAM ARGS when one is given.
    void start(QProcess &process, const QStringList &args, const QString &program = {})
    {
        process.setProcessEnvironment(environment());
        process.start(program.isEmpty() ? TesslyCommand::program() : program, args);
    }

    // The pid of the ffmpeg that `process` runs, once it has begun the movie.
    static QString recordingFfmpeg(const QProcess &process, QString *movie)
    {
        QString ffmpeg;
        const auto child = [&] {
            ffmpeg = QString::fromLatin1(
                E2E::runTool("pgrep", { "-P", QString::number(process.processId()), "ffmpeg" }).trimmed());
            return !ffmpeg.isEmpty();
        };
        QFile cmdline;
        if (!QTest::qWaitFor(child, 10000)
            || (cmdline.setFileName(QStringLiteral("/proc/%1/cmdline").arg(ffmpeg)),
                !cmdline.open(QIODevice::ReadOnly)))
            return {};
        *movie = QString::fromLocal8Bit(cmdline.readAll().chopped(1).split('\0').last());
        const bool begun = QTest::qWaitFor([&] { return QFileInfo::exists(*movie); }, 10000); // the first frame
        return begun ? ffmpeg : QString();
    }

    // The pattern keeps moving meanwhile.
    TesslyCommand::Run run(const QStringList &args) { return TesslyCommand::run(args, environment(), {}, 90000); }

    QString download(const QString &link, const QString &name)
    {
        const QString code = link.trimmed().section(QLatin1Char('/'), -1);
        const QByteArray body = m_server.shareDownload(QStringLiteral("rec"), code).body;
        const QString path = m_tmp.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(body) != body.size())
            return {};
        return path;
    }

    static QByteArray probe(const QString &movie)
    {
        return E2E::runTool("ffprobe",
            { "-v", "error", "-show_entries", "stream=codec_type,width,height", "-of", "default=nw=1", movie });
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(E2E::underHarness());
        QVERIFY2(m_server.start(), qPrintable(m_server.errorString()));
        const QString token
            = m_server.addUser(QStringLiteral("rec@example.com"), QStringLiteral("secret-pass"), QStringLiteral("rec"));
        QVERIFY(!token.isEmpty());
        const TesslyCommand::Run login = run({ "login", "--token", token, "--domain", "rec" });
        QVERIFY2(login.exitCode == 0, qPrintable(login.err));
        m_pattern = std::make_unique<MovingPattern>();
    }

    void recordsUploadsAndPlays_data()
    {
        QTest::addColumn<QStringList>("flags");
        QTest::addColumn<bool>("gif");
        QTest::addColumn<bool>("sound");
        QTest::newRow("movie with the microphone") << QStringList() << false << true;
        QTest::newRow("movie, --no-audio") << QStringList { QStringLiteral("--no-audio") } << false << false;
        QTest::newRow("--gif") << QStringList { QStringLiteral("--gif") } << true << false;
    }

    void recordsUploadsAndPlays()
    {
        QFETCH(QStringList, flags);
        QFETCH(bool, gif);
        QFETCH(bool, sound);
        const TesslyCommand::Run r = run(QStringList { "record", "--region", region(), "--duration", "3" } + flags);
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QVERIFY2(r.out.startsWith(QStringLiteral("http")), qPrintable(r.out));
        const QString file = download(r.out, gif ? QStringLiteral("got.gif") : QStringLiteral("got.mp4"));
        QVERIFY(!file.isEmpty());

        // The window's 321x241 points, made even in device pixels.
        const QByteArray streams = probe(file);
        QVERIFY2(streams.contains("width=320\nheight=240"), streams.constData());
        QCOMPARE(streams.contains("codec_type=audio"), sound);
        if (gif) {
            QFile f(file);
            QVERIFY(f.open(QIODevice::ReadOnly));
            QCOMPARE(f.read(6), QByteArray("GIF89a"));
        }

        // Sampled frames show the pattern, and the bar moves between them.
        const QList<QImage> frames = E2E::movieFrames(file, QRect(0, 0, 320, 240));
        QVERIFY2(frames.size() >= (gif ? 20 : 60), qPrintable(QString::number(frames.size())));
        QSet<int> barPositions;
        for (qsizetype i = 0; i < frames.size(); i += frames.size() / 6) {
            const QImage &frame = frames[i];
            QVERIFY(MovingPattern::isRed(frame.pixelColor(80, 120)));
            for (int x = 162; x < 320; ++x) {
                if (MovingPattern::isBlue(frame.pixelColor(x, 120))) {
                    barPositions << x;
                    break;
                }
            }
        }
        QVERIFY2(barPositions.size() >= 3, qPrintable(QString::number(barPositions.size())));
    }

    // ffmpeg dying mid-recording, Ctrl-C pressed again while the movie is
    // made a GIF, the screen being recorded unplugged (the harness's second
    // monitor removed), and the X screen shrunk from under the area (where
    // x11grab can no longer grab it): a clear message and status, a movie
    // kept only where it plays, and no process left behind.
    void stoppedOrKilled_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        QTest::newRow("ffmpeg killed: nothing kept") << "SIGKILL" << 1 << QStringLiteral("Nothing was kept");
        QTest::newRow("ffmpeg terminated: what it finished is kept")
            << "SIGTERM" << 1 << QStringLiteral("What was recorded is in ");
        QTest::newRow("Ctrl-C twice: stops once, uploads the GIF")
            << "Ctrl-C" << 0 << QStringLiteral("Converting to GIF...");
        QTest::newRow("screen unplugged: stops, uploads what it got")
            << "unplug" << 0 << QStringLiteral("The screen M1 went away, so the recording stopped");
        QTest::newRow("screen shrunk: stops, uploads what it got")
            << "shrink" << 0 << QStringLiteral("The recorded area is no longer on the screen");
        // With sound, ffmpeg would go on recording the microphone alone.
        QTest::newRow("screen shrunk while recording sound: stops too")
            << "shrink with sound" << 0 << QStringLiteral("The recorded area is no longer on the screen");
    }

    void stoppedOrKilled()
    {
        QFETCH(QString, fault);
        QFETCH(int, status);
        QFETCH(QString, message);
        const bool unplug = fault == QLatin1String("unplug");
        const bool shrink = fault.startsWith(QLatin1String("shrink"));
        QProcess process;
        // The second monitor lies right of the first (1280 wide).
        QStringList args { "record", "--region", unplug || shrink ? QStringLiteral("1300,100,320,240") : region() };
        if (!fault.endsWith(QLatin1String("with sound")))
            args << QStringLiteral("--gif"); // which records no sound
        start(process, args);
        QVERIFY(process.waitForStarted());
        QString movie;
        const QString ffmpeg = recordingFfmpeg(process, &movie);
        QVERIFY(!ffmpeg.isEmpty());
        QTest::qWait(1000);
        QString errors;
        if (fault.startsWith(QLatin1String("SIG"))) {
            ::kill(pid_t(ffmpeg.toInt()), fault == QLatin1String("SIGKILL") ? SIGKILL : SIGTERM);
        } else if (unplug) {
            int removed = -1;
            E2E::runTool("xrandr", { "--delmonitor", "M1" }, &removed);
            QCOMPARE(removed, 0);
        } else if (shrink) {
            // Xvfb cannot move its one output to the smaller screen and says
            // so, but the screen shrinks all the same.
            E2E::runTool("xrandr", { "--fb", "1400x800" });
        } else {
            ::kill(pid_t(process.processId()), SIGINT);
            QTRY_VERIFY_WITH_TIMEOUT(
                (errors += QString::fromUtf8(process.readAllStandardError())).contains(message), 20000);
            ::kill(pid_t(process.processId()), SIGINT);
        }
        const int exitStatus = E2E::waitResponsively(process, 60000);
        // As the harness made it, for the tests after this one.
        if (unplug)
            E2E::runTool("xrandr", { "--setmonitor", "M1", "640/169x480/127+1280+0", "none" });
        else if (shrink)
            E2E::runTool("xrandr", { "--fb", "1920x800" });
        errors += QString::fromUtf8(process.readAllStandardError());
        QVERIFY2(exitStatus == status && errors.contains(message), qPrintable(errors));
        QCOMPARE(::kill(pid_t(ffmpeg.toInt()), 0), -1);
        const QString out = QString::fromUtf8(process.readAllStandardOutput());
        QVERIFY2(status == 0 ? out.startsWith(QStringLiteral("http")) : out.isEmpty(), qPrintable(out));
        if (fault == QLatin1String("SIGKILL")) {
            QVERIFY(!QFileInfo::exists(movie)); // without its index it does not play: it goes
        } else if (fault == QLatin1String("SIGTERM")) {
            QVERIFY2(errors.contains(message + movie), qPrintable(errors));
            QVERIFY(!E2E::movieFrames(movie, QRect(0, 0, 16, 16)).isEmpty());
        }
    }

    void badRegionsAreRefused_data()
    {
        QTest::addColumn<QString>("region");
        QTest::addColumn<QString>("message");
        QTest::newRow("0x0") << QStringLiteral("10,10,0,0") << QStringLiteral("sizes above 0");
        QTest::newRow("1x1") << QStringLiteral("10,10,1,1") << QStringLiteral("too small");
        QTest::newRow("off screen") << QStringLiteral("5000,5000,100,100") << QStringLiteral("outside every screen");
        QTest::newRow("not numbers") << QStringLiteral("a,b,c,d") << QStringLiteral("x,y,width,height");
    }

    void badRegionsAreRefused()
    {
        QFETCH(QString, region);
        QFETCH(QString, message);
        const TesslyCommand::Run r = run({ "record", "--region", region });
        QCOMPARE(r.exitCode, 2);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
        QVERIFY(r.out.isEmpty());
    }

    // The disk filling up as the movie's end is written (a file size limit
    // fails ffmpeg's writes the same way, and ffmpeg still ends with 0), then
    // the sound server going away mid-recording (its socket module unloaded:
    // the harness's own server, not used after this): a clear line each; a
    // movie that cannot be finished is neither uploaded nor left behind, one
    // that lost its sound goes up with the rest.
    void diskFullThenSoundServerGone()
    {
        // A still part of the screen makes a movie of a few KiB: only its
        // index is left to fail.
        QProcess full;
        start(full,
            { "-c", "trap '' XFSZ; ulimit -f 1; exec \"$0\" \"$@\"", TesslyCommand::program(), "record", "--region",
                "700,450,320,240", "--duration", "2", "--no-audio" },
            QStringLiteral("bash"));
        QCOMPARE(E2E::waitResponsively(full, 60000), 1);
        const QString errors = QString::fromUtf8(full.readAllStandardError());
        QVERIFY2(
            errors.contains(QStringLiteral("File too large")) && errors.contains(QStringLiteral("Nothing was kept")),
            qPrintable(errors));
        QVERIFY(full.readAllStandardOutput().isEmpty());
        const QRegularExpressionMatch written
            = QRegularExpression(QStringLiteral("Error closing file (.*\\.mov): ")).match(errors);
        QVERIFY2(written.hasMatch() && !QFileInfo::exists(written.captured(1)), qPrintable(errors));

        QProcess process;
        start(process, { "record", "--region", region(), "--duration", "3" });
        QString movie;
        QVERIFY(!recordingFfmpeg(process, &movie).isEmpty());
        int unloaded = -1;
        E2E::runTool("pactl", { "unload-module", "module-native-protocol-unix" }, &unloaded);
        QCOMPARE(unloaded, 0);
        QCOMPARE(E2E::waitResponsively(process, 90000), 0);
        const QString said = QString::fromUtf8(process.readAllStandardError());
        QVERIFY2(said.contains(QStringLiteral("The sound stopped (")), qPrintable(said));
        QVERIFY(process.readAllStandardOutput().startsWith("http"));
    }
};

QTEST_MAIN(TestRecordCommand)
#include "tst_record_command.moc"
