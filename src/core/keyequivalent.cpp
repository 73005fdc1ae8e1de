#include "keyequivalent.h"

#include <algorithm>
#include <array>

#include <QStringList>

namespace {

struct Modifier
{
    QChar glyph;
    Qt::KeyboardModifier modifier;
    const char *text;
};

// In the order the stored string writes them.
const std::array<Modifier, 4> kModifiers { {
    { QChar(0x2303), Qt::ControlModifier, "Ctrl" },
    { QChar(0x2325), Qt::AltModifier, "Alt" },
    { QChar(0x21E7), Qt::ShiftModifier, "Shift" },
    { QChar(0x2318), Qt::MetaModifier, "Super" },
} };

struct NamedKey
{
    const char16_t *stored;
    Qt::Key key;
    const char *text;
};

const std::array<NamedKey, 18> kNamedKeys { {
    { u"\u21A9", Qt::Key_Return, "Return" },
    { u"\u232B", Qt::Key_Backspace, "Backspace" },
    { u"\u2326", Qt::Key_Delete, "Delete" },
    { u"\u238B", Qt::Key_Escape, "Esc" },
    { u"\u21E5", Qt::Key_Tab, "Tab" },
    { u"\u2190", Qt::Key_Left, "Left" },
    { u"\u2192", Qt::Key_Right, "Right" },
    { u"\u2191", Qt::Key_Up, "Up" },
    { u"\u2193", Qt::Key_Down, "Down" },
    { u"\u21DE", Qt::Key_PageUp, "Page Up" },
    { u"\u21DF", Qt::Key_PageDown, "Page Down" },
    { u"\u2196", Qt::Key_Home, "Home" },
    { u"\u2198", Qt::Key_End, "End" },
    { u"Space", Qt::Key_Space, "Space" },
    { u"\u2423", Qt::Key_Space, "Space" },
    // Keys a Mac keyboard lacks, stored by name.
    { u"Print", Qt::Key_Print, "Print" },
    { u"Pause", Qt::Key_Pause, "Pause" },
    { u"ScrollLock", Qt::Key_ScrollLock, "Scroll Lock" },
} };

QString modifierGlyphs(Qt::KeyboardModifiers modifiers)
{
    QString glyphs;
    for (const Modifier &m : kModifiers) {
        if (modifiers & m.modifier)
            glyphs += m.glyph;
    }
    return glyphs;
}

} // namespace

KeyEquivalent KeyEquivalent::fromString(const QString &stored)
{
    KeyEquivalent result;
    qsizetype pos = 0;
    std::size_t next = 0; // modifiers must come in the stored order, each once
    while (pos < stored.size()) {
        std::size_t i = next;
        while (i < kModifiers.size() && kModifiers[i].glyph != stored[pos])
            ++i;
        if (i == kModifiers.size())
            break;
        result.m_modifiers |= kModifiers[i].modifier;
        next = i + 1;
        ++pos;
    }
    const QString key = stored.mid(pos);
    if (key.isEmpty())
        return {};
    for (const NamedKey &named : kNamedKeys) {
        if (key == QString::fromUtf16(named.stored)) {
            result.m_key = named.key;
            result.m_keyText = QString::fromLatin1(named.text);
            result.m_storedKey = key;
            return result;
        }
    }
    if (key.size() > 1 && key.size() <= 3 && key[0] == QLatin1Char('F')) {
        bool ok = false;
        const int n = key.mid(1).toInt(&ok);
        if (ok && n >= 1 && n <= 35) {
            result.m_key = Qt::Key_F1 + n - 1;
            result.m_keyText = key;
            result.m_storedKey = key;
            return result;
        }
        return {};
    }
    if (key.size() != 1)
        return {};
    const QChar c = key[0].toUpper();
    // Printable ASCII maps onto Qt's key codes one to one (letters as upper case).
    if (c.unicode() <= 0x20 || c.unicode() >= 0x7f
        || kModifiers.end()
            != std::find_if(kModifiers.begin(), kModifiers.end(), [&](const Modifier &m) { return m.glyph == c; }))
        return {};
    result.m_key = c.unicode();
    result.m_keyText = QString(c);
    result.m_storedKey = QString(c);
    return result;
}

KeyEquivalent KeyEquivalent::fromKeyCombination(QKeyCombination combination)
{
    const int key = combination.key();
    QString stored;
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35) {
        stored = QStringLiteral("F%1").arg(key - Qt::Key_F1 + 1);
    } else if (key > 0x20 && key < 0x7f) {
        stored = QChar(key).toUpper();
    } else {
        for (const NamedKey &named : kNamedKeys) {
            if (named.key == key) {
                stored = QString::fromUtf16(named.stored);
                break;
            }
        }
    }
    if (stored.isEmpty())
        return {};
    return fromString(modifierGlyphs(combination.keyboardModifiers()) + stored);
}

QKeySequence KeyEquivalent::keySequence() const
{
    if (!isValid())
        return {};
    return QKeySequence(QKeyCombination(m_modifiers, Qt::Key(m_key)));
}

QKeyCombination KeyEquivalent::keyCombination() const
{
    return QKeyCombination(m_modifiers, Qt::Key(m_key));
}

QString KeyEquivalent::toString() const
{
    if (!isValid())
        return {};
    return modifierGlyphs(m_modifiers) + m_storedKey;
}

QString KeyEquivalent::displayText() const
{
    if (!isValid())
        return {};
    QStringList parts;
    for (const Modifier &m : kModifiers) {
        if (m_modifiers & m.modifier)
            parts << QString::fromLatin1(m.text);
    }
    parts << m_keyText;
    return parts.join(QLatin1Char('+'));
}
