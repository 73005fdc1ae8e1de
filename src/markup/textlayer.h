#pragma once

#include "shapelayer.h"

// The text annotation: white glyph outlines with a thick round outline in the
// line colour, hanging from the layer's top edge. The text is typed into the
// canvas's in-place editor; every change re-renders it. A handle at the
// bottom-right corner sets the font size by its distance from the top edge.
// The whole box is clickable.
class TextLayer : public ShapeLayer
{
public:
    static constexpr int kDefaultFontSize = 30;

    TextLayer();
    Kind kind() const override { return Kind::Text; }

    static constexpr qreal outlineWidth() { return 4.0; }
    // The box around the outline.
    QPainterPath outlineRect() const;

    ShapeLayerHandle *resizeHandle() const { return m_resizeHandle; }
    int fontSize() const { return m_fontSize; }
    void setFontSize(int size) { m_fontSize = size; }
    bool isEditing() const { return m_isEditing; }
    void setIsEditing(bool editing) { m_isEditing = editing; }
    QString stringContent() const { return m_stringContent; }
    // Stores the text and renders it; the outline takes the saved line colour.
    // With `fit`, the box is first fitted to the text, its top-left corner kept.
    void setStringContent(const QString &text, bool fit = false);

    // Width of the layout box lines wrap at (the screen's width).
    static void setLayoutWidth(qreal width);
    static qreal layoutWidth();

    QPainterPath glyphPath() const { return m_glyphs; }
    QRectF inkBounds() const { return m_glyphs.boundingRect(); }
    QPainterPath outlineLayerPath() const { return m_outline; }
    QColor outlineColor() const { return m_outlineColor; }

    bool containsPoint(const QPointF &canvasPoint) const override;
    void showHandles() override;
    void hideHandles() override;
    void handleDidChangePointTo(const QPointF &point, ShapeLayerHandle *sender) override;
    // After a font-size drag the box is fitted to the text again, its top-left corner kept.
    void handleDidFinishDrag(ShapeLayerHandle *sender) override;
    void editBegin() { }

    State state() const override;
    void restoreState(const State &state) override;
    QRectF paintedBounds() const override;
    void paint(QPainter &painter, bool decorations) const override;

private:
    // Lays the text out again; with `fit`, the box is fitted to it first,
    // its top-left corner kept.
    void render(bool fit = false);

    ShapeLayerHandle *m_resizeHandle = nullptr;
    int m_fontSize = kDefaultFontSize;
    bool m_isEditing = false;
    QString m_stringContent;
    QPainterPath m_glyphs;
    QPainterPath m_outline;
    QColor m_outlineColor;
};
