#include "shortcutrecorder.h"

#include "globalshortcutmonitor.h"
#include "shortcuttable.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyleOptionFrame>

namespace {

const Qt::KeyboardModifiers kShortcutModifiers
    = Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier | Qt::MetaModifier;

bool isModifierKey(int key)
{
    return key == Qt::Key_Shift || key == Qt::Key_Control || key == Qt::Key_Alt || key == Qt::Key_Meta
        || key == Qt::Key_Super_L || key == Qt::Key_Super_R || key == Qt::Key_AltGr || key == Qt::Key_CapsLock
        || key == Qt::Key_NumLock || key == Qt::Key_unknown;
}

} // namespace

ShortcutRecorder::ShortcutRecorder(QWidget *parent)
    : QAbstractButton(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    connect(this, &QAbstractButton::clicked, this, [this] { setRecording(!m_recording); });
}

ShortcutRecorder::~ShortcutRecorder()
{
    if (m_recording)
        GlobalShortcutMonitor::sharedMonitor().setPaused(false);
}

void ShortcutRecorder::setShortcut(const KeyEquivalent &shortcut)
{
    m_shortcut = shortcut;
    setAccessibleName(shortcut.displayText());
    update();
}

void ShortcutRecorder::setProblem(bool problem)
{
    m_problem = problem;
    update();
}

QSize ShortcutRecorder::sizeHint() const
{
    const QFontMetrics metrics(font());
    QStyleOptionFrame option;
    option.initFrom(this);
    const QSize text(metrics.horizontalAdvance(QStringLiteral("Ctrl+Alt+Shift+Super+Page Down")), metrics.height());
    return style()->sizeFromContents(QStyle::CT_LineEdit, &option, text + QSize(8, 8), this);
}

QString ShortcutRecorder::label() const
{
    if (m_recording) {
        const QString held = KeyEquivalent::fromKeyCombination(QKeyCombination(m_held, Qt::Key_A))
                                 .displayText()
                                 .chopped(1); // "Alt+Shift+"
        if (!held.isEmpty())
            return held + QStringLiteral("…");
        return m_refused ? tr("Add Ctrl, Alt or Super") : tr("Type a shortcut");
    }
    return m_shortcut.isValid() ? m_shortcut.displayText() : tr("Click to record");
}

void ShortcutRecorder::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    QStyleOptionFrame frame;
    frame.initFrom(this);
    frame.lineWidth = style()->pixelMetric(QStyle::PM_DefaultFrameWidth, &frame, this);
    frame.state |= QStyle::State_Sunken;
    if (m_recording)
        frame.state |= QStyle::State_HasFocus;
    style()->drawPrimitive(QStyle::PE_PanelLineEdit, &frame, &painter, this);
    const bool dark = palette().color(QPalette::Window).lightness() < 128;
    const QColor warning = dark ? QColor(0xff, 0x7b, 0x63) : QColor(0xc0, 0x1c, 0x28); // the desktops' error red
    if (m_problem && !m_recording) {
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(warning, 1.5));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), 4, 4);
    }
    QColor textColor = palette().color(QPalette::Text);
    if (m_recording || !m_shortcut.isValid())
        textColor = palette().color(QPalette::PlaceholderText);
    if (m_recording && m_refused && !m_held)
        textColor = warning; // the key just typed was refused
    painter.setPen(textColor);
    painter.drawText(rect().adjusted(8, 0, -8, 0), Qt::AlignCenter, label());
}

void ShortcutRecorder::setRecording(bool recording)
{
    // The global shortcuts would take their keys before this field sees them.
    if (recording != m_recording)
        GlobalShortcutMonitor::sharedMonitor().setPaused(recording);
    m_recording = recording;
    m_held = {};
    m_refused = false;
    if (recording)
        setFocus(Qt::MouseFocusReason);
    update();
}

bool ShortcutRecorder::event(QEvent *event)
{
    // Tab and Backtab are shortcuts while recording, not focus moves.
    if (m_recording && event->type() == QEvent::KeyPress) {
        keyPressEvent(static_cast<QKeyEvent *>(event));
        return true;
    }
    if (m_recording && event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    return QAbstractButton::event(event);
}

void ShortcutRecorder::keyPressEvent(QKeyEvent *event)
{
    if (!m_recording) {
        if (event->key() == Qt::Key_Space || event->key() == Qt::Key_Return) {
            setRecording(true);
            return;
        }
        QAbstractButton::keyPressEvent(event);
        return;
    }
    const Qt::KeyboardModifiers modifiers = event->modifiers() & kShortcutModifiers;
    m_held = modifiers;
    int key = event->key();
    if (isModifierKey(key)) {
        update();
        return;
    }
    if (!modifiers && key == Qt::Key_Escape) {
        setRecording(false);
        return;
    }
    if (!modifiers && (key == Qt::Key_Backspace || key == Qt::Key_Delete)) {
        setRecording(false);
        setShortcut({});
        Q_EMIT recorded({});
        return;
    }
    if (key == Qt::Key_Backtab)
        key = Qt::Key_Tab;
    // Shift+4 arrives as "$": take the key's own character from the layout.
    const Qt::Key base = GlobalShortcutMonitor::sharedMonitor().unshiftedKey(event->nativeScanCode());
    if (base != Qt::Key_unknown)
        key = base;
    const KeyEquivalent shortcut = KeyEquivalent::fromKeyCombination(QKeyCombination(modifiers, Qt::Key(key)));
    if (!shortcut.isValid())
        return; // a key the stored form cannot name: keep listening
    if (!ShortcutTable::isGlobalShortcut(shortcut)) {
        m_refused = true;
        m_held = {};
        update();
        return;
    }
    setRecording(false);
    setShortcut(shortcut);
    Q_EMIT recorded(shortcut);
}

void ShortcutRecorder::keyReleaseEvent(QKeyEvent *event)
{
    if (!m_recording) {
        QAbstractButton::keyReleaseEvent(event);
        return;
    }
    m_held = event->modifiers() & kShortcutModifiers;
    update();
}

void ShortcutRecorder::focusOutEvent(QFocusEvent *event)
{
    if (m_recording)
        setRecording(false);
    QAbstractButton::focusOutEvent(event);
}
