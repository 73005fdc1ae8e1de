#include "shapeview.h"

#include "arrowlayer.h"
#include "blurlayer.h"
#include "imageextensions.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "pixelate.h"
#include "shapelayerhandle.h"
#include "squarelayer.h"
#include "textlayer.h"

#include <QImageWriter>
#include <QLoggingCategory>
#include <QPainter>
#include <QSaveFile>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>

Q_LOGGING_CATEGORY(lcShapeView, "tessly.markup.shapeview")

namespace {

// One undo step: what to do and what undoes it. The action has already
// happened when the step is pushed, so its first redo does nothing.
class ShapeCommand : public QUndoCommand
{
public:
    ShapeCommand(const QString &text, std::function<void()> undo, std::function<void()> redo)
        : QUndoCommand(text)
        , m_undo(std::move(undo))
        , m_redo(std::move(redo))
    {
    }
    void undo() override { m_undo(); }
    void redo() override
    {
        if (m_done) {
            m_done = false;
            return;
        }
        m_redo();
    }

private:
    std::function<void()> m_undo;
    std::function<void()> m_redo;
    bool m_done = true;
};

QString pointText(const QPointF &p)
{
    return QStringLiteral("{%1, %2}").arg(p.x()).arg(p.y());
}

// The largest flattened image: 16384 by 16384 pixels (1 GiB).
constexpr qint64 kMaximumPixels = qint64(16384) * 16384;

// "Adding Square" ... by tool.
const char *const kAddingLines[] = { "Adding Square", "Adding Blur", "Adding Arrow", "Adding Text" };

} // namespace

ShapeView::ShapeView(QObject *parent)
    : QObject(parent)
{
    NotificationCenter::defaultCenter().addObserver(this,
        QString::fromLatin1(Notifications::ShapeTextEditorViewRequestsCommit),
        [this](const Notification &) { commitTextEditing(); });
    connect(&m_undoStack, &QUndoStack::indexChanged, this, [this] {
        Q_EMIT changed();
        Q_EMIT baseChanged();
    });
}

ShapeView::~ShapeView()
{
    NotificationCenter::defaultCenter().removeObserver(this);
    m_undoStack.clear();
}

void ShapeView::setCanvasSize(const QSizeF &size)
{
    if (size == m_canvasSize)
        return;
    m_canvasSize = size;
    const QSizeF picture = m_imageLayer.pointSize();
    if (!picture.isEmpty()) {
        // A picture that fills the canvas keeps filling it (letterboxed, the
        // whole picture scaled to fit), even one that filled it exactly: the
        // export is the canvas, and a picture kept at its own size in a
        // smaller window would be cropped.
        if (m_pictureAtOwnSize)
            m_imageLayer.setFrame(QRectF(
                QPointF((size.width() - picture.width()) * 0.5, (size.height() - picture.height()) * 0.5), picture));
        else
            m_imageLayer.setFrame(QRectF(QPointF(0, 0), size));
    }
    Q_EMIT baseChanged();
    Q_EMIT changed();
}

void ShapeView::setCursor(Qt::CursorShape cursor)
{
    if (cursor == m_cursor)
        return;
    m_cursor = cursor;
    Q_EMIT cursorChanged(cursor);
}

ShapeLayer *ShapeView::shapeAt(const QPointF &point) const
{
    for (const ShapePtr &shape : m_shapes) {
        if (!shape->isHidden() && shape->containsPoint(point))
            return shape.get();
    }
    return nullptr;
}

void ShapeView::mouseMoved(const QPointF &point)
{
    const ShapeLayer *shape = shapeAt(point);
    setCursor(shape ? shape->cursor() : Qt::ArrowCursor);
}

