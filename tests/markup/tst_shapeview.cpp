// The markup canvas driven without a display: which shape a press picks at
// the edges of the hit widths, the handle drags of each shape, the pointer
// state machine, undo and redo, and what bad input does.
#include "arrowlayer.h"
#include "blurlayer.h"
#include "drawwindow.h"
#include "drawwindowcontroller.h"
#include "settingsstore.h"
#include "shapecanvas.h"
#include "shapelayerhandle.h"
#include "shapetexteditorview.h"
#include "shapeview.h"
#include "squarelayer.h"
#include "textlayer.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCursor>

#include <csignal>
#include <sys/resource.h>

class TestShapeView : public QObject
{
    Q_OBJECT

    std::unique_ptr<ShapeView> m_view;

    ShapeLayer *draw(uint mode, QPointF from, QPointF to)
    {
        m_view->setCurrentMode(mode);
        m_view->mouseDown(from);
        m_view->mouseDragged((from + to) / 2);
        m_view->mouseDragged(to);
        m_view->mouseUp();
        return m_view->shapes().last().get();
    }

    // A text typed at `at`; committed unless the editor is to stay open.
    TextLayer *type(QPointF at, const QString &text, bool commit = true)
    {
        m_view->setCurrentMode(ShapeView::TextMode);
        m_view->mouseDown(at);
        m_view->mouseUp();
        m_view->setEditorString(text);
        if (commit)
            m_view->commitTextEditing();
        return static_cast<TextLayer *>(m_view->shapes().last().get());
    }

    void drag(QPointF from, QPointF to)
    {
        m_view->mouseDown(from);
        m_view->mouseDragged(to);
        m_view->mouseUp();
    }

private Q_SLOTS:
    void init()
    {
        m_view = std::make_unique<ShapeView>();
        m_view->setCanvasSize(QSizeF(400, 300));
        QImage picture(400, 300, QImage::Format_RGB32);
        picture.fill(Qt::gray);
        m_view->setDrawImage(picture, 1.0);
    }

    // One table for every shape: a press just inside and just outside the
    // hit area picks the shape or starts a new one.
    void hitTestAtTheEdges_data()
    {
        QTest::addColumn<uint>("mode");
        QTest::addColumn<QPointF>("press");
        QTest::addColumn<bool>("hit");
        // Rectangle (100,100)-(300,200), line width 5: one width either side.
        QTest::newRow("rect edge, inside 4.9") << 0u << QPointF(200, 104.9) << true;
        QTest::newRow("rect edge, outside 4.9") << 0u << QPointF(200, 95.1) << true;
        QTest::newRow("rect edge, inside 5.1") << 0u << QPointF(200, 105.1) << false;
        QTest::newRow("rect edge, outside 5.1") << 0u << QPointF(200, 94.9) << false;
        QTest::newRow("rect middle") << 0u << QPointF(200, 150) << false;
        // Blur box: the whole area, nothing beyond.
        QTest::newRow("blur middle") << 1u << QPointF(200, 150) << true;
        QTest::newRow("blur just in") << 1u << QPointF(100.5, 199.5) << true;
        QTest::newRow("blur just out") << 1u << QPointF(99.5, 150) << false;
        // Arrow (100,100) -> (300,200): its shaft, 5 either side of the line.
        QTest::newRow("arrow shaft 4.9") << 2u << QPointF(200 - 4.9 * 0.4472, 150 + 4.9 * 0.8944) << true;
        QTest::newRow("arrow shaft 5.1") << 2u << QPointF(200 - 5.1 * 0.4472, 150 + 5.1 * 0.8944) << false;
        QTest::newRow("arrow beyond tip") << 2u << QPointF(306, 203) << false;
    }

    void hitTestAtTheEdges()
    {
        QFETCH(uint, mode);
        QFETCH(QPointF, press);
        QFETCH(bool, hit);
        ShapeLayer *shape = draw(mode, { 100, 100 }, { 300, 200 });
        m_view->setCurrentMode(ShapeView::RectangleMode);
        m_view->mouseDown(press);
        QCOMPARE(m_view->selectedShapeLayer() == shape, hit);
        QCOMPARE(m_view->shapes().size(), hit ? 1 : 2);
        m_view->mouseUp();
    }

