#include "processingpopoverviewcontroller.h"

#include "processingspinner.h"

#include <QEvent>
#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

namespace {
// The panel's layout, in logical pixels.
const QSize kPanelSize(220, 60);
const QRect kSpinnerRect(15, 20, 20, 20);
const QRect kLabelRect(45, 18, 160, 24);
constexpr int kGap = 4; // between the anchor and the panel
} // namespace

ProcessingPopoverViewController::ProcessingPopoverViewController(const QString &message, QWidget *parent)
    : QWidget(parent, Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus)
    , m_message(message)
    , m_spinner(new ProcessingSpinner(this))
    , m_messageLabel(new QLabel(this))
{
    setWindowTitle(QStringLiteral("Processing"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFixedSize(kPanelSize);
    m_spinner->setGeometry(kSpinnerRect);
    m_spinner->startAnimation();

    QFont font = m_messageLabel->font();
    font.setPixelSize(13);
    m_messageLabel->setFont(font);
    m_messageLabel->setGeometry(kLabelRect);
    m_messageLabel->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_messageLabel->setTextFormat(Qt::PlainText);
    m_messageLabel->setForegroundRole(QPalette::WindowText);
    showMessage();
}

void ProcessingPopoverViewController::setMessage(const QString &message)
{
    m_message = message;
    showMessage();
}

void ProcessingPopoverViewController::showMessage()
{
    const QString text = m_message.isNull() ? QStringLiteral("Processing...") : m_message;
    m_messageLabel->setToolTip(text);
    m_messageLabel->setText(m_messageLabel->fontMetrics().elidedText(text, Qt::ElideRight, kLabelRect.width()));
}

void ProcessingPopoverViewController::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        showMessage();
    QWidget::changeEvent(event);
}

void ProcessingPopoverViewController::paintEvent(QPaintEvent *)
{
    // A flat panel in the window colour with a hairline edge, as the
    // desktop's own popups are drawn.
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window));
    QColor edge = palette().color(QPalette::WindowText);
    edge.setAlphaF(0.25);
    painter.setPen(QPen(edge, 0));
    painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
}

void ProcessingPopoverViewController::showAnchoredTo(const QRect &anchor)
{
    QScreen *screen = QGuiApplication::screenAt(anchor.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(QPoint(0, 0), kPanelSize);
    QPoint topLeft(anchor.center().x() - width() / 2, anchor.bottom() + 1 + kGap);
    if (topLeft.y() + height() > area.bottom() + 1)
        topLeft.setY(anchor.top() - kGap - height());
    topLeft.setX(qBound(area.left(), topLeft.x(), area.right() + 1 - width()));
    topLeft.setY(qBound(area.top(), topLeft.y(), area.bottom() + 1 - height()));
    move(topLeft);
    show();
    raise();
}
