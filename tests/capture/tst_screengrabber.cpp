// The screenshot service with the real capture tool on a real X desktop:
// what it runs, when it covers the desktop icons, and the
// tool-driven recording from start notification to a playable movie handed to
// `tessly open` through the application's desktop entry.
#include "capturenaming.h"
#include "desktopiconhider.h"
#include "e2e.h"
#include "logcapture.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "screengrabber.h"
#include "serviceconfig.h"
#include "settingsstore.h"
#include "testdesktop.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QScreen>
#include <QTest>

class TestScreenGrabber : public QObject
{
    Q_OBJECT

    QString m_tool;
    std::unique_ptr<TestDesktop> m_desktop;
    QStringList m_posted;

    // Drags from a to b as soon as the tool's windows are up, or presses
    // Escape; runs beside the blocked caller.
    static QProcess *drive(const QPoint &a, const QPoint &b, bool escape = false)
    {
        const QString act = escape ? QStringLiteral("xdotool key Escape")
                                   : QStringLiteral("xdotool mousemove %1 %2 mousedown 1 mousemove %3 %4 "
                                                    "mousemove %5 %6 mouseup 1")
                                         .arg(a.x())
                                         .arg(a.y())
                                         .arg((a.x() + b.x()) / 2)
                                         .arg((a.y() + b.y()) / 2)
                                         .arg(b.x())
                                         .arg(b.y());
        auto *driver = new QProcess;
        driver->start(QStringLiteral("sh"), { QStringLiteral("-c"), E2E::captureToolReadyScript() + act });
        return driver;
    }

    static void finish(QProcess *driver)
    {
        driver->waitForFinished(10000);
        delete driver;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(E2E::underHarness());
        QVERIFY(QDir().mkpath(QDir::tempPath()));
        QDir temp = QDir::temp(); // this test's own: what an earlier run left goes
        for (const QString &old : temp.entryList({ QStringLiteral("Screen *") }, QDir::Files))
            temp.remove(old);
        m_tool = qEnvironmentVariable("TESSLY_CAPTURE_TOOL");
        m_desktop = std::make_unique<TestDesktop>(QGuiApplication::primaryScreen()->geometry());
        for (const char *name : { Notifications::ScreenGrabberRecordingDidStartNotification,
                 Notifications::ScreenGrabberRecordingDidStopNotification }) {
            NotificationCenter::defaultCenter().addObserver(this, QLatin1String(name), [this](const Notification &n) {
                QCOMPARE(n.object.value<QObject *>(), &ScreenGrabber::instance());
                m_posted << n.name;
            });
        }
    }

    void toolPathIsEmptyUnlessExecutable()
    {
        QCOMPARE(ScreenGrabber::captureToolPath(), m_tool);
        const QString plain = QDir::temp().filePath(QStringLiteral("not-a-program"));
        QFile(plain).open(QIODevice::WriteOnly);
        qputenv("TESSLY_CAPTURE_TOOL", plain.toLocal8Bit());
        QCOMPARE(ScreenGrabber::captureToolPath(), QString());
        qputenv("TESSLY_CAPTURE_TOOL", "/nonexistent/tessly-screencapture");
        QCOMPARE(ScreenGrabber::captureToolPath(), QString());

        // Without a tool nothing happens at all: no covers, no log.
        SettingsStore::instance().setHideDesktopIcons(true);
        LogCapture log;
        QVERIFY(ScreenGrabber::captureScreen(QStringLiteral("Screen Shot")).isEmpty());
        QVERIFY(log.lines().filter(QStringLiteral("tessly.capture")).isEmpty());
        QVERIFY(!log.containsText(QStringLiteral("Capturing Screen")));

        // Unset, the build tree's tool is found.
        qunsetenv("TESSLY_CAPTURE_TOOL");
        QCOMPARE(ScreenGrabber::captureToolPath(), m_tool);
        qputenv("TESSLY_CAPTURE_TOOL", m_tool.toLocal8Bit());
    }

