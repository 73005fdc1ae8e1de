// Recordings made by tessly-screencapture on a real X desktop with the real
// ffmpeg, looked at afterwards the way a viewer would: the frames for the
// click rings, the streams and their loudness for the microphone.
//
// It runs twice: once with a sound server in the harness (--audio, where a
// tone is played into the sink whose monitor is the default input) and once
// without one. TESSLY_EXPECT_SOUND_SERVER says which.
#include "clickmarker.h"
#include "e2e.h"

#include <csignal>
#include <QDir>
#include <QMouseEvent>
#include <QPainter>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

// A plain dark window that counts the presses it gets.
class ClickTarget : public QWidget
{
public:
    static inline const QColor kColor { 0x30, 0x30, 0x30 };
    int presses = 0;

    explicit ClickTarget(const QRect &geometry)
    {
        setWindowTitle(QStringLiteral("Click target"));
        setGeometry(geometry);
        show();
        [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(this);
        // On screen means: the X server shows it painted.
        [[maybe_unused]] const bool painted = E2E::waitForWindowPixels(
            this, [](const QImage &pixels) { return pixels.pixelColor(pixels.rect().center()) == kColor; });
    }

protected:
    void paintEvent(QPaintEvent *) override { QPainter(this).fillRect(rect(), kColor); }
    void mousePressEvent(QMouseEvent *) override { ++presses; }
};

bool isRingColour(const QColor &c)
{
    const QColor ring = QColor::fromRgb(ClickMarker::kColor);
    // The encoder's 4:2:0 colour leaves it near, not exact.
    return std::abs(c.red() - ring.red()) < 60 && std::abs(c.green() - ring.green()) < 60
        && std::abs(c.blue() - ring.blue()) < 60;
}

bool hasRing(const QImage &shot)
{
    for (int y = 0; y < shot.height(); ++y) {
        for (int x = 0; x < shot.width(); ++x) {
            if (isRingColour(shot.pixelColor(x, y)))
                return true;
        }
    }
    return false;
}

// Whether the desktop shows a ring around `at` now.
bool ringNear(const QPoint &at)
{
    const int r = ClickMarker::kDiameter;
    return hasRing(E2E::grabDesktop().copy(QRect(at - QPoint(r, r), QSize(2 * r, 2 * r))));
}

} // namespace

