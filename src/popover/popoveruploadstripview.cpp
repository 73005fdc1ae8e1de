#include "popoveruploadstripview.h"

#include "menuicons.h"
#include "popoverwindowcontroller.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QToolButton>

namespace {

const QColor kRed(0xe0, 0x1b, 0x24);
constexpr int kTrackHeight = 4;

} // namespace

PopoverUploadStripView::PopoverUploadStripView(PopoverWindowController *controller, QWidget *parent)
    : QWidget(parent)
    , m_controller(controller)
    , m_status(new QLabel(this))
    , m_pause(new QToolButton(this))
    , m_resume(new QToolButton(this))
    , m_cancel(new QToolButton(this))
{
    m_status->setTextFormat(Qt::PlainText);
    m_status->setMinimumWidth(1);
    const QList<std::pair<QToolButton *, QString>> buttons { { m_pause, QStringLiteral("Pause") },
        { m_resume, QStringLiteral("Resume") }, { m_cancel, QStringLiteral("Cancel") } };
    for (const auto &[button, tip] : buttons) {
        button->setToolTip(tip);
        button->setAccessibleName(tip);
        button->setAutoRaise(true);
        button->setFocusPolicy(Qt::NoFocus);
        button->setIconSize(QSize(16, 16));
    }
    connect(m_pause, &QToolButton::clicked, controller, &PopoverWindowController::pauseUploads);
    connect(m_resume, &QToolButton::clicked, controller, &PopoverWindowController::resumeUploads);
    connect(m_cancel, &QToolButton::clicked, controller, &PopoverWindowController::cancelUpload);

    auto *row = new QHBoxLayout(this);
    // Room below the text for the progress track.
    row->setContentsMargins(16, 10, 10, 10 + kTrackHeight + 4);
    row->setSpacing(2);
    row->addWidget(m_status, 1);
    row->addWidget(m_pause);
    row->addWidget(m_resume);
    row->addWidget(m_cancel);
    updateIcons();
    updateWithProgress(0, 0, 0, false);
}

QString PopoverUploadStripView::statusText() const
{
    return m_status->text();
}

QString PopoverUploadStripView::textFor(int state, float progress, double speed)
{
    switch (state) {
    case 3:
        return QStringLiteral("Upload failed \u2013 click to retry");
    case 2:
        return QStringLiteral("Upload paused");
    case 1: {
        QString text = QString::asprintf("Uploading... %d%%", int(progress * 100));
        if (speed > 0) {
            const QString rate = speed > 1048576.0 ? QString::asprintf("%.1f MB/s", speed / 1048576.0)
                                                   : QString::asprintf("%.0f KB/s", speed / 1024.0);
            text = QStringLiteral("%1 \u00b7 %2").arg(text, rate);
        }
        return text;
    }
    default:
        return {};
    }
}

void PopoverUploadStripView::updateWithProgress(float progress, double speed, int uploadState, bool hasMultipartUploads)
{
    m_currentState = uploadState;
    m_progress = qBound(0.0f, progress, 1.0f);
    QPalette palette = m_status->palette();
    if (uploadState == 3)
        palette.setColor(QPalette::WindowText, kRed);
    else if (uploadState == 2)
        palette.setColor(QPalette::WindowText, this->palette().color(QPalette::PlaceholderText));
    else if (uploadState == 1)
        palette.setColor(QPalette::WindowText, this->palette().color(QPalette::WindowText));
    m_status->setPalette(palette);
    if (uploadState >= 1 && uploadState <= 3)
        m_status->setText(textFor(uploadState, progress, speed));
    else
        m_status->clear();
    m_pause->setVisible(uploadState == 1 && hasMultipartUploads);
    m_resume->setVisible(uploadState == 2);
    m_cancel->setVisible(uploadState != 0);
    setCursor(uploadState == 3 ? Qt::PointingHandCursor : Qt::ArrowCursor);
    setToolTip(uploadState == 3 ? QStringLiteral("Retry the interrupted upload") : QString());
    update();
}

void PopoverUploadStripView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF card = QRectF(rect()).adjusted(8, 4, -8, -4);
    QColor fill = palette().color(QPalette::Highlight);
    fill.setAlphaF(0.08);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(card, 10, 10);

    // The track, and the fill at progress × the track's width.
    const QRectF track(card.left() + 8, card.bottom() - 8 - kTrackHeight, card.width() - 16, kTrackHeight);
    QColor trackColor = palette().color(QPalette::WindowText);
    trackColor.setAlphaF(0.12);
    painter.setBrush(trackColor);
    painter.drawRoundedRect(track, kTrackHeight / 2.0, kTrackHeight / 2.0);
    const qreal width = track.width() > 0 ? track.width() : 300;
    const QRectF filled(track.left(), track.top(), width * m_progress, kTrackHeight);
    painter.setBrush(m_currentState == 3 ? kRed
            : m_currentState == 2        ? palette().color(QPalette::PlaceholderText)
                                         : palette().color(QPalette::Highlight));
    if (filled.width() > 0)
        painter.drawRoundedRect(filled, kTrackHeight / 2.0, kTrackHeight / 2.0);
}

void PopoverUploadStripView::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()))
        m_controller->cardClicked();
    QWidget::mouseReleaseEvent(event);
}

void PopoverUploadStripView::updateIcons()
{
    const QColor color = palette().color(QPalette::WindowText);
    m_pause->setIcon(MenuIcons::themed(QStringLiteral("media-playback-pause"), color));
    m_resume->setIcon(MenuIcons::themed(QStringLiteral("media-playback-start"), color));
    m_cancel->setIcon(MenuIcons::themed(QStringLiteral("process-stop"), color));
}

void PopoverUploadStripView::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange)
        updateIcons();
    QWidget::changeEvent(event);
}