void ShapeView::mouseDown(const QPointF &point, int clickCount)
{
    // A press on the canvas takes the keyboard from the editor.
    endEditing();

    for (auto it = m_shapes.crbegin(); it != m_shapes.crend(); ++it) {
        if (ShapeLayerHandle *handle = (*it)->handleAt(point)) {
            m_selectedHandleLayer = handle;
            handle->setActive(true);
            m_gestureShape = it->get();
            m_gestureBefore = m_gestureShape->state();
            return;
        }
    }

    qCDebug(lcShapeView).noquote() << QStringLiteral("Shapes %1").arg(m_shapes.size());
    ShapeLayer *hit = nullptr;
    for (const ShapePtr &shape : m_shapes) {
        if (shape->containsPoint(point)) {
            qCDebug(lcShapeView).noquote() << QStringLiteral("Contains the point! %1").arg(pointText(point));
            hit = shape.get();
            selectShape(hit);
            break;
        }
        qCDebug(lcShapeView).noquote() << QStringLiteral("the point! %1").arg(pointText(point));
    }

    if (!hit && m_selectedShapeLayer && m_selectedShapeLayer->kind() == ShapeLayer::Kind::Text) {
        m_selectedShapeLayer->hideHandles();
        m_selectedShapeLayer = nullptr;
        Q_EMIT changed();
        return;
    }
    if (m_selectedShapeLayer && m_selectedShapeLayer->kind() == ShapeLayer::Kind::Text && clickCount == 2) {
        initEditorForLayer(static_cast<TextLayer *>(m_selectedShapeLayer));
        m_selectedShapeLayer->hideHandles();
    }
    if (hit) {
        m_gestureShape = hit;
        m_gestureBefore = hit->state();
        // A move counts from the press, so the first step of the drag is not lost.
        m_dragStartPoint = point;
        m_hasDragStart = true;
    } else if (!m_selectedHandleLayer) {
        addNewShapeAtPoint(point);
    }
    Q_EMIT changed();
}

void ShapeView::mouseDragged(const QPointF &point)
{
    if (m_selectedHandleLayer) {
        setCursor(Qt::ClosedHandCursor);
        ShapeLayer *shape = m_selectedHandleLayer->shapeLayer();
        m_selectedHandleLayer->setRepresentedPoint(shape->toLocal(point));
        notify(shape);
    } else if (m_isNewShape && m_currentDrawingShape) {
        m_currentDrawingShape->setEndPoint(point);
        m_currentDrawingShape->updatePath();
        notify(m_currentDrawingShape);
    } else if (m_selectedShapeLayer) {
        if (!m_hasDragStart) {
            m_dragStartPoint = point;
            m_hasDragStart = true;
        }
        setCursor(Qt::ClosedHandCursor);
        const QPointF delta = point - m_dragStartPoint;
        m_selectedShapeLayer->setPosition(m_selectedShapeLayer->position() + delta);
        m_dragStartPoint = point;
        notify(m_selectedShapeLayer);
    }
}

void ShapeView::mouseUp()
{
    m_hasDragStart = false;
    if (m_selectedHandleLayer) {
        ShapeLayerHandle *handle = m_selectedHandleLayer;
        handle->handleDelegate()->handleDidFinishDrag(handle);
        handle->setActive(false);
        m_selectedHandleLayer = nullptr;
    } else if (m_isNewShape) {
        ShapeLayer *shape = m_currentDrawingShape;
        if (shape) {
            shape->hideHandles();
            const int index = indexOf(shape);
            const ShapePtr kept = pointerTo(shape);
            m_undoStack.push(new ShapeCommand(
                tr("Add"), [this, kept] { removeShape(kept.get()); },
                [this, index, kept] { insertShape(index, kept); }));
        }
        m_isNewShape = false;
        m_currentDrawingShape = nullptr;
    }
    if (m_gestureShape) {
        ShapeLayer *shape = m_gestureShape;
        m_gestureShape = nullptr;
        pushStateChange(shape, m_gestureBefore, tr("Move"));
    }
    setCursor(m_cursor == Qt::ClosedHandCursor ? Qt::OpenHandCursor : m_cursor);
    Q_EMIT changed();
}

bool ShapeView::keyDown(int key)
{
    if (key != Qt::Key_Backspace && key != Qt::Key_Delete)
        return false;
    if (m_editorVisible || !m_selectedShapeLayer)
        return true;
    ShapeLayer *shape = m_selectedShapeLayer;
    const int index = indexOf(shape);
    const ShapePtr kept = pointerTo(shape);
    removeShape(shape);
    m_undoStack.push(new ShapeCommand(
        tr("Delete"), [this, index, kept] { insertShape(index, kept); }, [this, kept] { removeShape(kept.get()); }));
    return true;
}