    void fullScreenNeverCaptures()
    {
        LogCapture log;
        QVERIFY(ScreenGrabber::captureFullScreen(QStringLiteral("Screen Shot")).isEmpty());
        QVERIFY(log.containsText(QStringLiteral("Unable to save screenshot.")));
    }

    void regionCaptureCoversIconsWhenAsked_data()
    {
        QTest::addColumn<bool>("hide");
        QTest::newRow("setting on") << true;
        QTest::newRow("setting off") << false;
    }

    void regionCaptureCoversIconsWhenAsked()
    {
        QFETCH(bool, hide);
        SettingsStore::instance().setHideDesktopIcons(hide);
        const QPoint icon = m_desktop->window()->mapToGlobal(m_desktop->icons().first().center());
        // The test desktop repaints what the last tool run covered.
        QTRY_COMPARE(E2E::grabDesktop().pixelColor(icon).name(), TestDesktop::kIcon.name());
        LogCapture log;
        const QPoint from = icon - QPoint(30, 30);
        QProcess *driver = drive(from, icon + QPoint(30, 30));
        const QUrl url = ScreenGrabber::captureScreen(QStringLiteral("Screen Shot"));
        finish(driver);

        QVERIFY(url.isLocalFile());
        QVERIFY(log.containsText(QStringLiteral("Screenshot saved as: ") + url.toLocalFile()));
        QVERIFY(url.toLocalFile().contains(QStringLiteral("/Screen Shot on ")));
        const QImage image(url.toLocalFile());
        QCOMPARE(image.size(), QSize(60, 60));
        const QColor expected = hide ? TestDesktop::wallpaperAt(icon) : TestDesktop::kIcon;
        QCOMPARE(image.pixelColor(icon - from).name(), expected.name());
        QCOMPARE(log.containsText(QStringLiteral("Capturing Screen")), hide);
        // Shown again once the tool is done.
        QVERIFY(ScreenGrabber::instance().iconHider()->overlayControllers().isEmpty());
    }

    void cancelledCaptureShowsIconsAgain()
    {
        SettingsStore::instance().setHideDesktopIcons(true);
        LogCapture log;
        QProcess *driver = drive({}, {}, true);
        QVERIFY(ScreenGrabber::captureWindow(QStringLiteral("Screen Shot")).isEmpty());
        finish(driver);
        QVERIFY(log.containsText(QStringLiteral("Unable to save screenshot.")));
        QVERIFY(log.containsText(QStringLiteral("Capturing Screen")));
        QVERIFY(ScreenGrabber::instance().iconHider()->overlayControllers().isEmpty());
    }

    void endRecordingWithoutARecordingDoesNothing()
    {
        m_posted.clear();
        QVERIFY(!ScreenGrabber::instance().isRecording());
        ScreenGrabber::instance().endRecording();
        QCoreApplication::processEvents();
        QVERIFY(m_posted.isEmpty());
    }

    void recordingThatTheToolEndsStillPostsStop()
    {
        m_posted.clear();
        LogCapture log;
        ScreenGrabber::instance().recordScreen(QStringLiteral("Screen Capture"));
        QTRY_COMPARE(m_posted.size(), 1);
        QVERIFY(ScreenGrabber::instance().isRecording());
        QProcess *driver = drive({}, {}, true); // the user cancels the selection
        QTRY_COMPARE_WITH_TIMEOUT(m_posted.size(), 2, 15000);
        finish(driver);
        QCOMPARE(m_posted.last(), QLatin1String(Notifications::ScreenGrabberRecordingDidStopNotification));
        QVERIFY(log.containsText(QStringLiteral("Recording terminated. reason=1 status=1")));
        QVERIFY(!ScreenGrabber::instance().isRecording());
        QCOMPARE(ScreenGrabber::instance().recordingTask(), nullptr);
    }