    void handlesAreHitWithinTwelvePoints_data()
    {
        QTest::addColumn<QPointF>("press");
        QTest::addColumn<bool>("onHandle");
        // The top-right corner of the rectangle below is at (300, 200).
        QTest::newRow("11.8 away") << QPointF(300, 211.8) << true;
        QTest::newRow("12.2 away") << QPointF(300, 212.2) << false;
    }

    void handlesAreHitWithinTwelvePoints()
    {
        QFETCH(QPointF, press);
        QFETCH(bool, onHandle);
        auto *rect = static_cast<SquareLayer *>(draw(ShapeView::RectangleMode, { 100, 100 }, { 300, 200 }));
        drag({ 200, 100 }, { 200, 100 }); // select it
        QCOMPARE(m_view->selectedShapeLayer(), rect);
        m_view->mouseDown(press);
        QCOMPARE(m_view->selectedHandleLayer() == rect->topRightHandle(), onHandle);
        m_view->mouseUp();
    }

    // Each shape's handles, dragged: where its geometry ends up.
    void handleDrags()
    {
        // Arrow: the middle handle bends the curve through the pointer; the
        // bend stays when an end moves, and the middle handle follows.
        auto *arrow = static_cast<ArrowLayer *>(draw(ShapeView::ArrowMode, { 100, 100 }, { 300, 100 }));
        drag({ 200, 100 }, { 200, 100 });
        drag({ 200, 100 }, { 200, 160 });
        QVERIFY(arrow->isBent());
        QCOMPARE(arrow->controlPoint(), QPointF(200, 220));
        QCOMPARE(arrow->curveMiddlePoint(), QPointF(200, 160));
        drag({ 300, 100 }, { 340, 100 });
        QCOMPARE(arrow->endPoint(), QPointF(340, 100));
        QCOMPARE(arrow->controlPoint(), QPointF(200, 220));
        QCOMPARE(arrow->controlHandle()->representedPoint(), QPointF(210, 160));

        // Rectangle: the top-left corner dragged past the right edge flips it.
        m_view->mouseDown({ 10, 10 }); // deselect (starts a throw-away arrow)
        m_view->mouseUp();
        auto *rect = static_cast<SquareLayer *>(draw(ShapeView::RectangleMode, { 50, 250 }, { 150, 200 }));
        drag({ 100, 250 }, { 100, 250 });
        drag({ 50, 250 }, { 170, 260 });
        QCOMPARE(rect->pathBounds(), QRectF(150, 200, 20, 60));
        QCOMPARE(rect->bottomRightHandle()->representedPoint(), QPointF(170, 200));

        // Text: the handle 10 points below the top edge gives size 10.
        TextLayer *text = type({ 20, 60 }, QStringLiteral("Hi"));
        const QRectF box = text->frame();
        drag(box.center(), box.center());
        QCOMPARE(m_view->selectedShapeLayer(), text);
        // The handle sits at the box's bottom-right corner (y up: top() is the bottom edge).
        m_view->mouseDown(QPointF(box.right(), box.top()));
        QCOMPARE(m_view->selectedHandleLayer(), text->resizeHandle());
        m_view->mouseDragged(QPointF(box.right(), box.bottom() - 10));
        QCOMPARE(text->fontSize(), 10);
        m_view->mouseUp();
        QCOMPARE(text->frame().bottom(), box.bottom()); // refitted from its top edge
        QVERIFY(text->frame().height() < box.height());
    }

    void arrowHeadGeometry()
    {
        QPainterPath path;
        ArrowLayer::addArrowheadToPath(path, { 0, 0 }, { 9.9, 0 });
        QVERIFY(path.isEmpty());
        ArrowLayer::addArrowheadToPath(path, { 0, 0 }, { 20, 0 });
        QCOMPARE(path.elementCount(), 4);
        QCOMPARE(QPointF(path.elementAt(0)), QPointF(10, -6));
        QCOMPARE(QPointF(path.elementAt(1)), QPointF(20, 0));
        QCOMPARE(QPointF(path.elementAt(2)), QPointF(10, 6));
        // A short arrow has no path at all and is not hittable.
        ShapeLayer *tiny = draw(ShapeView::ArrowMode, { 100, 100 }, { 105, 100 });
        QVERIFY(tiny->path().isEmpty());
        QCOMPARE(m_view->shapes().size(), 1);
    }

