#pragma once

#include "imagelayer.h"
#include "shapelayer.h"

#include <QImage>
#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QRegion>
#include <QUndoStack>

#include <memory>

class BlurLayer;
class QPainter;
class ShapeLayerHandle;
class TextLayer;

// The markup canvas: the screenshot, the annotations over it in creation
// order, the current tool, the selection and the pointer state machine, the
// in-place text editor's state, undo and redo, and flattening into an image.
// It is driven by the canvas widget (ShapeCanvas), which converts pointer
// positions into its points (origin bottom left, y up) and paints what it
// holds; tests drive it the same way without a display.
//
// Pointer states: idle; drawing (isNewShape, from the press that created a
// shape to its release); selected; handle drag (selectedHandleLayer); text
// editing (the editor open over a TextLayer). The oldest shape under the
// pointer wins where shapes overlap.
class ShapeView : public QObject
{
    Q_OBJECT
public:
    enum Mode : uint { RectangleMode = 0, BlurMode = 1, ArrowMode = 2, TextMode = 3 };
    // The longest text annotation; longer input is cut (and says so in the log).
    static constexpr int kMaximumTextLength = 10000;
    using ShapePtr = std::shared_ptr<ShapeLayer>;

    explicit ShapeView(QObject *parent = nullptr);
    ~ShapeView() override;

    QSizeF canvasSize() const { return m_canvasSize; }
    void setCanvasSize(const QSizeF &size);

    uint currentMode() const { return m_currentMode; }
    void setCurrentMode(uint mode) { m_currentMode = mode; }
    bool isNewShape() const { return m_isNewShape; }
    const QList<ShapePtr> &shapes() const { return m_shapes; }
    ShapeLayer *currentDrawingShape() const { return m_currentDrawingShape; }
    ShapeLayer *selectedShapeLayer() const { return m_selectedShapeLayer; }
    ShapeLayerHandle *selectedHandleLayer() const { return m_selectedHandleLayer; }
    ImageLayer &imageLayer() { return m_imageLayer; }
    const ImageLayer &imageLayer() const { return m_imageLayer; }
    QUndoStack *undoStack() { return &m_undoStack; }

    // Pointer and keys, in canvas points.
    void mouseMoved(const QPointF &point);
    void mouseDown(const QPointF &point, int clickCount = 1);
    void mouseDragged(const QPointF &point);
    void mouseUp();
    // Delete and Backspace remove the selected shape; true when the key was
    // one of the two (with or without a selection, so it never beeps).
    bool keyDown(int key);

    ShapeLayer *addNewShapeAtPoint(const QPointF &point);
    void selectShape(ShapeLayer *shape);
    // The shape on top under a point that a press there would pick, or null.
    ShapeLayer *shapeAt(const QPointF &point) const;
    Qt::CursorShape cursor() const { return m_cursor; }

    // The in-place text editor.
    void initEditorForLayer(TextLayer *layer);
    // What the editor holds after an edit: re-lays out and re-renders the
    // layer. The editor then shows editorString(), cut to kMaximumTextLength.
    void setEditorString(const QString &text);
    void commitTextEditing();
    void endEditing();
    bool isEditorVisible() const { return m_editorVisible; }
    QRectF editorFrame() const { return m_editorFrame; }
    QString editorString() const { return m_editorString; }
    TextLayer *editingLayer() const { return m_editingLayer; }
    int editorFontSize() const;
    // The editor's width for a text box of `textWidth` points.
    static qreal editorWidthFor(qreal textWidth);

