#include "shapecanvas.h"

#include "blurlayer.h"
#include "shapetexteditorview.h"
#include "shapeview.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

ShapeCanvas::ShapeCanvas(ShapeView *view, QWidget *parent)
    : QWidget(parent)
    , m_view(view)
    , m_editor(new ShapeTextEditorView(this))
{
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent, false);
    connect(m_view, &ShapeView::changed, this, qOverload<>(&QWidget::update));
    connect(m_view, &ShapeView::shapeChanged, this, &ShapeCanvas::shapeChanged);
    connect(m_view, &ShapeView::baseChanged, this, [this] {
        m_baseValid = false;
        update();
    });
    connect(m_view, &ShapeView::cursorChanged, this, [this](Qt::CursorShape shape) { setCursor(shape); });
    connect(m_view, &ShapeView::editorChanged, this, &ShapeCanvas::syncEditor);
    connect(m_view, &ShapeView::focusRequested, this, [this] { setFocus(Qt::OtherFocusReason); });
    connect(m_editor, &QPlainTextEdit::textChanged, this, [this] {
        // Format changes (the glyphs kept clear) also land here: only new text counts.
        const QString text = m_editor->toPlainText();
        if (m_view->isEditorVisible() && text != m_view->editorString())
            m_view->setEditorString(text);
    });
    connect(m_editor, &ShapeTextEditorView::editingEnded, this, [this] { m_view->endEditing(); });
}

QPointF ShapeCanvas::canvasPoint(const QPointF &widgetPoint) const
{
    return m_view->fromView(widgetPoint);
}

void ShapeCanvas::syncEditor()
{
    if (!m_view->isEditorVisible()) {
        if (m_editor->isVisible()) {
            m_editor->hide();
            if (m_editor->hasFocus())
                setFocus(Qt::OtherFocusReason);
        }
        return;
    }
    m_editor->setFontSize(m_view->editorFontSize());
    m_editor->setEditorText(m_view->editorString());
    // A little taller than the text, so the caret of a new line has room.
    const QRectF frame = m_view->toView(m_view->editorFrame());
    m_editor->setGeometry(frame.toAlignedRect().adjusted(0, 0, 0, m_editor->fontMetrics().height()));
    if (!m_editor->isVisible() || !m_editor->hasFocus())
        m_editor->startEditing();
}

void ShapeCanvas::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    m_view->setCanvasSize(size());
    m_pictureValid = false;
    m_baseValid = false;
}

QRect ShapeCanvas::widgetRect(const ShapeLayer &shape) const
{
    const QRectF bounds = shape.paintedBounds();
    return bounds.isNull() ? QRect() : m_view->toView(bounds).toAlignedRect().adjusted(-1, -1, 1, 1);
}

void ShapeCanvas::shapeChanged(ShapeLayer *shape)
{
    QRegion area = m_painted.value(shape);
    area += widgetRect(*shape);
    if (shape->kind() == ShapeLayer::Kind::Blur && m_baseValid && m_cacheRatio > 0) {
        QRegion pixels = m_pixelated.value(shape);
        pixels += m_view->blurPixelRect(static_cast<const BlurLayer &>(*shape), m_cacheRatio).normalized();
        m_baseDirty += pixels;
        const QRectF logical(QPointF(pixels.boundingRect().topLeft()) / m_cacheRatio,
            QSizeF(pixels.boundingRect().size()) / m_cacheRatio);
        area += logical.toAlignedRect().adjusted(-1, -1, 1, 1);
    }
    update(area);
}

void ShapeCanvas::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    // The device's ratio: the screen's, or that of an image the widget is rendered into.
    const qreal ratio = painter.device()->devicePixelRatioF();
    if (ratio != m_cacheRatio) {
        m_cacheRatio = ratio;
        m_pictureValid = false;
    }
    if (!m_pictureValid) {
        m_picture = m_view->renderPicture(ratio);
        m_pictureValid = true;
        m_baseValid = false;
    }
    if (!m_baseValid) {
        m_base = m_picture.copy();
        m_view->applyPixelation(m_base, ratio);
        m_base.setDevicePixelRatio(ratio);
        m_baseValid = true;
        m_baseDirty = QRegion();
    } else if (!m_baseDirty.isEmpty()) {
        m_view->refreshPixelation(m_base, m_picture, ratio, m_baseDirty);
        m_base.setDevicePixelRatio(ratio);
        m_baseDirty = QRegion();
    }
    m_pixelated.clear();
    m_painted.clear();
    for (const auto &shape : m_view->shapes()) {
        if (shape->kind() == ShapeLayer::Kind::Blur)
            m_pixelated.insert(shape.get(), m_view->blurPixelRect(static_cast<const BlurLayer &>(*shape), ratio));
        m_painted.insert(shape.get(), widgetRect(*shape));
    }

    // Only what the event exposes (the painter is clipped to it as well).
    const QRect exposed = event->rect();
    const QRectF pixels(QPointF(exposed.topLeft()) * ratio, QSizeF(exposed.size()) * ratio);
    if (exposed != rect() && pixels == QRectF(pixels.toRect()))
        painter.drawImage(QRectF(exposed), m_base, pixels);
    else // whole, so a fractional ratio never resamples
        painter.drawImage(QPointF(0, 0), m_base);
    m_view->paintShapes(painter, true, m_view->toView(QRectF(exposed)));
}

void ShapeCanvas::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    setFocus(Qt::MouseFocusReason);
    m_pressed = true;
    m_view->mouseDown(canvasPoint(event->position()), 1);
}

void ShapeCanvas::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_pressed = true;
    m_view->mouseDown(canvasPoint(event->position()), 2);
}

void ShapeCanvas::mouseMoveEvent(QMouseEvent *event)
{
    if (m_pressed && (event->buttons() & Qt::LeftButton))
        m_view->mouseDragged(canvasPoint(event->position()));
    else
        m_view->mouseMoved(canvasPoint(event->position()));
}

void ShapeCanvas::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !m_pressed)
        return;
    m_pressed = false;
    m_view->mouseUp();
    m_view->mouseMoved(canvasPoint(event->position()));
}

void ShapeCanvas::keyPressEvent(QKeyEvent *event)
{
    if (!m_view->keyDown(event->key()))
        QWidget::keyPressEvent(event);
}
