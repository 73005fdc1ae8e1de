#include "tlvideocontrolsviewcontroller.h"
#include "capturedevices.h"
#include "capturepanelmodel.h"
#include "defaultskeys.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "settingsstore.h"

#include <QActionGroup>
#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLoggingCategory>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QTimer>
#include <QToolButton>

Q_LOGGING_CATEGORY(lcVideoControls, "tessly.capture.tlvideocontrolsviewcontroller")

namespace {

void post(const char *name)
{
    NotificationCenter::defaultCenter().post(QString::fromLatin1(name));
}

// The strip's rounded, translucent-looking background in the palette's
// window colour, so it reads on light and dark desktops alike.
class StripBackground : public QWidget
{
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
        p.fillPath(path, palette().window());
        p.setPen(QPen(palette().mid().color(), 1));
        p.drawPath(path);
    }
};

} // namespace

TLVideoControlsViewController::TLVideoControlsViewController(QWidget *parent)
    : QWidget(parent)
    , m_microphones(&CaptureDevices::microphones)
    , m_cameras(&CaptureDevices::cameras)
{
    setAttribute(Qt::WA_TranslucentBackground);
    auto *outer = new QHBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto *strip = new StripBackground(this);
    outer->addWidget(strip);
    auto *layout = new QHBoxLayout(strip);
    layout->setContentsMargins(10, 6, 10, 6);
    layout->setSpacing(6);

    auto *formats = new QButtonGroup(this);
    const QString labels[2] = { QStringLiteral("Video"), QStringLiteral("GIF") };
    auto *segments = new QHBoxLayout;
    segments->setSpacing(0);
    for (int i = 0; i < 2; ++i) {
        m_formatButtons[i] = new QPushButton(labels[i], strip);
        m_formatButtons[i]->setCheckable(true);
        m_formatButtons[i]->setMinimumWidth(56);
        formats->addButton(m_formatButtons[i], i);
        segments->addWidget(m_formatButtons[i]);
    }
    layout->addLayout(segments);
    connect(formats, &QButtonGroup::idClicked, this, &TLVideoControlsViewController::formatChanged);

    const auto tool = [&](const QString &text, const QString &tip) {
        auto *b = new QToolButton(strip);
        b->setText(text);
        b->setToolTip(tip);
        b->setAutoRaise(true);
        b->setToolButtonStyle(Qt::ToolButtonTextOnly);
        layout->addWidget(b);
        return b;
    };
    m_presetsButton = tool(QStringLiteral("Area"), QStringLiteral("Recording area presets"));
    m_presets = new QMenu(this);
    for (const QString &title : CapturePanelModel::presetTitles()) {
        m_presets->addAction(title, this, [this, title] { Q_EMIT presetChosen(title); });
    }
    m_presetsButton->setMenu(m_presets);
    m_presetsButton->setPopupMode(QToolButton::InstantPopup);

    m_webcamButton = tool(QStringLiteral("Webcam"), QStringLiteral("Show or hide the webcam"));
    m_webcamButton->setCheckable(true);
    connect(m_webcamButton, &QToolButton::clicked, this, &TLVideoControlsViewController::toggleWebcam);

    m_optionsButton = tool(QStringLiteral("Options"), QStringLiteral("Recording options"));
    m_menu = new QMenu(this);
    m_optionsButton->setMenu(m_menu);
    m_optionsButton->setPopupMode(QToolButton::InstantPopup);
    connect(m_menu, &QMenu::triggered, this, &TLVideoControlsViewController::setSessionOptions);

    m_recordButton = new QPushButton(QStringLiteral("Record"), strip);
    m_recordButton->setDefault(true);
    m_recordButton->setMinimumWidth(80);
    layout->addWidget(m_recordButton);
    connect(m_recordButton, &QPushButton::clicked, this, &TLVideoControlsViewController::beginRecording);

    m_closeButton = tool(QStringLiteral("Cancel"), QStringLiteral("Close without recording (Esc)"));
    connect(m_closeButton, &QToolButton::clicked, this, &TLVideoControlsViewController::closeSession);

    m_countdownTimer = new QTimer(this);
    m_countdownTimer->setInterval(1000);

    connect(&options(), &TLCaptureSessionOptions::disableAudioRecordingChanged, this,
        &TLVideoControlsViewController::setupMenu);
    setupFormatControl();
    setupMenu();
    updateWebcamButton();
    adjustSize();
}

void TLVideoControlsViewController::setDeviceSources(DeviceList microphones, DeviceList cameras)
{
    m_microphones = std::move(microphones);
    m_cameras = std::move(cameras);
    setupMenu();
}

