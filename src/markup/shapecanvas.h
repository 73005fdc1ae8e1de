#pragma once

#include <QHash>
#include <QImage>
#include <QPointer>
#include <QWidget>

class ShapeLayer;
class ShapeTextEditorView;
class ShapeView;

// Shows a ShapeView and feeds it the pointer and the keys. The one place
// where Qt's top-left coordinates become the canvas's bottom-left points.
// The picture with its pixelation is drawn from the model's renderBase() at
// the widget's device-pixel ratio (the very pixels an export of that ratio
// starts from); the annotations, handles and highlights are painted over it.
// While a shape is dragged only the area it leaves and enters is painted
// again, and only the blur boxes there are pixelated again.
class ShapeCanvas : public QWidget
{
    Q_OBJECT
public:
    explicit ShapeCanvas(ShapeView *view, QWidget *parent = nullptr);

    ShapeView *shapeView() const { return m_view; }
    ShapeTextEditorView *textEditorView() const { return m_editor; }

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void syncEditor();
    QPointF canvasPoint(const QPointF &widgetPoint) const;
    // One shape changed: repaint where it was and where it is, and refresh
    // the pixelation where a blur box was and is.
    void shapeChanged(ShapeLayer *shape);
    // A shape's painted bounds in widget coordinates.
    QRect widgetRect(const ShapeLayer &shape) const;

    ShapeView *m_view;
    ShapeTextEditorView *m_editor;
    QImage m_picture; // the screenshot alone, at m_cacheRatio
    QImage m_base; // with the pixelation
    QRegion m_baseDirty; // device pixels of m_base whose pixelation is out of date
    QHash<const ShapeLayer *, QRect> m_painted; // widget rectangles, as last painted
    QHash<const ShapeLayer *, QRect> m_pixelated; // device pixels, as pixelated in m_base
    qreal m_cacheRatio = 0;
    bool m_pictureValid = false;
    bool m_baseValid = false;
    bool m_pressed = false;
};