    void pointerStates()
    {
        // A click without a drag still adds a (zero-size) shape, unselected.
        draw(ShapeView::RectangleMode, { 50, 50 }, { 50, 50 });
        QCOMPARE(m_view->shapes().size(), 1);
        QVERIFY(!m_view->selectedShapeLayer());
        // Overlapping outlines: the older shape is picked.
        ShapeLayer *older = draw(ShapeView::RectangleMode, { 100, 100 }, { 200, 200 });
        draw(ShapeView::RectangleMode, { 100, 100 }, { 250, 250 });
        drag({ 150, 100 }, { 150, 100 });
        QCOMPARE(m_view->selectedShapeLayer(), older);
        // Drawing anew keeps the old selection; Delete then removes it.
        draw(ShapeView::ArrowMode, { 300, 50 }, { 380, 50 });
        QCOMPARE(m_view->selectedShapeLayer(), older);
        QVERIFY(m_view->keyDown(Qt::Key_Delete));
        QCOMPARE(m_view->shapes().size(), 3);
        for (const auto &shape : m_view->shapes())
            QVERIFY(shape.get() != older);
        // With nothing selected the delete keys are swallowed, nothing else is.
        QVERIFY(m_view->keyDown(Qt::Key_Backspace));
        QVERIFY(!m_view->keyDown(Qt::Key_A));
        QCOMPARE(m_view->shapes().size(), 3);
    }

    void textSelectedThenEmptyClickOnlyDeselects()
    {
        TextLayer *text = type({ 100, 200 }, QStringLiteral("one\ntwo"), false);
        QVERIFY(m_view->isEditorVisible());
        // The top edge stays where the press put it; two lines grow downwards.
        QCOMPARE(text->frame().bottom(), 200.0 + 20);
        QVERIFY(text->frame().height() > 50);
        m_view->mouseDown({ 300, 50 });
        m_view->mouseUp();
        QVERIFY(!m_view->isEditorVisible());
        QCOMPARE(m_view->shapes().size(), 1);
        m_view->mouseDown({ 300, 50 });
        m_view->mouseUp();
        QCOMPARE(m_view->shapes().size(), 2);
    }

    // Add, move, resize, delete and a text edit, undone and redone.
    void undoAndRedo()
    {
        QUndoStack *stack = m_view->undoStack();
        auto *rect = static_cast<SquareLayer *>(draw(ShapeView::RectangleMode, { 100, 100 }, { 200, 200 }));
        drag({ 150, 100 }, { 160, 90 }); // move by (10, -10)
        drag({ 210, 190 }, { 230, 190 }); // top-right corner, 20 to the right
        QCOMPARE(rect->frame().topLeft(), QPointF(10, -10));
        QCOMPARE(rect->pathBounds(), QRectF(100, 100, 120, 100));
        QVERIFY(m_view->keyDown(Qt::Key_Delete));
        QCOMPARE(m_view->shapes().size(), 0);
        TextLayer *text = type({ 20, 280 }, QStringLiteral("typed"));
        QCOMPARE(stack->count(), 6);

        stack->undo(); // the text
        QCOMPARE(text->stringContent(), QString());
        stack->undo(); // the text shape
        stack->undo(); // the delete
        QCOMPARE(m_view->shapes().size(), 1);
        QCOMPARE(m_view->shapes().first().get(), rect);
        stack->undo(); // the resize
        QCOMPARE(rect->pathBounds(), QRectF(100, 100, 100, 100));
        stack->undo(); // the move
        QCOMPARE(rect->frame().topLeft(), QPointF(0, 0));
        stack->undo(); // the add
        QCOMPARE(m_view->shapes().size(), 0);
        while (stack->canRedo())
            stack->redo();
        QCOMPARE(m_view->shapes().size(), 1);
        QCOMPARE(static_cast<TextLayer *>(m_view->shapes().first().get())->stringContent(), QStringLiteral("typed"));
    }