    // Loads a screenshot: every annotation goes, the undo history too. The
    // picture fills the canvas, or sits at its own size in the middle when it
    // is smaller than `minimumSize` points.
    void setDrawImage(const QImage &image, qreal scale, const QSizeF &minimumSize = {});
    // The screenshot with the pixelation applied, in device pixels at `k`
    // pixels per point, transparent around the picture. The canvas shows this
    // under the annotations; the export starts from it.
    QImage renderBase(qreal k) const;
    // renderBase() in two steps, so a view can keep the picture and redo only
    // the pixelation while a blur box moves.
    QImage renderPicture(qreal k) const;
    void applyPixelation(QImage &base, qreal k) const;
    // Brings `base` (renderBase() of an earlier state, at `k`) up to date
    // where `dirty` (device pixels) says pixelated areas changed: the
    // picture is put back there and over every box that touches it (and the
    // boxes touching those), then those boxes are pixelated again in order.
    // The result equals renderBase(k); what changed is returned.
    QRegion refreshPixelation(QImage &base, const QImage &picture, qreal k, QRegion dirty) const;
    // A blur box's pixelated rectangle in device pixels of a canvas at `k`.
    QRect blurPixelRect(const BlurLayer &blur, qreal k) const;
    // Draws the annotations onto a painter whose units are canvas points, y
    // down (as Qt paints); the model's y-up is turned over here.
    // Only the shapes whose paintedBounds() meet `exposed` (canvas points, y
    // up) when it is not null.
    void paintShapes(QPainter &painter, bool decorations, const QRectF &exposed = QRectF()) const;
    // The flattened image at `k` pixels per point, trimmed of the transparent
    // margin around the picture (RGB32 when what is left is opaque, else
    // premultiplied ARGB32); null when it cannot be made.
    QImage imageRepresentation(qreal k) const;
    // Writes imageRepresentation(k) as PNG, atomically; false with an error text.
    bool exportLayerAsPNGToFile(const QString &path, qreal k, QString *error = nullptr) const;

    // Qt's widget coordinates (y down) and the canvas's (y up).
    QPointF fromView(const QPointF &viewPoint) const;
    QPointF toView(const QPointF &canvasPoint) const;
    QRectF toView(const QRectF &canvasRect) const;

Q_SIGNALS:
    // Something visible changed: annotations, selection, handles.
    void changed();
    // One shape changed (moved, resized, edited, added or removed) and
    // nothing else: what it paints now is its paintedBounds(). A blur box's
    // pixelated area changed with it.
    void shapeChanged(ShapeLayer *shape);
    // The picture or the pixelation changed as a whole: renderBase() is new.
    void baseChanged();
    void cursorChanged(Qt::CursorShape cursor);
    // The editor was opened, moved, resized or closed.
    void editorChanged();
    // The canvas wants the keyboard back (the text edit was committed).
    void focusRequested();

private:
    void setCursor(Qt::CursorShape cursor);
    void insertShape(int index, const ShapePtr &shape);
    void removeShape(ShapeLayer *shape);
    int indexOf(const ShapeLayer *shape) const;
    ShapePtr pointerTo(const ShapeLayer *shape) const;
    void pushStateChange(ShapeLayer *shape, const ShapeLayer::State &before, const QString &text);
    void notify(ShapeLayer *shape);

    QSizeF m_canvasSize;
    uint m_currentMode = ArrowMode;
    bool m_isNewShape = false;
    QList<ShapePtr> m_shapes;
    ShapeLayer *m_currentDrawingShape = nullptr;
    ShapeLayer *m_selectedShapeLayer = nullptr;
    ShapeLayerHandle *m_selectedHandleLayer = nullptr;
    bool m_hasDragStart = false;
    QPointF m_dragStartPoint;
    ImageLayer m_imageLayer;
    // The picture sits at its own size in the middle (it is smaller than the
    // window's minimum) rather than filling the canvas.
    bool m_pictureAtOwnSize = false;
    Qt::CursorShape m_cursor = Qt::ArrowCursor;
    QUndoStack m_undoStack;

    // The gesture under way, for its undo step.
    ShapeLayer *m_gestureShape = nullptr;
    ShapeLayer::State m_gestureBefore;

    bool m_editorVisible = false;
    QRectF m_editorFrame;
    QString m_editorString;
    TextLayer *m_editingLayer = nullptr;
    ShapeLayer::State m_editBefore;
};
