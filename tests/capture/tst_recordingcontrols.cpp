// The recording's options and controls on the e2e harness's desktop: what
// the options load and store, the format choice, the countdown, the options
// menu, the elapsed time, the tray icon as the stop button (and the
// recording's end when its screen is unplugged), the capture
// window controller's stop, restart and discard with the real ffmpeg (and
// the click rings in what it records), the processing step, and the webcam
// bubble (fed by a test pattern: a machine without a camera cannot run the
// real one).
#include "clickmarker.h"
#include "cloudscreenrecorder.h"
#include "defaultskeys.h"
#include "e2e.h"
#include "floatingcamerapanel.h"
#include "notificationrecorder.h"
#include "notifications.h"
#include "recordingstatusbutton.h"
#include "settingsstore.h"
#include "tlcapturepanel.h"
#include "tlcapturesession.h"
#include "tlcapturesessionoptions.h"
#include "tlcapturewindowcontroller.h"
#include "tlrecordingcontrolspanel.h"
#include "tlvideocontrolsviewcontroller.h"
#include "tlwebcamwindowcontroller.h"
#include "webcamframesource.h"

#include <cmath>
#include <csignal>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

namespace {

QString key(const char *name)
{
    return QString::fromLatin1(name);
}

QAction *item(QMenu *menu, int tag, const QString &title = {})
{
    for (QAction *a : menu->actions()) {
        if (a->data().toInt() == tag && (title.isEmpty() || a->text() == title))
            return a;
    }
    return nullptr;
}

// How far apart two colours read (WCAG's contrast ratio, 1 to 21; 4.5 is
// enough for text).
double contrast(const QColor &a, const QColor &b)
{
    const auto luminance = [](const QColor &c) {
        const auto linear = [](double v) { return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
        return 0.2126 * linear(c.redF()) + 0.7152 * linear(c.greenF()) + 0.0722 * linear(c.blueF());
    };
    const double la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

// The webcam's stand-in: a machine without a camera cannot run QCamera, so
// this one sends a plain test picture.
class TestPatternSource : public WebcamFrameSource
{
public:
    void start() override
    {
        m_running = true;
        QImage frame(64, 48, QImage::Format_RGB32);
        frame.fill(Qt::green);
        Q_EMIT frameReady(frame);
    }
    void stop() override { m_running = false; }
    bool isRunning() const override { return m_running; }
    void switchToDeviceWithUniqueID(const QString &id) override { device = id; }
    QString device;

private:
    bool m_running = false;
};

// The tray icon as the recorder sees it.
class Button : public RecordingStatusButton
{
public:
    QString image = QStringLiteral("MenuIcon");
    QString description;
    ClickAction action;
    QString imageName() const override { return image; }
    void setImageNamed(const QString &name) override { image = name; }
    void setAccessibilityDescription(const QString &text) override { description = text; }
    ClickAction clickAction() const override { return action; }
    void setClickAction(ClickAction a) override { action = std::move(a); }
};

} // namespace

class TestRecordingControls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void optionsLoadAndStore()
    {
        SettingsStore &settings = SettingsStore::instance();
        // A camera id without a microphone id is not read.
        settings.setObject(QStringLiteral("cam-1"), key(DefaultsKeys::DefaultCamId));
        QCOMPARE(TLCaptureSessionOptions().defaultCameraID(), QString());
        TLCaptureSessionOptions options;
        options.setDefaultMicID(QStringLiteral("alsa_input.usb"));
        options.setStartDelay(10);
        options.setShowMouseClicks(false);
        const TLCaptureSessionOptions reloaded;
        QCOMPARE(reloaded.defaultMicID(), QStringLiteral("alsa_input.usb"));
        QCOMPARE(reloaded.defaultCameraID(), QStringLiteral("cam-1"));
        QCOMPARE(reloaded.startDelay(), 10);
        QCOMPARE(reloaded.showMouseClicks(), false);
        options.setDefaultMicID(QString());
        QVERIFY(!settings.objectForKey(key(DefaultsKeys::DefaultMicId)).isValid());
        options.setStartDelay(5);
        options.setShowMouseClicks(true);
    }

    void formatCountdownAndMenu()
    {
        NotificationRecorder begin(key(Notifications::TLVideoControllerBeginRecordingNotification));
        NotificationRecorder end(key(Notifications::TLVideoControllerEndCaptureNotification));
        TLCaptureSessionOptions &options = TLCaptureSessionOptions::currentOptions();
        TLVideoControlsViewController controls;
        controls.setDeviceSources(
            [] {
                return QList<CaptureDevice> { { QStringLiteral("mic-a"), QStringLiteral("Headset") } };
            },
            [] { return QList<CaptureDevice> {}; });
        QMenu *menu = controls.captureOptionsMenu();

        // A microphone chosen, then GIF: no sound, the microphones disabled.
        item(menu, TLVideoControlsViewController::Microphone, QStringLiteral("Headset"))->trigger();
        QCOMPARE(options.defaultMicID(), QStringLiteral("mic-a"));
        QVERIFY(item(menu, TLVideoControlsViewController::Microphone)->isChecked());
        controls.formatChanged(1);
        QCOMPARE(options.format(), 1);
        QVERIFY(options.disableAudioRecording());
        QCOMPARE(SettingsStore::instance().objectForKey(key(DefaultsKeys::DefaultFormat)).toInt(), 1);
        QVERIFY(!item(menu, TLVideoControlsViewController::Microphone)->isEnabled());
        QVERIFY(!item(menu, TLVideoControlsViewController::NoMicrophone)->isEnabled());
        controls.formatChanged(0);
        QVERIFY(item(menu, TLVideoControlsViewController::Microphone)->isEnabled());

        // Without a camera the webcam cannot be switched on, and says why.
        QVERIFY(!controls.webcamButton()->isEnabled());
        QCOMPARE(controls.webcamButton()->toolTip(), QStringLiteral("No camera found"));
        QVERIFY(!item(menu, TLVideoControlsViewController::WebcamSmall)->isEnabled());

        item(menu, TLVideoControlsViewController::FiveSecondDelay)->trigger();
        QCOMPARE(options.startDelay(), 5);
        QStringList shown;
        controls.setCountdownInterval(200);
        controls.beginRecording();
        QTRY_VERIFY(!controls.recordButton()->isEnabled());
        // The seconds take no clicks, yet read at a glance: not the faint
        // text of a disabled button.
        const QPalette look = controls.recordButton()->palette();
        const double seconds = contrast(
            look.color(QPalette::Disabled, QPalette::ButtonText), look.color(QPalette::Disabled, QPalette::Button));
        QVERIFY2(seconds >= 4.5 && controls.recordButton()->font().bold(), qPrintable(QString::number(seconds)));
        while (begin.seen().isEmpty()) {
            const QString text = controls.recordButton()->text();
            if (shown.isEmpty() || shown.last() != text)
                shown << text;
            QTest::qWait(1);
        }
        QCOMPARE(shown, (QStringList { "5", "4", "3", "2", "1" }));
        QCOMPARE(controls.recordButton()->text(), QStringLiteral("Record"));
        QVERIFY(controls.recordButton()->isEnabled() && !controls.recordButton()->font().bold());
        QCOMPARE(begin.seen().size(), 1);

        item(menu, TLVideoControlsViewController::NoDelay)->trigger();
        controls.beginRecording();
        QCOMPARE(begin.seen().size(), 2); // at once
        controls.closeSession();
        QCOMPARE(end.seen().size(), 1);
        options.setStartDelay(5);
    }

    void elapsedTime_data()
    {
        QTest::addColumn<qint64>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("0") << qint64(0) << QStringLiteral("0:00");
        QTest::newRow("59") << qint64(59) << QStringLiteral("0:59");
        QTest::newRow("3599") << qint64(3599) << QStringLiteral("59:59");
        QTest::newRow("3600") << qint64(3600) << QStringLiteral("1:00:00");
        QTest::newRow("3725") << qint64(3725) << QStringLiteral("1:02:05");
    }
    void elapsedTime()
    {
        QFETCH(qint64, seconds);
        QFETCH(QString, text);
        QCOMPARE(TLRecordingControlsPanel::elapsedText(seconds), text);
    }

    void restartAndDiscardAskFirst()
    {
        TLRecordingControlsPanel panel;
        QStringList asked;
        int answer = 1;
        panel.setAlertRunner([&](const QString &title, const QString &, const QStringList &buttons) {
            asked << title + QLatin1Char('|') + buttons.join(QLatin1Char(','));
            return answer;
        });
        int restarts = 0, trashes = 0;
        connect(&panel, &TLRecordingControlsPanel::restartRequested, this, [&] { ++restarts; });
        connect(&panel, &TLRecordingControlsPanel::trashRequested, this, [&] { ++trashes; });
        panel.restartButton()->click();
        panel.trashButton()->click();
        QCOMPARE(restarts + trashes, 0); // "Cancel"
        answer = 0;
        panel.restartButton()->click();
        panel.trashButton()->click();
        QCOMPARE(restarts, 1);
        QCOMPARE(trashes, 1);
        QCOMPARE(asked.first(), QStringLiteral("Restart Recording?|Restart,Cancel"));
        QCOMPARE(asked.last(), QStringLiteral("Discard Recording?|Discard,Cancel"));
    }

    void trayIconIsTheStopButtonWhileRecording()
    {
        Button button;
        int ownClicks = 0;
        button.action = [&] { ++ownClicks; };
        CloudScreenRecorder recorder;
        recorder.setStatusButton(&button);
        recorder.configureStatusItemForRecording();
        QCOMPARE(button.image, QStringLiteral("stop.circle.fill"));
        QCOMPARE(button.description, QStringLiteral("Stop Recording"));
        button.action(); // stops (nothing runs here), not the icon's own action
        QCOMPARE(ownClicks, 0);
        recorder.restoreStatusItem();
        QCOMPARE(button.image, QStringLiteral("MenuIcon"));
        button.action();
        QCOMPARE(ownClicks, 1);
        recorder.restoreStatusItem(); // once only
        QCOMPARE(ownClicks, 1);

        // Recording on the second monitor, which is unplugged: the recording
        // ends as the stop button ends it, the user is told why, and what was
        // recorded comes to the completion.
        QCOMPARE(QGuiApplication::screens().size(), 2);
        QScreen *second = QGuiApplication::screens().at(1);
        TLCaptureSessionOptions &options = TLCaptureSessionOptions::currentOptions();
        options.setShowWebcam(false);
        options.setShowMouseClicks(false);
        bool ended = false, success = false;
        QUrl file;
        recorder.beginRecordingWithFormat(0, {}, [&](bool ok, const QUrl &url, double) {
            ended = true;
            success = ok;
            file = url;
        });
        TLCapturePanel *panel = recorder.captureWindow()->capturePanel();
        panel->setCurrentScreen(second);
        panel->setCropRect(QRectF(20, 100, 240, 180));
        recorder.captureWindow()->startRecording();
        QTRY_VERIFY(recorder.captureWindow() && recorder.captureWindow()->captureSession()
            && QFileInfo::exists(recorder.captureWindow()->captureSession()->captureTemporaryFilePath()));
        QCOMPARE(button.image, QStringLiteral("stop.circle.fill"));
        const QString name = second->name();
        QCOMPARE(E2E::runTool("xrandr", { "--delmonitor", name }), QByteArray());
        QTRY_VERIFY_WITH_TIMEOUT(ended, 30000);
        // As the harness made it, for what runs after this.
        E2E::runTool("xrandr", { "--setmonitor", name, "640/169x480/127+1280+0", "none" });
        QVERIFY(success && QFileInfo(file.toLocalFile()).size() > 0);
        QCOMPARE(button.image, QStringLiteral("MenuIcon"));
        // dunst keeps what was shown in its history once it is closed.
        QByteArray history;
        QTRY_VERIFY2((E2E::runTool("dunstctl", { "close-all" }), history = E2E::runTool("dunstctl", { "history" }))
                         .contains("Recording stopped"),
            history.constData());
        QFile::remove(file.toLocalFile());
    }

    // What each way out of a recording leaves: discard no movie, restart a
    // new one in place of the old (which shows the clicks made in it), and a
    // stop pressed while the old take is being finished for a restart the old
    // take. No ffmpeg outlives the capture.
    void stopRestartAndDiscard_data()
    {
        QTest::addColumn<int>("restart"); // 0 none, 1 waiting for the new take, 2 stopped at once
        QTest::addColumn<bool>("stop"); // else discard
        QTest::newRow("discard") << 0 << false;
        QTest::newRow("restart, click, stop") << 1 << true;
        QTest::newRow("stop while restarting") << 2 << true;
    }
    void stopRestartAndDiscard()
    {
        QFETCH(int, restart);
        QFETCH(bool, stop);
        TLCaptureSessionOptions &options = TLCaptureSessionOptions::currentOptions();
        options.setShowMouseClicks(true);
        options.setShowWebcam(false);
        const QRect area(100, 100, 240, 180); // global pixels, top-left origin
        QScreen *screen = QGuiApplication::primaryScreen();
        options.setCaptureRect(
            QRectF(area.x(), screen->geometry().height() - area.bottom() - 1, area.width(), area.height()));
        QPointer<TLCaptureWindowController> controller = new TLCaptureWindowController(nullptr);
        controller->setDisableAudioRecording(true);
        controller->beginScreenCaptureForScreen(screen);
        controller->startRecording();
        QTRY_VERIFY(controller->captureSession()
            && QFileInfo::exists(controller->captureSession()->captureTemporaryFilePath()));
        const QString first = controller->captureSession()->captureTemporaryFilePath();
        const QDir folder = QFileInfo(first).dir();
        const QStringList before = folder.entryList({ "*.mov" });
        QTest::qWait(1100); // a new take is named by the second it starts in
        QString take = first;
        if (restart) {
            controller->restartRecording();
            if (restart == 1) {
                QTRY_VERIFY(controller->captureSession()
                    && QFileInfo::exists(take = controller->captureSession()->captureTemporaryFilePath()));
                QVERIFY(!QFileInfo::exists(first));
                const QPoint click = area.center();
                E2E::xdotool({ "mousemove", QString::number(click.x()), QString::number(click.y()), "click", "1" });
                QTest::qWait(800);
            }
        }
        Error error;
        QUrl movie;
        if (stop) {
            controller->endRecordingComplete([&](const Error &e, const QUrl &url) {
                error = e;
                movie = url;
            });
        } else {
            controller->cancelRecording();
        }
        QTRY_VERIFY_WITH_TIMEOUT(controller.isNull(), 20000); // it closes itself once ffmpeg has ended
        QVERIFY(
            E2E::runTool("pgrep", { "-P", QString::number(QCoreApplication::applicationPid()), "ffmpeg" }).isEmpty());
        QStringList left = folder.entryList({ "*.mov" });
        for (const QString &name : before)
            left.removeOne(name);
        if (!stop) {
            QVERIFY2(left.isEmpty() && !QFileInfo::exists(first), qPrintable(left.join(QLatin1Char(','))));
            return;
        }
        QVERIFY2(!error, qPrintable(error.toString()));
        QCOMPARE(movie.toLocalFile(), take);
        const int r = ClickMarker::kDiameter;
        const QList<QImage> around = E2E::movieFrames(take, QRect(QPoint(120 - r, 90 - r), QSize(2 * r, 2 * r)));
        QVERIFY(around.size() > 20);
        const QColor ring = QColor::fromRgb(ClickMarker::kColor);
        const auto hasRing = [&ring](const QImage &shot) { // near the ring's colour, after the encoder
            for (int y = 0; y < shot.height(); ++y)
                for (int x = 0; x < shot.width(); ++x)
                    if (const QColor c = shot.pixelColor(x, y); std::abs(c.red() - ring.red()) < 60
                        && std::abs(c.green() - ring.green()) < 60 && std::abs(c.blue() - ring.blue()) < 60)
                        return true;
            return false;
        };
        const int withRing = int(std::count_if(around.begin(), around.end(), hasRing));
        if (restart == 1) // up for a moment after the click
            QVERIFY2(withRing >= 3, qPrintable(QString::number(withRing)));
        else
            QCOMPARE(withRing, 0);
        QFile::remove(take);
    }

    void processingMakesTheUploadedFile_data()
    {
        QTest::addColumn<int>("format");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("suffix");
        QTest::newRow("video") << 0 << QStringLiteral("Optimizing video...") << QStringLiteral("mp4");
        QTest::newRow("GIF") << 1 << QStringLiteral("Converting to GIF...") << QStringLiteral("gif");
    }
    void processingMakesTheUploadedFile()
    {
        QFETCH(int, format);
        QFETCH(QString, message);
        QFETCH(QString, suffix);
        QTemporaryDir dir;
        const QString movie = dir.filePath(QStringLiteral("in.mov"));
        QCOMPARE(QProcess::execute("ffmpeg",
                     { "-v", "error", "-f", "lavfi", "-i", "testsrc=size=160x120:rate=10:duration=1", "-pix_fmt",
                         "yuv420p", movie }),
            0);
        NotificationRecorder began(key(Notifications::VideoProcessingBeganNotification));
        NotificationRecorder ended(key(Notifications::VideoProcessingEndedNotification));
        QUrl result;
        bool done = false;
        CloudScreenRecorder::processRecording(
            QUrl::fromLocalFile(movie), format, 2.0, [&](const QUrl &file, const Error &e) {
                QVERIFY2(!e, qPrintable(e.toString()));
                QCOMPARE(ended.seen().size(), 1); // posted before the completion
                result = file;
                done = true;
            });
        QTRY_VERIFY_WITH_TIMEOUT(done, 30000);
        QCOMPARE(
            began.seen().first().userInfo.value(key(Notifications::VideoProcessingMessageKey)).toString(), message);
        QCOMPARE(QFileInfo(result.toLocalFile()).suffix(), suffix);
        QVERIFY(QFileInfo(result.toLocalFile()).size() > 0);
    }

    void webcamBubbleSizesAndCorners()
    {
        auto source = std::make_unique<TestPatternSource>();
        TestPatternSource *pattern = source.get();
        TLWebcamWindowController webcam(std::move(source));
        QVERIFY(webcam.hasCamera());
        webcam.setRecordingRect(QRectF(100, 100, 800, 600));
        webcam.showAndStart();
        QVERIFY(pattern->isRunning());
        QCOMPARE(webcam.panel()->frameRect(), QRectF(112, 112, 200, 200)); // size 9, bottom-left
        webcam.panel()->setFrameOrigin(QPointF(600, 450)); // dragged near the top right
        webcam.panel()->snapToNearestCornerAnimated(false);
        QCOMPARE(webcam.panel()->frameRect(), QRectF(688, 488, 200, 200));

        TLCaptureSessionOptions::currentOptions().setDefaultWebcamSize(8);
        NotificationCenter::defaultCenter().post(key(Notifications::TLWebcamSizeChangedNotification));
        QTRY_COMPARE(webcam.panel()->frameRect(), QRectF(788, 588, 100, 100));
        // The area moves to another screen: the same corner there.
        webcam.setRecordingRectPreservingCorner(QRectF(1400, 50, 400, 300));
        QCOMPARE(webcam.panel()->frameRect(), QRectF(1688, 238, 100, 100));
        webcam.hideAndStop();
        QVERIFY(!pattern->isRunning());
        TLCaptureSessionOptions::currentOptions().setDefaultWebcamSize(9);
    }
};

QTEST_MAIN(TestRecordingControls)
#include "tst_recordingcontrols.moc"