    // A window resized after opening: a picture that filled the canvas
    // exactly still fills it, scaled to fit, so the export holds all of it;
    // one smaller than the minimum stays at its own size in the middle.
    void resizingTheCanvasScalesThePicture()
    {
        QImage picture(600, 400, QImage::Format_RGB32);
        picture.fill(Qt::black);
        for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 4; ++x) {
                picture.setPixel(x, y, qRgb(255, 0, 0)); // top left
                picture.setPixel(599 - x, 399 - y, qRgb(0, 0, 255)); // bottom right
            }
        }
        m_view->setCanvasSize(QSizeF(600, 400));
        m_view->setDrawImage(picture, 1.0, DrawWindowController::kMinimumSize);
        m_view->setCanvasSize(QSizeF(450, 300));
        const QImage exported = m_view->imageRepresentation(1.0);
        QCOMPARE(exported.size(), QSize(450, 300));
        QVERIFY(qRed(exported.pixel(0, 0)) > 150);
        QVERIFY(qBlue(exported.pixel(449, 299)) > 150);
        m_view->setCanvasSize(QSizeF(700, 400)); // wider: letterboxed, then trimmed
        QCOMPARE(m_view->imageRepresentation(1.0).size(), QSize(600, 400));

        // The window itself keeps the size it opened at, so what was drawn
        // stays over what it marks.
        {
            DrawWindowController controller;
            controller.showWithImage(picture, 1.0);
            const QSizeF opened = controller.drawView()->canvasSize();
            controller.window()->resize(controller.window()->size() - QSize(100, 60));
            QApplication::processEvents();
            QCOMPARE(controller.drawView()->canvasSize(), opened);
        }

        QImage small(100, 80, QImage::Format_RGB32);
        small.fill(Qt::green);
        m_view->setCanvasSize(QSizeF(420, 300));
        m_view->setDrawImage(small, 1.0, DrawWindowController::kMinimumSize);
        m_view->setCanvasSize(QSizeF(600, 400));
        QCOMPARE(m_view->imageLayer().contentRect(), QRectF(250, 160, 100, 80));
    }

    // Bad input: a clear refusal or a sensible fallback, never a crash or a
    // half-written file. One row per input; badInput() runs each.
    void badInput_data()
    {
        QTest::addColumn<QString>("input");
        QTest::newRow("a colour setting that is not a colour") << QStringLiteral("colour");
        QTest::newRow("a 1x1 picture") << QStringLiteral("dot");
        QTest::newRow("100,000 characters") << QStringLiteral("long text");
        QTest::newRow("emoji and right-to-left text") << QStringLiteral("mixed text");
        QTest::newRow("a canvas too large to flatten") << QStringLiteral("too large");
        QTest::newRow("a corrupt PNG") << QStringLiteral("corrupt");
        QTest::newRow("a capture deleted before the window opens") << QStringLiteral("deleted");
        QTest::newRow("an export that fails to write") << QStringLiteral("write fails");
    }

    void badInput()
    {
        QFETCH(QString, input);
        // The glyphs lie in the box (within the outline's reach) and start at its left edge.
        auto glyphsFillTheBox = [](const TextLayer *text) {
            const QRectF box(QPointF(0, 0), text->bounds());
            const QRectF ink = text->inkBounds();
            const qreal reach = text->fontSize() * 0.5;
            if (!box.adjusted(-reach, -reach, reach, reach).contains(ink) || ink.left() > reach
                || ink.width() < box.width() - 2 * reach || ink.height() < box.height() - 2 * reach) {
                qWarning() << "glyphs" << ink << "box" << box;
                return false;
            }
            return true;
        };

        if (input == QLatin1String("colour")) {
            {
                QSettings settings(SettingsStore::filePath(), QSettings::IniFormat);
                settings.setValue(QStringLiteral("lineColor"), QStringLiteral("not a colour"));
            }
            QCOMPARE(ArrowLayer().strokeColor(), QColor(255, 59, 48));
        } else if (input == QLatin1String("dot")) {
            QImage dot(1, 1, QImage::Format_RGB32);
            dot.fill(Qt::blue);
            m_view->setDrawImage(dot, 1.0, DrawWindowController::kMinimumSize);
            const QImage exported = m_view->imageRepresentation(1.0);
            QCOMPARE(exported.size(), QSize(1, 1));
            QCOMPARE(exported.pixelColor(0, 0), QColor(Qt::blue));
        } else if (input == QLatin1String("long text")) {
            // Cut to the longest annotation, wrapped at the layout width; the
            // box (its hit area and glow) is the wrapped text's.
            const QString longText = QString(100000, QLatin1Char('x'));
            ShapeCanvas canvas(m_view.get());
            canvas.resize(400, 300);
            canvas.show();
            QVERIFY(QTest::qWaitForWindowExposed(&canvas));
            TextLayer *text = type({ 10, 290 }, longText, false);
            QCOMPARE(m_view->editorString(), longText.left(10000));
            QCOMPARE(text->stringContent(), longText.left(10000));
            QVERIFY(text->bounds().width() <= TextLayer::layoutWidth());
            QVERIFY(glyphsFillTheBox(text));
            // The editor wraps where the glyphs do: its caret, at the end, is on the last line.
            QVERIFY(m_view->editorFrame().width() <= TextLayer::layoutWidth() + 5);
            ShapeTextEditorView *editor = canvas.textEditorView();
            QCOMPARE(editor->toPlainText(), longText.left(10000));
            editor->moveCursor(QTextCursor::End);
            const QPointF caret = editor->viewport()->mapTo(&canvas, editor->cursorRect().center());
            const QRectF ink = m_view->toView(text->inkBounds().translated(text->frame().topLeft()));
            QVERIFY2(ink.contains(caret), qPrintable(QDebug::toString(caret) + QDebug::toString(ink)));
        } else if (input == QLatin1String("mixed text")) {
            TextLayer *text = type({ 10, 290 }, QStringLiteral("שלום 😀 hello"));
            QVERIFY(!text->glyphPath().isEmpty());
            QVERIFY(glyphsFillTheBox(text));
        } else if (input == QLatin1String("too large")) {
            const QString target = QDir::temp().filePath(QStringLiteral("too-large.png"));
            m_view->setCanvasSize(QSizeF(200000, 200000));
            QString error;
            QVERIFY(!m_view->exportLayerAsPNGToFile(target, 1.0, &error));
            QVERIFY(!error.isEmpty());
            QVERIFY(!QFile::exists(target));
        } else if (input == QLatin1String("corrupt") || input == QLatin1String("deleted")) {
            QTemporaryDir dir;
            const QString capture = dir.filePath(QStringLiteral("Screen Shot.png"));
            {
                QImage picture(40, 30, QImage::Format_RGB32);
                picture.fill(Qt::green);
                QVERIFY(picture.save(capture));
            }
            if (input == QLatin1String("corrupt")) {
                QFile file(capture);
                QVERIFY(file.open(QIODevice::ReadWrite));
                file.seek(40);
                file.write(QByteArray(64, '\xff')); // the header survives, the image data does not
                file.resize(200);
            } else {
                QVERIFY(QFile::remove(capture));
            }
            DrawWindowController controller;
            QString error;
            QVERIFY(!controller.showImageFile(capture, 1.0, &error));
            QVERIFY2(error.contains(QStringLiteral("Screen Shot.png")), qPrintable(error));
            QVERIFY(!controller.window()->isVisible());
        } else if (input == QLatin1String("write fails")) {
            // The disk fills up halfway: a file size limit the export runs into.
            QTemporaryDir dir;
            const QString target = dir.filePath(QStringLiteral("Tessly Cloud Markup.png"));
            QImage noise(400, 300, QImage::Format_RGB32);
            for (int y = 0; y < 300; ++y)
                for (int x = 0; x < 400; ++x)
                    noise.setPixel(x, y, qRgb((x * 7919 + y * 104729) % 251, (x * y) % 253, (x ^ y) % 255));
            m_view->setDrawImage(noise, 1.0);
            rlimit before {};
            QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
            const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
            rlimit small = before;
            small.rlim_cur = 16384;
            QCOMPARE(setrlimit(RLIMIT_FSIZE, &small), 0);
            QString error;
            const bool written = m_view->exportLayerAsPNGToFile(target, 1.0, &error);
            setrlimit(RLIMIT_FSIZE, &before);
            std::signal(SIGXFSZ, oldHandler);
            QVERIFY(!written);
            QVERIFY(!error.isEmpty());
            QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot), QStringList());
        } else {
            QFAIL("no such row");
        }
    }
};

QTEST_MAIN(TestShapeView)
#include "tst_shapeview.moc"
