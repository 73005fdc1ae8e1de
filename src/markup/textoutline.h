#pragma once

#include <QFont>
#include <QPainterPath>
#include <QString>

// Text turned into glyph outlines, for the text annotation: the glyphs of a
// plain text laid out line by line (bidirectional text and font fallback by
// QTextLayout) and collected into one path from QRawFont's glyph paths.
//
// The path is in the markup model's orientation, y growing upwards: the top of
// the first line lies at y = 0 and the text hangs below it.
namespace TextOutline {

// The annotation font: a heavy rounded face where the system has one, else
// the heaviest weight of the desktop's sans-serif font.
QFont font(int pointSize);

// A text laid out: its glyph outlines and the box they take.
struct Outline
{
    QPainterPath path;
    // The widest line by every line's height: the box the glyphs were laid
    // out in, wrapped lines included. An empty text measures one space.
    QSizeF size;
};

// Outlines of `text` in `font` at `size`, lines wrapped at `layoutWidth`
// and flush left whatever their direction.
Outline layout(const QString &text, const QFont &font, qreal size, qreal layoutWidth);
QPainterPath outlineWithSize(const QString &text, const QFont &font, qreal size, qreal layoutWidth);

} // namespace TextOutline
