#include "tlrecordingcontrolspanel.h"
#include "floatingcamerapanel.h"

#include <QFrame>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QToolButton>

namespace {

// The buttons' pictures, drawn so that they do not depend on an icon theme.
QIcon symbolIcon(const QString &symbol, const QColor &color)
{
    QPixmap pixmap(QSize(32, 32));
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(color);
    if (symbol == QLatin1String("stop.fill")) {
        p.setBrush(QColor(0xe0, 0x1b, 0x24));
        p.drawRoundedRect(QRectF(7, 7, 18, 18), 3, 3);
    } else if (symbol == QLatin1String("arrow.counterclockwise")) {
        p.setPen(QPen(color, 3, Qt::SolidLine, Qt::RoundCap));
        p.setBrush(Qt::NoBrush);
        p.drawArc(QRectF(7, 7, 18, 18), 100 * 16, 290 * 16);
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        p.drawPolygon(QPolygonF({ QPointF(6, 5), QPointF(15, 7), QPointF(9, 14) }));
    } else if (symbol == QLatin1String("trash")) {
        p.drawRoundedRect(QRectF(9, 11, 14, 16), 2, 2);
        p.drawRect(QRectF(7, 7, 18, 3));
        p.drawRect(QRectF(13, 4, 6, 3));
    }
    return QIcon(pixmap);
}

} // namespace

TLRecordingControlsPanel::TLRecordingControlsPanel()
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint)
{
    setWindowTitle(QStringLiteral("Tessly Cloud Recording"));
    setAttribute(Qt::WA_TranslucentBackground);
    setFixedSize(kSize.toSize());
    setMask(roundedRegion(rect(), 12)); // round without a compositing manager too

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(16, 6, 10, 6);
    layout->setSpacing(4);
    m_timerLabel = new QLabel(QStringLiteral("0:00"), this);
    QFont font = QGuiApplication::font();
    font.setPointSizeF(font.pointSizeF() + 1);
    m_timerLabel->setFont(font);
    m_timerLabel->setMinimumWidth(64);
    layout->addWidget(m_timerLabel);
    auto *divider = new QFrame(this);
    divider->setFrameShape(QFrame::VLine);
    divider->setFrameShadow(QFrame::Plain);
    divider->setFixedHeight(22);
    layout->addWidget(divider);
    layout->addSpacing(4);
    m_stopButton = makeButtonWithSymbol(
        QStringLiteral("stop.fill"), QStringLiteral("Stop Recording"), &TLRecordingControlsPanel::stopClicked);
    m_restartButton = makeButtonWithSymbol(QStringLiteral("arrow.counterclockwise"),
        QStringLiteral("Restart Recording"), &TLRecordingControlsPanel::restartClicked);
    m_trashButton = makeButtonWithSymbol(
        QStringLiteral("trash"), QStringLiteral("Discard Recording"), &TLRecordingControlsPanel::trashClicked);
    for (QToolButton *b : { m_stopButton, m_restartButton, m_trashButton })
        layout->addWidget(b);

    m_timer = new QTimer(this);
    m_timer->setInterval(1000);
    // A coarse timer may tick a little early, and whole seconds counted then
    // leave the time shown a second behind.
    m_timer->setTimerType(Qt::PreciseTimer);
    connect(m_timer, &QTimer::timeout, this, &TLRecordingControlsPanel::updateTimer);
}

TLRecordingControlsPanel::~TLRecordingControlsPanel() = default;

QToolButton *TLRecordingControlsPanel::makeButtonWithSymbol(
    const QString &symbol, const QString &tooltip, void (TLRecordingControlsPanel::*action)())
{
    auto *button = new QToolButton(this);
    button->setAutoRaise(true);
    button->setIcon(symbolIcon(symbol, palette().windowText().color()));
    button->setIconSize(QSize(16, 16));
    button->setFixedSize(32, 32);
    button->setToolTip(tooltip);
    button->setCursor(Qt::ArrowCursor);
    button->setObjectName(symbol);
    connect(button, &QToolButton::clicked, this, action);
    return button;
}

void TLRecordingControlsPanel::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 12, 12);
    p.fillPath(path, palette().window());
    p.setPen(QPen(palette().mid().color(), 1));
    p.drawPath(path);
}

