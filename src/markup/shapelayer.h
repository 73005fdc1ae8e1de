#pragma once

#include <QColor>
#include <QPainterPath>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <QString>

#include <memory>
#include <vector>

class QPainter;
class ShapeLayerHandle;

// One annotation of the markup canvas: an outline path with stroke and fill,
// placed by a position (the centre of its bounds) in the canvas. Geometry is
// in points with the origin at the bottom left, y growing upwards; the canvas
// widget converts once when it paints and when it reads the pointer.
//
// A shape owns its handles and its selection highlight (drawn behind it);
// both move with it. A new shape is as large as the canvas and centred on it,
// so its own coordinates are the canvas's until it is moved, which changes
// only its position.
//
// The concrete shapes (SquareLayer, BlurLayer, ArrowLayer, TextLayer) rebuild
// their path in updatePath() and react to their handles being dragged in
// handleDidChangePointTo().
class ShapeLayer
{
public:
    enum class Kind { Square, Blur, Arrow, Text };

    // Everything an undo step needs to put a shape back as it was.
    struct State
    {
        QPointF startPoint, endPoint, position, controlPoint;
        QSizeF bounds;
        bool isBent = false;
        int fontSize = 0;
        QString text;
        // A blur box's pixelated area (canvas coordinates), which a resize
        // of a moved box does not derive from the rest.
        QRectF blurBackground;
        bool operator==(const State &) const = default;
    };

    // The faint glow behind a selected shape.
    struct Highlight
    {
        QPainterPath path;
        QRectF frame; // in the shape's coordinates; the path is relative to its origin
        qreal lineWidth = 12.0;
        bool filled = false;
        qreal opacity = 0.1;
        bool hidden = false;
    };

    ShapeLayer();
    virtual ~ShapeLayer();
    ShapeLayer(const ShapeLayer &) = delete;
    ShapeLayer &operator=(const ShapeLayer &) = delete;

    virtual Kind kind() const = 0;

    bool isSelected() const { return m_selected; }
    void setSelected(bool selected) { m_selected = selected; }
    bool proportional() const { return m_proportional; }
    void setProportional(bool proportional) { m_proportional = proportional; }
    QPointF startPoint() const { return m_startPoint; }
    void setStartPoint(const QPointF &p) { m_startPoint = p; }
    QPointF endPoint() const { return m_endPoint; }
    void setEndPoint(const QPointF &p) { m_endPoint = p; }

    QColor strokeColor() const { return m_strokeColor; }
    void setStrokeColor(const QColor &c) { m_strokeColor = c; }
    QColor fillColor() const { return m_fillColor; }
    void setFillColor(const QColor &c) { m_fillColor = c; }
    qreal lineWidth() const { return m_lineWidth; }
    void setLineWidth(qreal w) { m_lineWidth = w; }
    Qt::PenCapStyle lineCap() const { return m_lineCap; }
    Qt::PenJoinStyle lineJoin() const { return m_lineJoin; }
    QPainterPath path() const { return m_path; }
    void setPath(const QPainterPath &path) { m_path = path; }

    // The anchor is the centre: frame = position - bounds / 2, bounds.
    QPointF position() const { return m_position; }
    virtual void setPosition(const QPointF &position) { m_position = position; }
    QSizeF bounds() const { return m_bounds; }
    void setBounds(const QSizeF &bounds) { m_bounds = bounds; }
    QRectF frame() const;
    void setFrame(const QRectF &frame);
    bool isHidden() const { return m_hidden; }
    void setHidden(bool hidden) { m_hidden = hidden; }

    // Canvas point to the shape's own coordinates and back.
    QPointF toLocal(const QPointF &canvasPoint) const;
    QPointF toCanvas(const QPointF &localPoint) const;

    virtual void updatePath() { }
    virtual void addControlPoint(const QPointF &) { }
    virtual void showHandles() { }
    virtual void hideHandles() { }
    virtual QRectF pathBounds() const;
    // Not selected; handles and highlight hidden.
    void deselect();
    // A canvas point within one line width of the drawn outline.
    virtual bool containsPoint(const QPointF &canvasPoint) const;
    // The path stroked 3 wide.
    QPainterPath outlinePath() const;
    // The open hand over every shape.
    virtual Qt::CursorShape cursor() const { return Qt::OpenHandCursor; }
    // The first handle marked selected, or null.
    ShapeLayerHandle *selectedHandle() const;
    const std::vector<std::unique_ptr<ShapeLayerHandle>> &handles() const { return m_handles; }
    // A visible handle within reach of a canvas point (the last one on top), or null.
    ShapeLayerHandle *handleAt(const QPointF &canvasPoint) const;
    const Highlight *highlight() const { return m_highlight.get(); }

    virtual void handleDidChangePointTo(const QPointF &point, ShapeLayerHandle *sender);
    virtual void handleDidFinishDrag(ShapeLayerHandle *) { }

    virtual State state() const;
    // Puts the shape back as it was and rebuilds its path and handles.
    virtual void restoreState(const State &state);

    // Everything paint() may touch, decorations included, in canvas
    // coordinates (generously: miters, antialiasing, the handles' shadow).
    // The canvas repaints only this, before and after a change.
    virtual QRectF paintedBounds() const;

    // Draws the shape in its own coordinates (the painter is already placed
    // at its frame's bottom-left, y up). `decorations` adds the highlight and
    // the handles, which an exported image leaves out.
    virtual void paint(QPainter &painter, bool decorations) const;

protected:
    ShapeLayerHandle *addHandle();
    Highlight &ensureHighlight();
    void dropHighlight() { m_highlight.reset(); }
    void setHandlesHidden(bool hidden);
    void hideAllSublayers();
    void setLineCap(Qt::PenCapStyle cap) { m_lineCap = cap; }
    void setLineJoin(Qt::PenJoinStyle join) { m_lineJoin = join; }
    // The path stroked by `width` with round caps and joins: what the highlight shows.
    QPainterPath roundOutline(const QPainterPath &path, qreal width) const;
    void paintDecorations(QPainter &painter) const;
    void paintHighlight(QPainter &painter) const;
    void paintHandles(QPainter &painter) const;

private:
    bool m_selected = false;
    bool m_proportional = false;
    bool m_hidden = false;
    QPointF m_startPoint;
    QPointF m_endPoint;
    QColor m_strokeColor = Qt::black;
    QColor m_fillColor = Qt::transparent;
    qreal m_lineWidth = 1.0;
    Qt::PenCapStyle m_lineCap = Qt::FlatCap;
    Qt::PenJoinStyle m_lineJoin = Qt::MiterJoin;
    QPainterPath m_path;
    QPointF m_position;
    QSizeF m_bounds;
    std::vector<std::unique_ptr<ShapeLayerHandle>> m_handles;
    std::unique_ptr<Highlight> m_highlight;
};
