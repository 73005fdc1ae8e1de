#pragma once

#include <QKeySequence>
#include <QString>

// A keyboard shortcut as the settings store keeps it: the modifier glyphs
// ⌃ (Ctrl), ⌥ (Alt), ⇧ (Shift), ⌘ (Super), each at most once and in that
// order, followed by the key: a letter, a digit, a punctuation character, a
// function key ("F5") or one of the key glyphs (↩ ⌫ ⌦ ⎋ ⇥ ← → ↑ ↓ ⇞ ⇟ ↖ ↘ and
// "Space").
//
// Menus and the settings window show it the way Linux desktops write
// shortcuts, "Ctrl+Shift+4"; global shortcuts take keyCombination().
// toString() writes the stored form back: fromString(s).toString() == s for
// every string that fromString() accepts in its canonical form.
class KeyEquivalent
{
public:
    KeyEquivalent() = default;

    // An invalid KeyEquivalent for an empty string, an unknown key, repeated
    // or out-of-order modifiers, or modifiers without a key.
    static KeyEquivalent fromString(const QString &stored);
    // What a recorder saw: invalid for a modifier on its own and for keys the
    // stored form cannot name. Letters are kept as upper case.
    static KeyEquivalent fromKeyCombination(QKeyCombination combination);

    bool isValid() const { return m_key != 0; }
    Qt::KeyboardModifiers modifiers() const { return m_modifiers; }
    int key() const { return m_key; }
    QKeySequence keySequence() const;
    QKeyCombination keyCombination() const;

    // The stored form, "⌥⇧4"; a null string when invalid.
    QString toString() const;

    // "Ctrl+Alt+Shift+Super+K"; an empty text when invalid.
    QString displayText() const;

private:
    Qt::KeyboardModifiers m_modifiers;
    int m_key = 0;
    QString m_keyText;
    QString m_storedKey;
};
