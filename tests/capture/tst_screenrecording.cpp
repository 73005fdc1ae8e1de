// Recordings made by tessly-screencapture on a real X desktop with the real
// ffmpeg, looked at afterwards the way a viewer would: the frames for the
// click rings.
#include "clickmarker.h"
#include "e2e.h"

#include <csignal>
#include <QDeadlineTimer>
#include <QMouseEvent>
#include <QPainter>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

namespace {

// A plain dark window that counts the presses it gets.
class ClickTarget : public QWidget
{
public:
    int presses = 0;

    explicit ClickTarget(const QRect &geometry)
    {
        setWindowTitle(QStringLiteral("Click target"));
        setGeometry(geometry);
        show();
        [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(this);
        QTest::qWait(300);
    }

protected:
    void paintEvent(QPaintEvent *) override { QPainter(this).fillRect(rect(), QColor(0x30, 0x30, 0x30)); }
    void mousePressEvent(QMouseEvent *) override { ++presses; }
};

bool isRingColour(const QColor &c)
{
    const QColor ring = QColor::fromRgb(ClickMarker::kColor);
    // The encoder's 4:2:0 colour leaves it near, not exact.
    return std::abs(c.red() - ring.red()) < 60 && std::abs(c.green() - ring.green()) < 60
        && std::abs(c.blue() - ring.blue()) < 60;
}

} // namespace

class TestScreenRecording : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<ClickTarget> m_target;

    static QString tool() { return qEnvironmentVariable("TESSLY_CAPTURE_TOOL"); }

    static void xdotool(const QStringList &args)
    {
        int code = -1;
        E2E::runTool(QStringLiteral("xdotool"), args, &code);
        QCOMPARE(code, 0);
    }

    // Records with these arguments until `during` has run, then stops the
    // tool the way the application does (SIGTERM). Returns its exit status.
    static int record(
        const QStringList &args, const QString &movie, const std::function<void()> &during, QString *errors = nullptr)
    {
        QProcess process;
        process.start(tool(), args + QStringList { movie });
        if (!process.waitForStarted())
            return -1;
        // ffmpeg writes the file once its inputs are open.
        QDeadlineTimer started(10000);
        while (!QFile::exists(movie) && !started.hasExpired() && process.state() == QProcess::Running)
            QTest::qWait(20);
        QTest::qWait(300);
        during();
        ::kill(pid_t(process.processId()), SIGTERM);
        const int code = E2E::waitResponsively(process); // the target keeps taking its clicks
        if (errors)
            *errors = QString::fromLocal8Bit(process.readAllStandardError());
        return code;
    }

    // Every frame of the movie, cut to `crop` (movie pixels).
    static QList<QImage> frames(const QString &movie, const QRect &crop)
    {
        int code = -1;
        const QByteArray raw = E2E::runTool(QStringLiteral("ffmpeg"),
            { QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-i"), movie, QStringLiteral("-vf"),
                QStringLiteral("crop=%1:%2:%3:%4").arg(crop.width()).arg(crop.height()).arg(crop.x()).arg(crop.y()),
                QStringLiteral("-f"), QStringLiteral("rawvideo"), QStringLiteral("-pix_fmt"), QStringLiteral("rgb24"),
                QStringLiteral("-") },
            &code);
        QList<QImage> result;
        const qsizetype size = qsizetype(crop.width()) * crop.height() * 3;
        for (qsizetype at = 0; code == 0 && at + size <= raw.size(); at += size) {
            result << QImage(reinterpret_cast<const uchar *>(raw.constData() + at), crop.width(), crop.height(),
                crop.width() * 3, QImage::Format_RGB888)
                          .copy();
        }
        return result;
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
        m_target = std::make_unique<ClickTarget>(QRect(120, 120, 200, 140));
    }

    void clicksAreShownOnlyWhenAsked_data()
    {
        QTest::addColumn<QString>("flags");
        QTest::addColumn<bool>("rings");
        QTest::newRow("-Ukv") << QStringLiteral("-Ukv") << true;
        QTest::newRow("-Uv") << QStringLiteral("-Uv") << false;
    }

    void clicksAreShownOnlyWhenAsked()
    {
        QFETCH(QString, flags);
        QFETCH(bool, rings);
        const QString movie = m_dir.filePath(flags + QStringLiteral(".mov"));
        const QPoint click = m_target->geometry().center();
        // The second click lands on the first one's ring while it is up: the
        // ring must let it through.
        const QPoint onRing = click + QPoint(ClickMarker::kDiameter / 2, 0);
        m_target->presses = 0;
        bool ringSeen = false;
        QCOMPARE(record({ flags, QStringLiteral("-R"), region() }, movie,
                     [&] {
                         xdotool({ QStringLiteral("mousemove"), QString::number(click.x()), QString::number(click.y()),
                             QStringLiteral("click"), QStringLiteral("1") });
                         QDeadlineTimer up(250);
                         while (!ringSeen && !up.hasExpired())
                             ringSeen = isRingColour(E2E::grabDesktop().pixelColor(onRing));
                         xdotool({ QStringLiteral("mousemove"), QString::number(onRing.x()),
                             QString::number(onRing.y()), QStringLiteral("click"), QStringLiteral("1") });
                         QTest::qWait(800);
                     }),
            0);
        QCOMPARE(ringSeen, rings);
        QTRY_COMPARE(m_target->presses, 2);

        // Around the click, in movie pixels (the region starts 20 px before
        // the target).
        const QPoint inMovie = click - m_target->geometry().topLeft() + QPoint(20, 20);
        const int r = ClickMarker::kDiameter;
        const QList<QImage> shots = frames(movie, QRect(inMovie - QPoint(r, r), QSize(2 * r, 2 * r)));
        QVERIFY2(shots.size() > 20, qPrintable(QString::number(shots.size())));
        int withRing = 0;
        for (const QImage &shot : shots) {
            bool found = false;
            for (int y = 0; y < shot.height() && !found; ++y) {
                for (int x = 0; x < shot.width() && !found; ++x)
                    found = isRingColour(shot.pixelColor(x, y));
            }
            withRing += found;
        }
        if (rings) {
            // Up for a moment after each click, then gone again.
            QVERIFY2(withRing >= 3, qPrintable(QString::number(withRing)));
            QVERIFY2(withRing < shots.size() - 10, qPrintable(QString::number(withRing)));
        } else {
            QCOMPARE(withRing, 0);
        }
    }
};

QTEST_MAIN(TestScreenRecording)
#include "tst_screenrecording.moc"
