#pragma once

#include "keyequivalent.h"

#include <QAbstractButton>

// A field that records a keyboard shortcut: click it (or press Space while
// it has the focus), then type the shortcut. It shows the shortcut the way
// Linux desktops write it ("Alt+Shift+4") and the modifiers held while
// recording. Escape cancels, Backspace or Delete (without modifiers) clears
// it. A modifier on its own is not a shortcut; Shift with a digit or a
// punctuation key is recorded as that key, as it is printed on the keyboard.
// A key without Ctrl, Alt or Super is refused (the field says what to add)
// and recording goes on: grabbed globally, no program could type it.
class ShortcutRecorder : public QAbstractButton
{
    Q_OBJECT
public:
    explicit ShortcutRecorder(QWidget *parent = nullptr);
    ~ShortcutRecorder() override;

    KeyEquivalent shortcut() const { return m_shortcut; }
    void setShortcut(const KeyEquivalent &shortcut);
    bool isRecording() const { return m_recording; }
    // Marks the shortcut as not working (taken, unreadable): a warning frame.
    void setProblem(bool problem);

    QSize sizeHint() const override;

Q_SIGNALS:
    // Recording ended with a new shortcut, or an invalid one when cleared.
    void recorded(const KeyEquivalent &shortcut);

protected:
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    bool event(QEvent *event) override;

private:
    void setRecording(bool recording);
    QString label() const;

    KeyEquivalent m_shortcut;
    Qt::KeyboardModifiers m_held;
    bool m_recording = false;
    bool m_refused = false; // the last key lacked Ctrl, Alt and Super
    bool m_problem = false;
};
