#include "textoutline.h"

#include <QFontDatabase>
#include <QGlyphRun>
#include <QLoggingCategory>
#include <QRawFont>
#include <QTextLayout>
#include <QTransform>

#include <cmath>

Q_LOGGING_CATEGORY(lcTextOutline, "tessly.markup.textoutline")

namespace TextOutline {

QFont font(int pointSize)
{
    static const QString family = [] {
        const QStringList families = QFontDatabase::families();
        for (const char *rounded : { "Nunito", "Varela Round", "M PLUS Rounded 1c", "Quicksand", "Comfortaa" }) {
            if (families.contains(QLatin1String(rounded)))
                return QString::fromLatin1(rounded);
        }
        return QFontDatabase::systemFont(QFontDatabase::GeneralFont).family();
    }();
    QFont f(family);
    f.setPixelSize(std::max(1, pointSize)); // points of the canvas, one per model unit
    f.setWeight(QFont::Black);
    f.setStyleStrategy(QFont::PreferOutline);
    return f;
}

Outline layout(const QString &text, const QFont &baseFont, qreal size, qreal layoutWidth)
{
    QFont f = baseFont;
    f.setPixelSize(std::max(1, qRound(size)));
    // An empty text still has the height of a line.
    QString plain = text.isEmpty() ? QStringLiteral(" ") : text;
    plain.replace(QLatin1Char('\n'), QChar::LineSeparator);
    QTextLayout layout(plain, f);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    // Left flush (flush factor 0): a right-to-left paragraph starts at the
    // left edge too, not at the far end of the layout width.
    option.setAlignment(Qt::AlignLeft | Qt::AlignAbsolute);
    layout.setTextOption(option);
    layout.beginLayout();
    qreal y = 0;
    qreal width = 0;
    int lines = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(layoutWidth);
        line.setPosition(QPointF(0, y));
        y += line.height();
        width = std::max(width, line.naturalTextWidth());
        ++lines;
    }
    layout.endLayout();
    qCDebug(lcTextOutline).noquote() << QStringLiteral("Lines: %1").arg(lines);

    Outline outline;
    outline.size = QSizeF(std::ceil(width), std::ceil(y));
    if (text.isEmpty())
        return outline;
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    for (const QGlyphRun &run : layout.glyphRuns()) {
        const QRawFont raw = run.rawFont();
        const QList<quint32> glyphs = run.glyphIndexes();
        const QList<QPointF> positions = run.positions();
        for (qsizetype i = 0; i < glyphs.size(); ++i) {
            const QPainterPath glyph = raw.pathForGlyph(glyphs.at(i));
            if (!glyph.isEmpty())
                path.addPath(glyph.translated(positions.at(i)));
        }
    }
    // From the layout's y-down to the model's y-up.
    outline.path = QTransform::fromScale(1, -1).map(path);
    return outline;
}

QPainterPath outlineWithSize(const QString &text, const QFont &font, qreal size, qreal layoutWidth)
{
    return layout(text, font, size, layoutWidth).path;
}

} // namespace TextOutline