QString TLRecordingControlsPanel::elapsedText(qint64 seconds)
{
    if (seconds < 3600)
        return QString::asprintf("%lld:%02lld", seconds / 60, seconds % 60);
    return QString::asprintf("%lld:%02lld:%02lld", seconds / 3600, (seconds / 60) % 60, seconds % 60);
}

QString TLRecordingControlsPanel::elapsedText() const
{
    return m_timerLabel->text();
}

void TLRecordingControlsPanel::startTimer()
{
    m_timer->stop();
    m_recordingStartDate = QDateTime::currentDateTimeUtc();
    m_timerLabel->setText(QStringLiteral("0:00"));
    m_timer->start();
}

void TLRecordingControlsPanel::resetTimer()
{
    m_timer->stop();
    m_recordingStartDate = {};
    m_timerLabel->setText(QStringLiteral("0:00"));
    startTimer();
}

void TLRecordingControlsPanel::updateTimer()
{
    if (!m_recordingStartDate.isValid())
        return;
    m_timerLabel->setText(elapsedText(m_recordingStartDate.secsTo(QDateTime::currentDateTimeUtc())));
}

QPointF TLRecordingControlsPanel::position(const QRectF &r, const QRectF &s)
{
    const qreal w = kSize.width(), h = kSize.height();
    const qreal centreX = r.x() + r.width() / 2 - w / 2;
    const qreal centreY = r.y() + r.height() / 2 - h / 2;
    QPointF origin;
    if (r.y() - s.y() >= h + kGap)
        origin = { centreX, r.y() - kGap - h };
    else if (s.y() + s.height() - (r.y() + r.height()) >= h + kGap)
        origin = { centreX, r.y() + r.height() + kGap };
    else if (s.x() + s.width() - (r.x() + r.width()) >= w + kGap)
        origin = { r.x() + r.width() + kGap, centreY };
    else if (r.x() - s.x() >= w + kGap)
        origin = { r.x() - kGap - w, centreY };
    else
        origin = { centreX, r.y() + kGap };
    origin.setX(std::max(s.x(), std::min(origin.x(), s.x() + s.width() - w)));
    origin.setY(std::max(s.y(), std::min(origin.y(), s.y() + s.height() - h)));
    return origin;
}

void TLRecordingControlsPanel::positionRelativeToCropRect(const QRectF &cropRect, QScreen *screen)
{
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const qreal mainHeight = QGuiApplication::primaryScreen()->geometry().height();
    const QRect g = screen->geometry();
    const QRectF frame(g.x(), mainHeight - g.y() - g.height(), g.width(), g.height());
    const QPointF origin = position(cropRect.normalized().translated(frame.topLeft()), frame);
    move(QPointF(origin.x(), mainHeight - origin.y() - kSize.height()).toPoint());
}

int TLRecordingControlsPanel::ask(const QString &title, const QString &text, const QStringList &buttons)
{
    if (m_runAlert)
        return m_runAlert(title, text, buttons);
    QMessageBox box(QMessageBox::Warning, title, text, QMessageBox::NoButton, this);
    QList<QAbstractButton *> added;
    for (int i = 0; i < buttons.size(); ++i)
        added << box.addButton(buttons[i], i == 0 ? QMessageBox::AcceptRole : QMessageBox::RejectRole);
    box.exec();
    return int(added.indexOf(box.clickedButton()));
}

void TLRecordingControlsPanel::stopClicked()
{
    Q_EMIT stopRequested();
}

void TLRecordingControlsPanel::restartClicked()
{
    if (ask(QStringLiteral("Restart Recording?"),
            QStringLiteral("This will discard the current recording and start over."),
            { QStringLiteral("Restart"), QStringLiteral("Cancel") })
        == 0) {
        Q_EMIT restartRequested();
    }
}

void TLRecordingControlsPanel::trashClicked()
{
    if (ask(QStringLiteral("Discard Recording?"), QStringLiteral("The current recording will be permanently deleted."),
            { QStringLiteral("Discard"), QStringLiteral("Cancel") })
        == 0) {
        Q_EMIT trashRequested();
    }
}

void TLRecordingControlsPanel::orderOut()
{
    m_timer->stop();
    hide();
}