ShapeLayer *ShapeView::addNewShapeAtPoint(const QPointF &point)
{
    if (m_selectedShapeLayer)
        m_selectedShapeLayer->hideHandles();
    if (m_currentMode > TextMode)
        return nullptr;
    ShapePtr shape;
    switch (m_currentMode) {
    case RectangleMode:
        shape = std::make_shared<SquareLayer>();
        break;
    case BlurMode:
        shape = std::make_shared<BlurLayer>();
        break;
    case ArrowMode:
        shape = std::make_shared<ArrowLayer>();
        break;
    default:
        shape = std::make_shared<TextLayer>();
        break;
    }
    shape->setStartPoint(point);
    shape->setEndPoint(point);
    qCInfo(lcShapeView).noquote() << kAddingLines[m_currentMode];
    shape->setBounds(m_canvasSize);
    shape->setPosition(QPointF(m_canvasSize.width() / 2, m_canvasSize.height() / 2));
    if (shape->kind() != ShapeLayer::Kind::Blur)
        shape->setLineWidth(5.0);
    m_shapes.append(shape);
    m_currentDrawingShape = shape.get();
    m_isNewShape = true;
    shape->updatePath();
    if (shape->kind() == ShapeLayer::Kind::Text) {
        shape->setFrame(QRectF(point.x(), point.y() - 15, 50, 35));
        initEditorForLayer(static_cast<TextLayer *>(shape.get()));
    }
    notify(shape.get());
    return shape.get();
}

void ShapeView::selectShape(ShapeLayer *shape)
{
    if (m_selectedShapeLayer && m_selectedShapeLayer != shape)
        m_selectedShapeLayer->hideHandles();
    m_selectedShapeLayer = shape;
    if (shape) {
        shape->setSelected(true);
        shape->showHandles();
    }
    Q_EMIT changed();
}

qreal ShapeView::editorWidthFor(qreal textWidth)
{
    // Room to type on (twice the text), but no wider than the width the
    // glyphs wrap at, plus the editor's 5-point margin: the editor wraps
    // where they do and its caret stays on them.
    return std::min(std::max(2 * textWidth, 100.0), TextLayer::layoutWidth() + 5);
}

int ShapeView::editorFontSize() const
{
    return m_editingLayer ? m_editingLayer->fontSize() : TextLayer::kDefaultFontSize;
}

void ShapeView::initEditorForLayer(TextLayer *layer)
{
    qCDebug(lcShapeView).noquote() << QStringLiteral("Init editor %1").arg(layer->stringContent());
    m_selectedShapeLayer = layer;
    m_editingLayer = layer;
    m_editBefore = layer->state();
    m_editorString = layer->stringContent();
    m_editorFrame = layer->frame();
    m_editorFrame.setWidth(editorWidthFor(m_editorFrame.width()));
    m_editorVisible = true;
    layer->setIsEditing(true);
    Q_EMIT editorChanged();
    Q_EMIT changed();
}

void ShapeView::setEditorString(const QString &text)
{
    TextLayer *layer = m_editingLayer;
    if (!layer)
        return;
    qCDebug(lcShapeView).noquote() << QStringLiteral("setEditorString:%1").arg(text.left(80));
    m_editorString = text;
    if (m_editorString.size() > kMaximumTextLength) {
        // Longer texts are no annotation, and each keystroke would lay them out again.
        qCWarning(lcShapeView).noquote() << QStringLiteral("A text annotation holds at most %1 characters; %2 were cut")
                                                .arg(kMaximumTextLength)
                                                .arg(m_editorString.size() - kMaximumTextLength);
        m_editorString.truncate(kMaximumTextLength);
    }
    // The box keeps its top edge and grows downwards with the text.
    layer->setStringContent(m_editorString, true);
    const QRectF box = layer->frame();
    m_editorFrame = QRectF(box.x() - 5, box.y(), editorWidthFor(box.width()), box.height());
    m_editorVisible = true;
    Q_EMIT editorChanged();
    notify(layer);
}

void ShapeView::commitTextEditing()
{
    endEditing();
    Q_EMIT focusRequested();
}

void ShapeView::endEditing()
{
    if (!m_editorVisible)
        return;
    m_editorVisible = false;
    if (TextLayer *layer = m_editingLayer) {
        m_editingLayer = nullptr;
        pushStateChange(layer, m_editBefore, tr("Edit Text"));
    }
    Q_EMIT editorChanged();
    Q_EMIT changed();
}

void ShapeView::pushStateChange(ShapeLayer *shape, const ShapeLayer::State &before, const QString &text)
{
    const ShapeLayer::State after = shape->state();
    if (after == before)
        return;
    const ShapePtr kept = pointerTo(shape);
    if (!kept)
        return;
    auto apply = [this, kept](const ShapeLayer::State &s) {
        kept->restoreState(s);
        notify(kept.get());
    };
    m_undoStack.push(new ShapeCommand(
        text, [apply, before] { apply(before); }, [apply, after] { apply(after); }));
}

void ShapeView::notify(ShapeLayer *shape)
{
    if (shape)
        Q_EMIT shapeChanged(shape);
    else
        Q_EMIT changed();
}

