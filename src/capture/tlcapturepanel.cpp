#include "tlcapturepanel.h"
#include "capturepanelbackgroundview.h"
#include "capturepanelmodel.h"
#include "dispatch.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "tlvideocontrolsviewcontroller.h"
#include "tlwindowinspector.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainterPath>
#include <QRegion>
#include <QScreen>

TLCapturePanel::TLCapturePanel()
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint)
    , m_model(new CapturePanelModel(this))
{
    setWindowTitle(QStringLiteral("Tessly Cloud Recording Area"));
    setFocusPolicy(Qt::StrongFocus);
    m_bgView = new CapturePanelBackgroundView(m_model, this);
    m_controls = new TLVideoControlsViewController(this);
    connect(m_controls, &TLVideoControlsViewController::presetChosen, m_model, &CapturePanelModel::setPreset);

    for (QScreen *screen : QGuiApplication::screens())
        m_screens << screen;
    m_model->setScreens(screenFrames());
    m_model->setWindowSource([] { return TLWindowInspector().getWindowRects(); });
    connect(m_model, &CapturePanelModel::screenChanged, this, [this](int index) {
        if (index >= 0 && index < m_screens.size() && m_screens[index])
            coverScreen(m_screens[index]);
    });
    connect(qApp, &QGuiApplication::screenAdded, this, [this] { followScreens(nullptr); });
    connect(qApp, &QGuiApplication::screenRemoved, this, &TLCapturePanel::followScreens);
    connect(m_model, &CapturePanelModel::windowSelectModeChanged, this,
        [this](bool on) { m_controls->setVisible(!on && !m_isRecording); });
    connect(m_model, &CapturePanelModel::cropRectChanged, this, [this] {
        if (m_isRecording)
            updateRecordingMask();
    });
    coverScreen(QGuiApplication::primaryScreen());
    // The rectangle of the last session, once the panel has its screen.
    Dispatch::after(0.2, this, [this] {
        if (m_model->cropRect().isNull())
            m_model->restoreCropRect();
    });
}

TLCapturePanel::~TLCapturePanel() = default;

QList<QRectF> TLCapturePanel::screenFrames(const QList<QScreen *> &screens)
{
    QList<QRectF> frames;
    const qreal mainHeight = screens.isEmpty() ? 0 : screens.first()->geometry().height();
    for (QScreen *screen : screens) {
        const QRect g = screen->geometry();
        frames << QRectF(g.x(), mainHeight - g.y() - g.height(), g.width(), g.height());
    }
    return frames;
}

QRectF TLCapturePanel::cropRect() const
{
    return m_model->cropRect();
}

void TLCapturePanel::setCropRect(const QRectF &rect)
{
    m_model->setCropRect(rect);
}

QScreen *TLCapturePanel::currentScreen() const
{
    return m_currentScreen ? m_currentScreen.data() : QGuiApplication::primaryScreen();
}

void TLCapturePanel::setCurrentScreen(QScreen *screen)
{
    m_model->setCurrentScreen(std::max<qsizetype>(0, m_screens.indexOf(screen)));
    coverScreen(screen);
}

void TLCapturePanel::transitionToScreen(QScreen *screen)
{
    m_model->transitionToScreen(m_screens.indexOf(screen));
}

void TLCapturePanel::followScreens(QScreen *gone)
{
    // Qt may still list the screen that is going; it is left out.
    QList<QScreen *> screens = QGuiApplication::screens();
    screens.removeAll(gone);
    m_screens.clear();
    for (QScreen *screen : std::as_const(screens))
        m_screens << screen;
    QScreen *current = m_currentScreen == gone ? nullptr : m_currentScreen.data();
    if (!current)
        m_currentScreen = nullptr; // not to be used while the model moves the area
    m_model->screensChanged(screenFrames(screens), current ? int(screens.indexOf(current)) : -1);
    // Still on its screen: the others may have moved, so its place is set anew.
    if (current)
        coverScreen(current);
}

void TLCapturePanel::coverScreen(QScreen *screen)
{
    if (!screen)
        return;
    m_currentScreen = screen;
    // The screen as it is now, under the dimming; the panel is not on it yet.
    const bool wasVisible = isVisible();
    if (!wasVisible)
        m_bgView->setBackdrop(screen->grabWindow(0));
    setGeometry(screen->geometry());
    m_bgView->setGeometry(0, 0, screen->geometry().width(), screen->geometry().height());
    if (wasVisible) {
        hide();
        m_bgView->setBackdrop(screen->grabWindow(0));
        show();
        raise();
        activateWindow();
    }
    positionControls();
}

void TLCapturePanel::resizeEvent(QResizeEvent *)
{
    m_bgView->setGeometry(rect());
    positionControls();
}

void TLCapturePanel::showEvent(QShowEvent *)
{
    // The window manager is bypassed (the panel must lie over docks and
    // panels), so the keyboard is taken while framing.
    if (!m_isRecording)
        grabKeyboard();
}

void TLCapturePanel::hideEvent(QHideEvent *)
{
    releaseKeyboard();
}

void TLCapturePanel::positionControls()
{
    m_controls->adjustSize();
    const QSize size = m_controls->sizeHint();
    m_controls->setGeometry(
        int(width() * 0.5 - size.width() * 0.5), height() - 15 - size.height(), size.width(), size.height());
    m_controls->raise();
}

void TLCapturePanel::enterWindowSelectMode()
{
    if (!m_isRecording)
        m_model->enterWindowSelectMode();
}

void TLCapturePanel::exitWindowSelectMode()
{
    m_model->exitWindowSelectMode();
}

void TLCapturePanel::setIsRecording(bool recording)
{
    m_isRecording = recording;
    if (recording)
        exitWindowSelectMode();
    m_controls->setVisible(!recording);
    m_bgView->setRecording(recording);
    if (recording)
        releaseKeyboard();
    setAttribute(Qt::WA_TransparentForMouseEvents, recording);
    setWindowFlag(Qt::WindowTransparentForInput, recording);
    if (recording) {
        updateRecordingMask();
    } else {
        clearMask();
    }
    show();
}

void TLCapturePanel::updateRecordingMask()
{
    // Only the outline stays: a ring of 3 pixels just outside the area.
    const QRect inner = m_bgView->toWidget(m_model->cropRect()).toAlignedRect();
    setMask(QRegion(inner.adjusted(-3, -3, 3, 3)).subtracted(QRegion(inner)));
}

void TLCapturePanel::showPreparingIndicator()
{
    m_bgView->setPreparing(true);
}

void TLCapturePanel::hidePreparingIndicator()
{
    m_bgView->setPreparing(false);
}

void TLCapturePanel::orderOut()
{
    exitWindowSelectMode();
    hide();
}

void TLCapturePanel::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Space && !m_isRecording) {
        if (m_model->windowSelectMode())
            exitWindowSelectMode();
        else
            enterWindowSelectMode();
        return;
    }
    if (event->key() == Qt::Key_Escape) {
        if (m_model->windowSelectMode()) {
            exitWindowSelectMode();
            return;
        }
        NotificationCenter::defaultCenter().post(
            QString::fromLatin1(Notifications::TLVideoControllerEndCaptureNotification));
        return;
    }
    QWidget::keyPressEvent(event);
}