    void recordingDeliversAPlayableMovieThroughTesslyOpen()
    {
        // The application's desktop entry, as installed: its Exec line is
        // `tessly open`, here with a note of what it was given.
        const QString home = qEnvironmentVariable("TESSLY_TEST_HOME");
        const QString received = home + QStringLiteral("/received.log");
        QFile::remove(received);
        const QString apps = qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/applications");
        QVERIFY(QDir().mkpath(apps));
        QFile entry(apps + QLatin1Char('/') + Config::applicationId() + QStringLiteral(".desktop"));
        QVERIFY(entry.open(QIODevice::WriteOnly | QIODevice::Truncate));
        entry.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=Tessly Cloud\n"
                                   "Exec=sh -c \"\\\"%1\\\" open \\\"\\$1\\\" >> %2 2>&1\" sh %f\n")
                        .arg(qEnvironmentVariable("TESSLY_BIN"), received)
                        .toUtf8());
        entry.close();

        m_posted.clear();
        LogCapture log;
        ScreenGrabber::instance().recordScreen(QStringLiteral("Screen Capture"));
        QTRY_COMPARE(m_posted.size(), 1);
        QCOMPARE(m_posted.first(), QLatin1String(Notifications::ScreenGrabberRecordingDidStartNotification));
        QProcess *driver = drive(QPoint(20, 20), QPoint(221, 161));
        finish(driver);
        // Recording once ffmpeg has made the file.
        const QDir temp(CaptureNaming::temporaryDirectory());
        QTRY_VERIFY_WITH_TIMEOUT(!temp.entryList({ QStringLiteral("Screen Capture on *.mov") }).isEmpty(), 10000);
        QTest::qWait(1500);
        ScreenGrabber::instance().endRecording();
        QTRY_COMPARE_WITH_TIMEOUT(m_posted.size(), 2, 20000);
        QVERIFY(log.containsText(QStringLiteral("Recording terminated. reason=1 status=0")));

        const QString movie = temp.filePath(temp.entryList({ QStringLiteral("Screen Capture on *.mov") }).first());
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(received), 10000);
        QFile receivedLog(received);
        QTRY_VERIFY([&] {
            receivedLog.open(QIODevice::ReadOnly);
            const bool done = receivedLog.readAll().contains("Received " + movie.toUtf8());
            receivedLog.close();
            return done;
        }());

        int code = -1;
        const QByteArray probe = E2E::runTool("ffprobe",
            { "-v", "error", "-show_entries", "stream=codec_name,width,height:format=duration", "-of", "default=nw=1",
                movie },
            &code);
        QCOMPARE(code, 0);
        QVERIFY2(probe.contains("codec_name=h264"), probe.constData());
        QVERIFY2(probe.contains("width=200") && probe.contains("height=140"), probe.constData());
        const double duration
            = QRegularExpression("duration=([0-9.]+)").match(QString::fromUtf8(probe)).captured(1).toDouble();
        QVERIFY2(duration > 0.5, probe.constData());

        // And it shows the desktop, not a black picture: its last frame
        // against the same part of the screen now, which has not changed.
        const QByteArray png = E2E::runTool("ffmpeg",
            { "-v", "error", "-sseof", "-0.3", "-i", movie, "-frames:v", "1", "-f", "image2pipe", "-vcodec", "png",
                "-" },
            &code);
        const QImage frame = QImage::fromData(png).convertToFormat(QImage::Format_RGB32);
        const QImage screen = E2E::grabDesktop().copy(20, 20, 200, 140).convertToFormat(QImage::Format_RGB32);
        QCOMPARE(frame.size(), screen.size());
        int far = 0;
        for (int y = 5; y < frame.height(); y += 10) {
            for (int x = 5; x < frame.width(); x += 10) {
                const QColor a = frame.pixelColor(x, y), b = screen.pixelColor(x, y);
                far += qAbs(a.red() - b.red()) + qAbs(a.green() - b.green()) + qAbs(a.blue() - b.blue()) > 60;
            }
        }
        QVERIFY2(far <= 28, qPrintable(QStringLiteral("%1 of 280 samples differ").arg(far)));
    }
};

QTEST_MAIN(TestScreenGrabber)
#include "tst_screengrabber.moc"