void ShapeView::insertShape(int index, const ShapePtr &shape)
{
    endEditing();
    m_shapes.insert(std::clamp<qsizetype>(index, 0, m_shapes.size()), shape);
    shape->hideHandles();
    notify(shape.get());
}

void ShapeView::removeShape(ShapeLayer *shape)
{
    if (m_editingLayer == shape) {
        m_editorVisible = false;
        m_editingLayer = nullptr;
        Q_EMIT editorChanged();
    }
    if (m_selectedShapeLayer == shape)
        m_selectedShapeLayer = nullptr;
    if (m_currentDrawingShape == shape) {
        m_currentDrawingShape = nullptr;
        m_isNewShape = false;
    }
    if (m_selectedHandleLayer && m_selectedHandleLayer->shapeLayer() == shape)
        m_selectedHandleLayer = nullptr;
    if (m_gestureShape == shape)
        m_gestureShape = nullptr;
    const int index = indexOf(shape);
    if (index < 0)
        return;
    const ShapePtr kept = m_shapes.takeAt(index);
    notify(kept.get());
}

int ShapeView::indexOf(const ShapeLayer *shape) const
{
    for (qsizetype i = 0; i < m_shapes.size(); ++i) {
        if (m_shapes.at(i).get() == shape)
            return int(i);
    }
    return -1;
}

ShapeView::ShapePtr ShapeView::pointerTo(const ShapeLayer *shape) const
{
    const int index = indexOf(shape);
    return index < 0 ? ShapePtr() : m_shapes.at(index);
}

void ShapeView::setDrawImage(const QImage &image, qreal scale, const QSizeF &minimumSize)
{
    endEditing();
    m_undoStack.clear();
    m_shapes.clear();
    m_selectedShapeLayer = nullptr;
    m_currentDrawingShape = nullptr;
    m_selectedHandleLayer = nullptr;
    m_gestureShape = nullptr;
    m_isNewShape = false;
    m_imageLayer.setImage(image, scale);
    const QSizeF picture = m_imageLayer.pointSize();
    qCInfo(lcShapeView).noquote()
        << QStringLiteral("Image Scale %1 {%2, %3}").arg(scale, 0, 'f', 2).arg(picture.width()).arg(picture.height());
    m_pictureAtOwnSize = picture.width() < minimumSize.width() || picture.height() < minimumSize.height();
    if (m_pictureAtOwnSize) {
        m_imageLayer.setFrame(QRectF(
            QPointF((m_canvasSize.width() - picture.width()) * 0.5, (m_canvasSize.height() - picture.height()) * 0.5),
            picture));
    } else {
        m_imageLayer.setFrame(QRectF(QPointF(0, 0), m_canvasSize));
    }
    Q_EMIT baseChanged();
    Q_EMIT changed();
}

QRect ShapeView::blurPixelRect(const BlurLayer &blur, qreal k) const
{
    const QRectF r = blur.blurBackground();
    const int left = int(std::lround(r.left() * k));
    const int right = int(std::lround(r.right() * k));
    const int top = int(std::lround((m_canvasSize.height() - r.bottom()) * k));
    const int bottom = int(std::lround((m_canvasSize.height() - r.top()) * k));
    return QRect(left, top, right - left, bottom - top);
}

QImage ShapeView::renderBase(qreal k) const
{
    QImage base = renderPicture(k);
    applyPixelation(base, k);
    return base;
}

QImage ShapeView::renderPicture(qreal k) const
{
    const qint64 w = std::llround(qint64(m_canvasSize.width()) * k);
    const qint64 h = std::llround(qint64(m_canvasSize.height()) * k);
    if (w <= 0 || h <= 0 || w * h > kMaximumPixels)
        return {};
    QImage base(int(w), int(h), QImage::Format_ARGB32_Premultiplied);
    if (base.isNull())
        return {};
    base.fill(Qt::transparent);
    {
        QPainter painter(&base);
        m_imageLayer.draw(painter, m_canvasSize.height(), k);
    }
    return base;
}

void ShapeView::applyPixelation(QImage &base, qreal k) const
{
    if (base.isNull())
        return;
    const int cell = std::max(1, int(std::lround(BlurLayer::blurScale() * k)));
    for (const ShapePtr &shape : m_shapes) {
        if (shape->kind() == ShapeLayer::Kind::Blur && !shape->isHidden())
            Pixelate::pixelate(base, blurPixelRect(static_cast<const BlurLayer &>(*shape), k), cell);
    }
}