int TLVideoControlsViewController::selectedFormat() const
{
    return m_formatButtons[1]->isChecked() ? 1 : 0;
}

void TLVideoControlsViewController::setupFormatControl()
{
    const int stored
        = SettingsStore::instance().objectForKey(QString::fromLatin1(DefaultsKeys::DefaultFormat)).toInt() == 1 ? 1 : 0;
    m_formatButtons[stored]->setChecked(true);
    // What the control shows is what gets recorded.
    options().setFormat(stored);
    options().setDisableAudioRecording(stored == 1);
}

void TLVideoControlsViewController::formatChanged(int segment)
{
    const int format = segment == 1 ? 1 : 0;
    m_formatButtons[format]->setChecked(true);
    options().setFormat(format);
    options().setDisableAudioRecording(format == 1); // a GIF has no sound
    setupMenu();
    SettingsStore::instance().setObject(format, QString::fromLatin1(DefaultsKeys::DefaultFormat));
}

QAction *TLVideoControlsViewController::addItem(QMenu *menu, const QString &title, int tag, bool checked, bool enabled)
{
    QAction *item = menu->addAction(title);
    item->setData(tag);
    item->setCheckable(true);
    item->setChecked(checked);
    item->setEnabled(enabled);
    return item;
}

void TLVideoControlsViewController::setupMenu()
{
    TLCaptureSessionOptions &o = options();
    m_menu->clear();
    m_menu->addSection(QStringLiteral("Start Delay"));
    addItem(m_menu, QStringLiteral("No Delay"), NoDelay, o.startDelay() == 0);
    addItem(m_menu, QStringLiteral("5 Seconds"), FiveSecondDelay, o.startDelay() == 5);
    addItem(m_menu, QStringLiteral("10 Seconds"), TenSecondDelay, o.startDelay() == 10);

    m_menu->addSection(QStringLiteral("Microphone"));
    const bool audio = !o.disableAudioRecording();
    std::optional<CaptureDevice> mic;
    const QList<CaptureDevice> microphones = m_microphones ? m_microphones() : QList<CaptureDevice>();
    for (const CaptureDevice &device : microphones) {
        if (!o.defaultMicID().isEmpty() && device.id == o.defaultMicID())
            mic = device;
    }
    o.setMic(mic);
    addItem(m_menu, QStringLiteral("No Microphone"), NoMicrophone, !mic, audio);
    for (const CaptureDevice &device : microphones) {
        QAction *item = addItem(m_menu, device.name, Microphone, mic && mic->id == device.id, audio);
        item->setProperty("deviceId", device.id);
    }
    if (!audio)
        m_menu->addAction(QStringLiteral("GIFs are recorded without sound"))->setEnabled(false);

    m_menu->addSection(QStringLiteral("Mouse"));
    addItem(m_menu, QStringLiteral("Show Mouse Clicks"), ShowMouseClicks, o.showMouseClicks());

    m_menu->addSection(QStringLiteral("Camera"));
    const QList<CaptureDevice> cameras = m_cameras ? m_cameras() : QList<CaptureDevice>();
    std::optional<CaptureDevice> camera;
    for (const CaptureDevice &device : cameras) {
        if (device.id == o.defaultCameraID())
            camera = device;
        QAction *item = addItem(m_menu, device.name, Camera, device.id == o.defaultCameraID());
        item->setProperty("deviceId", device.id);
    }
    o.setCamera(camera);
    if (cameras.isEmpty())
        m_menu->addAction(QStringLiteral("No camera found"))->setEnabled(false);

    m_menu->addSection(QStringLiteral("Webcam Size"));
    addItem(m_menu, QStringLiteral("Small"), WebcamSmall, o.defaultWebcamSize() == WebcamSmall, !cameras.isEmpty());
    addItem(m_menu, QStringLiteral("Medium"), WebcamMedium, o.defaultWebcamSize() == WebcamMedium, !cameras.isEmpty());
    addItem(m_menu, QStringLiteral("Large"), WebcamLarge, o.defaultWebcamSize() == WebcamLarge, !cameras.isEmpty());

    m_webcamButton->setEnabled(!cameras.isEmpty());
    m_webcamButton->setToolTip(
        cameras.isEmpty() ? QStringLiteral("No camera found") : QStringLiteral("Show or hide the webcam"));
    updateWebcamButton();
}