class TestScreenRecording : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<ClickTarget> m_target;
    bool m_soundServer = false;

    static QString tool() { return qEnvironmentVariable("TESSLY_CAPTURE_TOOL"); }

    // Records with these arguments until `during` has run, then stops the
    // tool the way the application does (SIGTERM). `during` sees the tool's
    // standard error as it comes. Returns its exit status.
    static int record(const QStringList &args, const QString &movie,
        const std::function<void(const QString &errors)> &during, QString *errors = nullptr)
    {
        QProcess process;
        QString said;
        connect(&process, &QProcess::readyReadStandardError, &process,
            [&] { said += QString::fromLocal8Bit(process.readAllStandardError()); });
        process.start(tool(), args + QStringList { movie });
        if (!process.waitForStarted())
            return -1;
        // ffmpeg writes the file once its inputs are open. When it grabs its
        // first frame it does not say (the tool runs it with -nostats), so a
        // short lead-in gives the movie frames from before `during`.
        (void)QTest::qWaitFor([&] { return QFile::exists(movie) || process.state() != QProcess::Running; }, 10000);
        QTest::qWait(300);
        during(said);
        ::kill(pid_t(process.processId()), SIGTERM);
        const int code = E2E::waitResponsively(process); // the target keeps taking its clicks
        if (errors)
            *errors = said + QString::fromLocal8Bit(process.readAllStandardError());
        return code;
    }

    static QByteArray probe(const QString &movie)
    {
        int code = -1;
        const QByteArray out = E2E::runTool(QStringLiteral("ffprobe"),
            { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-show_entries"),
                QStringLiteral("stream=codec_type,codec_name"), QStringLiteral("-of"), QStringLiteral("default=nw=1"),
                movie },
            &code);
        return code == 0 ? out : QByteArray("ffprobe failed");
    }

    // Mean loudness of the movie's sound in dB.
    static double meanVolume(const QString &movie)
    {
        QByteArray log;
        E2E::runTool(QStringLiteral("ffmpeg"),
            { QStringLiteral("-i"), movie, QStringLiteral("-map"), QStringLiteral("0:a"), QStringLiteral("-af"),
                QStringLiteral("volumedetect"), QStringLiteral("-f"), QStringLiteral("null"), QStringLiteral("-") },
            nullptr, 30000, &log);
        const QRegularExpressionMatch m
            = QRegularExpression(QStringLiteral("mean_volume: (-?[0-9.]+) dB")).match(QString::fromLocal8Bit(log));
        return m.hasMatch() ? m.captured(1).toDouble() : -1000;
    }

    QString region() const
    {
        const QRect r = m_target->geometry().adjusted(-20, -20, 20, 20);
        return QStringLiteral("%1,%2,%3,%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(E2E::underHarness());
        QVERIFY2(QFileInfo(tool()).isExecutable(), "TESSLY_CAPTURE_TOOL names no program");
        m_soundServer = qEnvironmentVariableIntValue("TESSLY_EXPECT_SOUND_SERVER") == 1;
        int code = -1;
        E2E::runTool(QStringLiteral("pactl"), { QStringLiteral("info") }, &code, 5000);
        QCOMPARE(code == 0, m_soundServer);
        if (!m_soundServer) {
            // What a crashed server leaves behind: the socket file, with no
            // one listening. It must not pass for a server.
            const QByteArray path = qgetenv("XDG_RUNTIME_DIR") + "/pulse/native";
            QVERIFY(QDir().mkpath(QFileInfo(QString::fromLocal8Bit(path)).path()));
            sockaddr_un address {};
            address.sun_family = AF_UNIX;
            qstrncpy(address.sun_path, path.constData(), sizeof(address.sun_path));
            const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
            QCOMPARE(::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
            ::close(fd);
            QVERIFY(QFileInfo::exists(QString::fromLocal8Bit(path)));
        }
        m_target = std::make_unique<ClickTarget>(QRect(120, 120, 200, 140));
    }

    // One recording a row, each with two clicks and a tone played into the
    // default input (where a sound server runs). The second click lands on
    // the first one's ring while it is up: the ring must let it through.
    void clicksAndSoundOnlyWhenAsked_data()
    {
        QTest::addColumn<QString>("flags");
        QTest::addColumn<bool>("asked"); // for the rings (-k) and the sound (-g)
        QTest::newRow("-Ukgv") << QStringLiteral("-Ukgv") << true;
        QTest::newRow("-Uv") << QStringLiteral("-Uv") << false;
    }

    void clicksAndSoundOnlyWhenAsked()
    {
        QFETCH(QString, flags);
        QFETCH(bool, asked);
        const QString movie = m_dir.filePath(flags + QStringLiteral(".mov"));
        const QString tone = m_dir.filePath(QStringLiteral("tone.wav"));
        int code = -1;
        E2E::runTool(
            "ffmpeg", { "-v", "error", "-y", "-f", "lavfi", "-i", "sine=frequency=440:duration=3", tone }, &code);
        QCOMPARE(code, 0);
        const QPoint click = m_target->geometry().center();
        const QPoint onRing = click + QPoint(ClickMarker::kDiameter / 2, 0);
        m_target->presses = 0;
        bool ringSeen = false;
        QString errors;
        QProcess player;
        QCOMPARE(
            record(
                { flags, QStringLiteral("-R"), region() }, movie,
                [&](const QString &said) {
                    E2E::xdotool({ "mousemove", QString::number(click.x()), QString::number(click.y()), "click", "1" });
                    if (asked)
                        ringSeen = QTest::qWaitFor([&] { return ringNear(click); }, 5000);
                    E2E::xdotool(
                        { "mousemove", QString::number(onRing.x()), QString::number(onRing.y()), "click", "1" });
                    QTRY_COMPARE(m_target->presses, 2);
                    ringSeen = ringSeen || ringNear(click);
                    // Up for a moment after each click, then gone again.
                    QTRY_VERIFY_WITH_TIMEOUT(!ringNear(click) && !ringNear(onRing), 5000);
                    if (m_soundServer) {
                        // Until the whole tone has gone into the sink.
                        player.start(QStringLiteral("paplay"), { tone });
                        QTRY_VERIFY_WITH_TIMEOUT(player.state() == QProcess::NotRunning, 15000);
                    } else if (asked) {
                        QTRY_VERIFY(said.contains(QStringLiteral("no sound server answers")));
                    }
                },
                &errors),
            0);
        QCOMPARE(ringSeen, asked);
        QCOMPARE(m_target->presses, 2);

        // Around the click, in movie pixels (the region starts 20 px before
        // the target).
        const QPoint inMovie = click - m_target->geometry().topLeft() + QPoint(20, 20);
        const int r = ClickMarker::kDiameter;
        const QList<QImage> shots = E2E::movieFrames(movie, QRect(inMovie - QPoint(r, r), QSize(2 * r, 2 * r)));
        QVERIFY2(shots.size() > 20, qPrintable(QString::number(shots.size())));
        const int withRing = int(std::count_if(shots.begin(), shots.end(), hasRing));
        if (asked) {
            // Not before the first click, and up no longer than two rings'
            // lifetimes (at 30 frames a second) plus the encoder's slack.
            QVERIFY(!hasRing(shots.first()));
            QVERIFY2(withRing >= 3, qPrintable(QString::number(withRing)));
            QVERIFY2(withRing <= 2 * ClickMarker::kLifetimeMs * 30 / 1000 + 6, qPrintable(QString::number(withRing)));
        } else {
            QCOMPARE(withRing, 0);
        }

        const QByteArray streams = probe(movie);
        QVERIFY2(streams.contains("codec_type=video"), streams.constData());
        const bool sound = asked && m_soundServer;
        QCOMPARE(streams.contains("codec_type=audio"), sound);
        QCOMPARE(errors.contains(QStringLiteral("no sound server answers")), asked && !m_soundServer);
        if (sound) {
            // The tone, not just a silent track (silence measures about -91).
            const double volume = meanVolume(movie);
            QVERIFY2(volume > -40, qPrintable(QString::number(volume)));
        }
    }
};

QTEST_MAIN(TestScreenRecording)
#include "tst_screenrecording.moc"