QRegion ShapeView::refreshPixelation(QImage &base, const QImage &picture, qreal k, QRegion dirty) const
{
    if (base.isNull() || base.size() != picture.size() || base.format() != picture.format()
        || base.format() != QImage::Format_ARGB32_Premultiplied) {
        base = picture.copy();
        applyPixelation(base, k);
        return QRegion(base.rect());
    }
    QList<QRect> boxes;
    for (const ShapePtr &shape : m_shapes) {
        if (shape->kind() == ShapeLayer::Kind::Blur && !shape->isHidden())
            boxes.append(blurPixelRect(static_cast<const BlurLayer &>(*shape), k).normalized());
    }
    // A box that touches the area is redone whole, and so is every box that
    // touches it in turn: a cell averages what lies below it, earlier boxes' cells too.
    QList<bool> redo(boxes.size(), false);
    for (bool grew = true; grew;) {
        grew = false;
        for (qsizetype i = 0; i < boxes.size(); ++i) {
            if (!redo.at(i) && dirty.intersects(boxes.at(i))) {
                redo[i] = true;
                dirty += boxes.at(i);
                grew = true;
            }
        }
    }
    dirty &= base.rect();
    const int bytesPerPixel = base.depth() / 8;
    for (const QRect &r : dirty) {
        for (int y = r.top(); y <= r.bottom(); ++y)
            std::memcpy(base.scanLine(y) + r.left() * bytesPerPixel,
                picture.constScanLine(y) + r.left() * bytesPerPixel, size_t(r.width()) * size_t(bytesPerPixel));
    }
    const int cell = std::max(1, int(std::lround(BlurLayer::blurScale() * k)));
    for (qsizetype i = 0; i < boxes.size(); ++i) {
        if (redo.at(i))
            Pixelate::pixelate(base, boxes.at(i), cell);
    }
    return dirty;
}

void ShapeView::paintShapes(QPainter &painter, bool decorations, const QRectF &exposed) const
{
    painter.save();
    painter.translate(0, m_canvasSize.height());
    painter.scale(1, -1);
    for (const ShapePtr &shape : m_shapes) {
        if (shape->isHidden())
            continue;
        if (!exposed.isNull() && !shape->paintedBounds().intersects(exposed))
            continue;
        painter.save();
        painter.translate(shape->frame().topLeft());
        shape->paint(painter, decorations);
        painter.restore();
    }
    painter.restore();
}

QImage ShapeView::imageRepresentation(qreal k) const
{
    qCInfo(lcShapeView).noquote() << QStringLiteral("Size: {{0, 0}, {%1, %2}} Scale Factor: %3")
                                         .arg(m_canvasSize.width())
                                         .arg(m_canvasSize.height())
                                         .arg(k, 0, 'f', 2);
    // Passes 1 and 2: the screenshot, then the pixelation over it.
    QImage image = k > 0 ? renderBase(k) : QImage();
    if (image.isNull()) {
        qCWarning(lcShapeView).noquote() << "Failed to create context.";
        return {};
    }
    // Pass 3: the annotations, without handles or highlights.
    {
        QPainter painter(&image);
        painter.scale(k, k);
        paintShapes(painter, false);
    }
    QImage trimmed = ImageExtensions::croppedToTransparentBounds(image);
    image = QImage();
    return ImageExtensions::withoutOpaqueAlpha(std::move(trimmed));
}

bool ShapeView::exportLayerAsPNGToFile(const QString &path, qreal k, QString *error) const
{
    auto fail = [error](const QString &text) {
        if (error)
            *error = text;
        return false;
    };
    const QImage image = imageRepresentation(k);
    if (image.isNull())
        return fail(tr("The picture is too large to export."));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return fail(file.errorString());
    QImageWriter writer(&file, "png");
    if (!writer.write(image)) {
        file.cancelWriting();
        return fail(writer.errorString());
    }
    if (!file.commit())
        return fail(file.errorString());
    return true;
}

QPointF ShapeView::fromView(const QPointF &viewPoint) const
{
    return QPointF(viewPoint.x(), m_canvasSize.height() - viewPoint.y());
}

QPointF ShapeView::toView(const QPointF &canvasPoint) const
{
    return QPointF(canvasPoint.x(), m_canvasSize.height() - canvasPoint.y());
}

QRectF ShapeView::toView(const QRectF &canvasRect) const
{
    return QRectF(canvasRect.x(), m_canvasSize.height() - canvasRect.y() - canvasRect.height(), canvasRect.width(),
        canvasRect.height());
}