void TLVideoControlsViewController::setSessionOptions(QAction *item)
{
    if (!item || !item->data().isValid())
        return;
    TLCaptureSessionOptions &o = options();
    const int tag = item->data().toInt();
    switch (tag) {
    case NoDelay:
        o.setStartDelay(0);
        break;
    case FiveSecondDelay:
        o.setStartDelay(5);
        break;
    case TenSecondDelay:
        o.setStartDelay(10);
        break;
    case NoMicrophone:
        o.setMic(std::nullopt);
        o.setDefaultMicID(QString());
        break;
    case ShowMouseClicks:
        o.setShowMouseClicks(!o.showMouseClicks());
        break;
    case Microphone: {
        // X11 asks no permission for the microphone; the sound server does
        // what the desktop's privacy settings say.
        const QString id = item->property("deviceId").toString();
        o.setMic(CaptureDevice { id, item->text() });
        o.setDefaultMicID(id);
        break;
    }
    case Camera:
        o.setCamera(CaptureDevice { item->property("deviceId").toString(), item->text() });
        o.setDefaultCameraID(item->property("deviceId").toString());
        post(Notifications::TLWebcamChangedNotification);
        break;
    case WebcamSmall:
    case WebcamMedium:
    case WebcamLarge:
        o.setDefaultWebcamSize(tag);
        post(Notifications::TLWebcamSizeChangedNotification);
        break;
    default:
        return;
    }
    // Not while the menu is still handing out the item that is rebuilt.
    QMetaObject::invokeMethod(this, &TLVideoControlsViewController::setupMenu, Qt::QueuedConnection);
}

void TLVideoControlsViewController::beginRecording()
{
    qCInfo(lcVideoControls) << "Starting countdown";
    countdown(options().startDelay(), [] {
        qCInfo(lcVideoControls).noquote()
            << QStringLiteral("Sending notification %1")
                   .arg(QLatin1String(Notifications::TLVideoControllerBeginRecordingNotification));
        post(Notifications::TLVideoControllerBeginRecordingNotification);
    });
}

void TLVideoControlsViewController::countdown(int seconds, std::function<void()> complete)
{
    if (seconds <= 0) {
        complete();
        return;
    }
    m_secondsLeft = seconds;
    m_countdownComplete = std::move(complete);
    m_countdownTimer->disconnect(this);
    connect(m_countdownTimer, &QTimer::timeout, this, [this] {
        qCInfo(lcVideoControls).noquote() << QStringLiteral("Current seconds %1").arg(m_secondsLeft);
        if (m_secondsLeft > 0) {
            showSecondsLeft(m_secondsLeft);
            --m_secondsLeft;
            return;
        }
        m_countdownTimer->stop();
        showSecondsLeft(0);
        if (auto complete = std::exchange(m_countdownComplete, {}))
            complete();
    });
    m_countdownTimer->start();
}

void TLVideoControlsViewController::showSecondsLeft(int seconds)
{
    if (seconds <= 0) {
        // Back to the look the strip gives it.
        m_recordButton->setPalette(QPalette());
        m_recordButton->setFont(QFont());
        m_recordButton->setText(QStringLiteral("Record"));
        m_recordButton->setEnabled(true);
        return;
    }
    // The button takes no clicks while it counts, but a disabled button's
    // text is drawn faint, and the seconds are what the user watches: they
    // keep the normal text colour, in bold. Taken from the strip as each
    // countdown begins, so a light or dark palette chosen since is followed.
    if (m_recordButton->isEnabled()) {
        QPalette palette = m_recordButton->parentWidget()->palette();
        palette.setColor(
            QPalette::Disabled, QPalette::ButtonText, palette.color(QPalette::Active, QPalette::ButtonText));
        m_recordButton->setPalette(palette);
        QFont font = m_recordButton->parentWidget()->font();
        font.setBold(true);
        m_recordButton->setFont(font);
        m_recordButton->setEnabled(false);
    }
    m_recordButton->setText(QString::number(seconds));
}

void TLVideoControlsViewController::setCountdownInterval(int milliseconds)
{
    m_countdownTimer->setInterval(milliseconds);
}

void TLVideoControlsViewController::closeSession()
{
    m_countdownTimer->stop();
    m_countdownComplete = {};
    showSecondsLeft(0);
    post(Notifications::TLVideoControllerEndCaptureNotification);
}

void TLVideoControlsViewController::toggleWebcam()
{
    post(Notifications::TLToggleWebcamNotification);
    updateWebcamButton();
}

void TLVideoControlsViewController::updateWebcamButton()
{
    const bool on = options().showWebcam() && m_webcamButton->isEnabled();
    m_webcamSymbol = on ? QStringLiteral("video.fill") : QStringLiteral("video.slash.fill");
    m_webcamButton->setChecked(on);
}
