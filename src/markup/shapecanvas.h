#pragma once

#include <QImage>
#include <QPointer>
#include <QWidget>

class ShapeTextEditorView;
class ShapeView;

// Shows a ShapeView and feeds it the pointer and the keys. The one place
// where Qt's top-left coordinates become the canvas's bottom-left points.
// The picture with its pixelation is drawn from the model's renderBase() at
// the widget's device-pixel ratio (the very pixels an export of that ratio
// starts from); the annotations, handles and highlights are painted over it.
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

    ShapeView *m_view;
    ShapeTextEditorView *m_editor;
    QImage m_picture; // the screenshot alone, at m_cacheRatio
    QImage m_base; // with the pixelation
    qreal m_cacheRatio = 0;
    bool m_pictureValid = false;
    bool m_baseValid = false;
    bool m_pressed = false;
};
