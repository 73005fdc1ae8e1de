// Shows one state of the recording windows for scripts/gallery to photograph:
//
//   tessly-recordinggallery framing|windowselect|presets|options|gif|countdown|recording|webcam SIZE
//   tessly-recordinggallery window      another application's window to frame
//   tessly-recordinggallery record-button
// The webcam is fed a test pattern: the gallery's desktop has no camera.
// Prints "ready" once the state is on screen and runs until killed.
// record-button prints where the capture panel's Record button is, "X Y"
// from the panel's top left in device pixels, for the gallery to click the
// application's own panel, and exits.
#include "capturepanelmodel.h"
#include "cloudscreenrecorder.h"
#include "defaultskeys.h"
#include "floatingcamerapanel.h"
#include "settingsstore.h"
#include "tlcapturepanel.h"
#include "tlcapturesessionoptions.h"
#include "tlrecordingcontrolspanel.h"
#include "tlvideocontrolsviewcontroller.h"
#include "tlwebcamwindowcontroller.h"
#include "webcamframesource.h"

#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QTextStream>
#include <QTimer>
#include <QToolButton>

namespace {

class PatternSource : public WebcamFrameSource
{
public:
    void start() override
    {
        m_running = true;
        QImage frame(320, 240, QImage::Format_RGB32);
        QPainter p(&frame);
        QLinearGradient g(0, 0, 320, 240);
        g.setColorAt(0, QColor(0x35, 0x84, 0xe4));
        g.setColorAt(1, QColor(0x9141ac));
        p.fillRect(frame.rect(), g);
        p.setBrush(QColor(0xf6, 0xd3, 0x2d));
        p.setPen(Qt::NoPen);
        p.drawEllipse(QPointF(160, 110), 50, 50);
        p.drawEllipse(QRectF(80, 170, 160, 120));
        p.end();
        Q_EMIT frameReady(frame);
    }
    void stop() override { m_running = false; }
    bool isRunning() const override { return m_running; }
    void switchToDeviceWithUniqueID(const QString &) override { }

private:
    bool m_running = false;
};

void ready(int afterMs = 700)
{
    QTimer::singleShot(afterMs, [] { QTextStream(stdout) << "ready" << Qt::endl; });
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    const QString state = app.arguments().value(1);
    QScreen *screen = QGuiApplication::primaryScreen();
    const QRect g = screen->geometry();

    // Another application's window, to frame and to pick.
    if (state == QLatin1String("window")) {
        QLabel behind(QStringLiteral("A window to frame"));
        behind.setAlignment(Qt::AlignCenter);
        behind.setWindowTitle(QStringLiteral("Editor"));
        behind.setGeometry(g.x() + 160, g.y() + 140, 520, 340);
        behind.show();
        return app.exec();
    }

    if (state == QLatin1String("record-button")) {
        TLCapturePanel panel;
        panel.show();
        QTimer::singleShot(500, [&] {
            const QPushButton *record = panel.controls()->recordButton();
            const QPoint at = record->mapTo(&panel, record->rect().center()) * panel.devicePixelRatio();
            QTextStream(stdout) << at.x() << " " << at.y() << Qt::endl;
            app.quit();
        });
        return app.exec();
    }

    TLCaptureSessionOptions &options = TLCaptureSessionOptions::currentOptions();
    options.setStartDelay(5);
    std::unique_ptr<TLCapturePanel> panel;
    std::unique_ptr<TLRecordingControlsPanel> controls;
    std::unique_ptr<TLWebcamWindowController> webcam;
    const QRectF crop(g.width() * 0.2, g.height() * 0.3, g.width() * 0.5, g.height() * 0.5);

    QTimer::singleShot(500, [&] {
        if (state == QLatin1String("webcam")) {
            options.setDefaultWebcamSize(app.arguments().value(2).toInt());
            webcam = std::make_unique<TLWebcamWindowController>(std::make_unique<PatternSource>());
            webcam->setRecordingRect(QRectF(g.width() * 0.2, g.height() * 0.2, g.width() * 0.6, g.height() * 0.6));
            webcam->showAndStart();
            ready();
            return;
        }
        if (state == QLatin1String("recording")) {
            controls = std::make_unique<TLRecordingControlsPanel>();
            panel = std::make_unique<TLCapturePanel>();
            panel->setCropRect(crop);
            panel->show();
            panel->setIsRecording(true);
            controls->positionRelativeToCropRect(crop, screen);
            controls->show();
            controls->startTimer();
            QTimer::singleShot(0, [&] { controls->updateTimer(); });
            ready();
            return;
        }
        panel = std::make_unique<TLCapturePanel>();
        panel->setCropRect(crop);
        panel->show();
        TLVideoControlsViewController *strip = panel->controls();
        if (state == QLatin1String("windowselect")) {
            panel->enterWindowSelectMode();
            panel->model()->updateWindowHighlight(QPointF(g.x() + 300, g.height() - 300));
        } else if (state == QLatin1String("presets") || state == QLatin1String("options")
            || state == QLatin1String("gif")) {
            if (state == QLatin1String("gif")) {
                // GIF chosen: the microphones are disabled and say why. The
                // stored choice is put back, so the other states show video.
                const QString key = QString::fromLatin1(DefaultsKeys::DefaultFormat);
                const QVariant stored = SettingsStore::instance().objectForKey(key);
                strip->formatChanged(1);
                if (stored.isValid())
                    SettingsStore::instance().setObject(stored, key);
                else
                    SettingsStore::instance().removeObject(key);
            }
            QMenu *menu = state == QLatin1String("presets") ? strip->presetsMenu() : strip->captureOptionsMenu();
            const QPoint at = strip->mapToGlobal(QPoint(strip->width() / 2, 0));
            menu->popup(at - QPoint(0, menu->sizeHint().height() + 4));
        } else if (state == QLatin1String("countdown")) {
            strip->beginRecording();
            ready(2300); // "4" on the button
            return;
        }
        ready();
    });
    return app.exec();
}
