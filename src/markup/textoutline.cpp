#include "textoutline.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QGlyphRun>
#include <QLoggingCategory>
#include <QRawFont>
#include <QTextLayout>
#include <QTransform>

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

QPainterPath outlineWithSize(const QString &text, const QFont &baseFont, qreal size, qreal layoutWidth)
{
    QFont f = baseFont;
    f.setPixelSize(std::max(1, qRound(size)));
    QString plain = text;
    plain.replace(QLatin1Char('\n'), QChar::LineSeparator);
    QTextLayout layout(plain, f);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    qreal y = 0;
    int lines = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(layoutWidth);
        line.setPosition(QPointF(0, y));
        y += line.height();
        ++lines;
    }
    layout.endLayout();
    qCDebug(lcTextOutline).noquote() << QStringLiteral("Lines: %1").arg(lines);

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
    return QTransform::fromScale(1, -1).map(path);
}

QSizeF measure(const QString &text, const QFont &f)
{
    const QFontMetricsF metrics(f);
    const QString measured = text.isEmpty() ? QStringLiteral(" ") : text;
    const QRectF box = metrics.boundingRect(QRectF(0, 0, 1e6, 1e6), Qt::TextExpandTabs, measured);
    return box.size();
}

} // namespace TextOutline
