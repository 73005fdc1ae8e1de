// What the markup canvas draws: the pixelation's cells, the canvas on screen
// against the exported file (the same pixels within one level), and golden
// renders of every shape. Run at the screen's ratio (1, and 2 under
// QT_SCALE_FACTOR=2).
#include "arrowlayer.h"
#include "blurlayer.h"
#include "pixelate.h"
#include "shapecanvas.h"
#include "shapelayerhandle.h"
#include "shapeview.h"

#include <QApplication>
#include <QBackingStore>
#include <QDir>
#include <QMouseEvent>
#include <QPainter>
#include <QRandomGenerator>
#include <QTest>

#include <cmath>

class TestMarkupRender : public QObject
{
    Q_OBJECT

    // A shape drawn the way the pointer draws it: press, drag, release.
    static void drawShape(ShapeView &view, uint mode, QPointF from, QPointF to)
    {
        view.setCurrentMode(mode);
        view.mouseDown(from);
        view.mouseDragged(to);
        view.mouseUp();
    }

    // Gradients, stripes and noise: every cell averages something different.
    static QImage photoLike(QSize size)
    {
        QImage image(size, QImage::Format_RGB32);
        QRandomGenerator random(7);
        for (int y = 0; y < size.height(); ++y) {
            for (int x = 0; x < size.width(); ++x) {
                const int noise = int(random.bounded(40));
                image.setPixel(x, y,
                    qRgb((x * 255 / size.width() + noise) % 256, (y * 3 + noise) % 256, ((x / 7 + y / 5) % 2) * 200));
            }
        }
        return image;
    }

    static int maxChannelDifference(const QImage &a, const QImage &b)
    {
        int worst = 0;
        for (int y = 0; y < a.height(); ++y) {
            for (int x = 0; x < a.width(); ++x) {
                const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
                worst = std::max({ worst, std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)),
                    std::abs(qBlue(p) - qBlue(q)) });
            }
        }
        return worst;
    }

private Q_SLOTS:
    void cellsAverageOnTheFilterGrid()
    {
        // Black columns 0-4, white from 5: a 10-pixel cell from the box's edge
        // averages to 128.
        QImage image(20, 20, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::white);
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 5; ++x)
                image.setPixel(x, y, qRgb(0, 0, 0));
        QImage one = image;
        Pixelate::pixelate(one, QRect(0, 0, 20, 20), 10);
        QCOMPARE(qRed(one.pixel(0, 0)), 128);
        QCOMPARE(qRed(one.pixel(9, 19)), 128);
        QCOMPARE(qRed(one.pixel(10, 0)), 255);
        // 20-pixel cells (10 points at ratio 2): grid lines 150 pixels from
        // the box's corner fall at x = 10, so the first cell is columns 0-9.
        QImage two = image;
        Pixelate::pixelate(two, QRect(0, 0, 20, 20), 20);
        QCOMPARE(qRed(two.pixel(3, 5)), 128);
        QCOMPARE(qRed(two.pixel(12, 5)), 255);
        // Outside the box nothing changes.
        QImage clipped = image;
        Pixelate::pixelate(clipped, QRect(10, 0, 10, 20), 10);
        QCOMPARE(clipped.pixel(2, 2), image.pixel(2, 2));
    }

    // Gestures on the middle box, then the screen against the file. Each row
    // is a run of gestures: select (a click inside), move (by 20, -15),
    // resize (the bottom-right handle by 12, -8), undo, redo. Where
    // `followsOutline` holds, the pixelation must cover exactly the box the
    // user sees (its outline); it does not after a resize of a moved box,
    // which refits in the box's own coordinates, as the editor always has.
    void pixelationOnScreenEqualsTheExport_data()
    {
        QTest::addColumn<QString>("gestures");
        QTest::addColumn<bool>("followsOutline");
        QTest::newRow("drawn, moved") << QStringLiteral("move") << true;
        QTest::newRow("resized, moved, selected again") << QStringLiteral("select resize move select") << true;
        QTest::newRow("resized, moved, selected, undone, redone")
            << QStringLiteral("select resize move select undo undo redo redo") << true;
        QTest::newRow("resized, moved, selected, undone to the resize")
            << QStringLiteral("select resize move select undo") << true;
        QTest::newRow("moved, resized, undone, redone") << QStringLiteral("move resize undo redo") << false;
    }

    void pixelationOnScreenEqualsTheExport()
    {
        QFETCH(QString, gestures);
        QFETCH(bool, followsOutline);
        ShapeView view;
        ShapeCanvas canvas(&view);
        canvas.resize(320, 200);
        view.setCanvasSize(QSizeF(320, 200)); // a hidden widget hears of its size only when shown
        view.setDrawImage(photoLike(QSize(320, 200) * canvas.devicePixelRatioF()), canvas.devicePixelRatioF());
        view.setCurrentMode(ShapeView::BlurMode);
        const QList<QRectF> boxes = { { 13.3, 17.6, 81.2, 57.1 }, { 150, 90, 95.5, 100 }, { 0, 0, 35, 35 } };
        for (const QRectF &box : boxes) {
            view.mouseDown(box.topLeft());
            view.mouseDragged(box.bottomRight());
            view.mouseUp();
        }
        view.setCurrentMode(ShapeView::ArrowMode);
        canvas.grab(); // the canvas keeps its pixelation from here and refreshes only what changes
        auto *blur = static_cast<BlurLayer *>(view.shapes().at(1).get());
        // Where the box shows, in canvas points: its path, placed by its frame.
        auto outline = [blur] { return blur->pathBounds().translated(blur->frame().topLeft()); };
        // The pixelated area after each step, to hold undo and redo to what was seen.
        QList<QRectF> seen = { blur->blurBackground() };
        qsizetype step = 0;
        for (const QString &gesture : gestures.split(QLatin1Char(' '))) {
            if (gesture == QLatin1String("select")) {
                view.mouseDown(outline().center());
                view.mouseUp();
                QCOMPARE(view.selectedShapeLayer(), blur);
            } else if (gesture == QLatin1String("move")) {
                view.mouseDown(outline().center());
                view.mouseDragged(outline().center() + QPointF(20, -15));
                view.mouseUp();
            } else if (gesture == QLatin1String("resize")) {
                const QPointF corner = blur->toCanvas(blur->bottomRightHandle()->representedPoint());
                view.mouseDown(corner);
                QCOMPARE(view.selectedHandleLayer(), blur->bottomRightHandle());
                view.mouseDragged(corner + QPointF(12, -8));
                view.mouseUp();
            } else if (gesture == QLatin1String("undo")) {
                view.undoStack()->undo();
                QCOMPARE(blur->blurBackground(), seen.at(--step));
                canvas.grab();
                continue;
            } else if (gesture == QLatin1String("redo")) {
                view.undoStack()->redo();
                QCOMPARE(blur->blurBackground(), seen.at(++step));
                canvas.grab();
                continue;
            }
            canvas.grab();
            if (gesture != QLatin1String("select")) {
                seen.resize(++step);
                seen.append(blur->blurBackground());
            }
        }
        view.mouseDown(QPointF(300, 10)); // away, so no outline is shown
        view.mouseUp();

        const qreal k = canvas.devicePixelRatioF();
        const QImage screen = canvas.grab().toImage().convertToFormat(QImage::Format_RGB32);
        const QImage file = view.imageRepresentation(k).convertToFormat(QImage::Format_RGB32);
        const QImage picture = view.renderPicture(k).convertToFormat(QImage::Format_RGB32);
        QCOMPARE(file.size(), screen.size());
        for (const auto &shape : view.shapes()) {
            if (shape->kind() != ShapeLayer::Kind::Blur)
                continue;
            const QRect area = view.blurPixelRect(static_cast<const BlurLayer &>(*shape), k) & file.rect();
            QVERIFY(!area.isEmpty());
            QVERIFY2(maxChannelDifference(screen.copy(area), file.copy(area)) <= 1, qPrintable(QString::number(k)));
            // And it is pixelated: the picture under it is not.
            QVERIFY(maxChannelDifference(file.copy(area), picture.copy(area)) > 10);
        }
        if (followsOutline) {
            // The box the user sees is pixelated, cell for cell, in the file.
            const QRectF box = outline();
            const QRect pixels(QPoint(int(std::lround(box.left() * k)), int(std::lround((200 - box.bottom()) * k))),
                QPoint(int(std::lround(box.right() * k)) - 1, int(std::lround((200 - box.top()) * k)) - 1));
            QImage expected = picture;
            Pixelate::pixelate(expected, pixels, int(std::lround(BlurLayer::blurScale() * k)));
            expected = expected.convertToFormat(QImage::Format_RGB32);
            QVERIFY2(maxChannelDifference(file.copy(pixels), expected.copy(pixels)) <= 1,
                qPrintable(QStringLiteral("pixelated %1, seen at %2")
                               .arg(QDebug::toString(blur->blurBackground()), QDebug::toString(box))));
        }
    }

    // The canvas shown, a shape and a blur box dragged across the others: the
    // window, painted only where each move changed something, shows what a
    // full paint of the final state does.
    void partialRepaintsLeaveNoTrails()
    {
        ShapeView view;
        ShapeCanvas canvas(&view);
        canvas.resize(320, 200);
        view.setCanvasSize(QSizeF(320, 200));
        view.setDrawImage(photoLike(QSize(320, 200) * canvas.devicePixelRatioF()), canvas.devicePixelRatioF());
        drawShape(view, ShapeView::BlurMode, { 20, 20 }, { 110, 90 });
        drawShape(view, ShapeView::BlurMode, { 150, 60 }, { 230, 170 });
        drawShape(view, ShapeView::ArrowMode, { 30, 150 }, { 120, 120 });
        drawShape(view, ShapeView::RectangleMode, { 250, 20 }, { 300, 80 });
        view.setCurrentMode(ShapeView::TextMode);
        view.mouseDown({ 240, 150 });
        view.mouseUp();
        view.setEditorString(QStringLiteral("Hi"));
        view.commitTextEditing();
        canvas.show();
        QVERIFY(QTest::qWaitForWindowExposed(&canvas));

        auto send = [&canvas](QEvent::Type type, QPointF at, Qt::MouseButtons buttons) {
            QMouseEvent event(type, at, canvas.mapToGlobal(at),
                type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, buttons, Qt::NoModifier);
            QApplication::sendEvent(&canvas, &event);
            QApplication::processEvents();
        };
        // What the window holds: the raster backing store's image (offscreen
        // platform), against a full paint of the same state.
        auto compareWithFullPaint = [&canvas, &view]() -> bool {
            // The picture, its pixelation and every shape with its decorations, from scratch.
            const qreal k = canvas.devicePixelRatioF();
            QImage full = view.renderBase(k);
            {
                QPainter painter(&full);
                painter.scale(k, k);
                view.paintShapes(painter, true);
            }
            full = full.convertToFormat(QImage::Format_RGB32);
            const auto *store = dynamic_cast<const QImage *>(canvas.backingStore()->paintDevice());
            if (!store || store->size() != full.size()) {
                qWarning() << "no backing store image of" << full.size();
                return false;
            }
            const int difference = maxChannelDifference(store->convertToFormat(QImage::Format_RGB32), full);
            if (difference > 2)
                qWarning() << "the window differs from a full paint by" << difference;
            return difference <= 2;
        };
        // Widget points (y down) of the arrow's middle and of the first box.
        for (const QPointF &grab : { view.toView(QPointF(75, 135)), view.toView(QPointF(60, 50)) }) {
            send(QEvent::MouseButtonPress, grab, Qt::LeftButton);
            QVERIFY(view.selectedShapeLayer());
            for (int i = 1; i <= 12; ++i)
                send(QEvent::MouseMove, grab + QPointF(i * 17, -i * 4), Qt::LeftButton);
            // Before the release, which repaints everything.
            QVERIFY(compareWithFullPaint());
            send(QEvent::MouseButtonRelease, grab + QPointF(12 * 17, -12 * 4), Qt::NoButton);
        }
        QVERIFY(compareWithFullPaint());
    }

    // Every shape, selected and not, against a small golden of its ratio.
    void goldenScene()
    {
        ShapeView view;
        view.setCanvasSize(QSizeF(160, 100));
        QImage picture(160, 100, QImage::Format_RGB32);
        picture.fill(QColor(235, 238, 242));
        for (int x = 0; x < 160; x += 16)
            for (int y = 0; y < 100; ++y)
                picture.setPixel(x + (y / 8) % 8, y, qRgb(40, 90, 160));
        view.setDrawImage(picture, 1.0);
        drawShape(view, ShapeView::RectangleMode, { 10, 10 }, { 70, 50 });
        drawShape(view, ShapeView::BlurMode, { 90, 10 }, { 150, 45 });
        drawShape(view, ShapeView::ArrowMode, { 20, 90 }, { 140, 60 });
        view.mouseDown({ 80, 75 }); // bend it through the middle handle
        view.mouseUp();
        view.mouseDown({ 80, 75 });
        view.mouseDragged({ 80, 90 });
        view.mouseUp();
        view.setCurrentMode(ShapeView::TextMode);
        view.mouseDown({ 20, 40 });
        view.mouseUp();
        view.setEditorString(QStringLiteral("Hi"));
        view.commitTextEditing();

        const qreal k = qApp->devicePixelRatio();
        const QImage rendered = view.imageRepresentation(k).convertToFormat(QImage::Format_ARGB32);
        const QString golden = QStringLiteral("%1/tests/markup/golden/scene@%2x.png")
                                   .arg(qEnvironmentVariable("TESSLY_SOURCE_DIR"))
                                   .arg(k);
        if (qEnvironmentVariableIsSet("TESSLY_UPDATE_GOLDENS"))
            QVERIFY(rendered.save(golden));
        const QImage expected = QImage(golden).convertToFormat(QImage::Format_ARGB32);
        QCOMPARE(rendered.size(), expected.size());
        // Antialiasing may differ by a level or two on another machine; a
        // shape drawn elsewhere differs by much more.
        int off = 0;
        for (int y = 0; y < rendered.height(); ++y)
            for (int x = 0; x < rendered.width(); ++x)
                off += maxChannelDifference(rendered.copy(x, y, 1, 1), expected.copy(x, y, 1, 1)) > 24;
        QVERIFY2(off <= rendered.width() * rendered.height() / 200, qPrintable(QString::number(off)));
    }
};

QTEST_MAIN(TestMarkupRender)
#include "tst_markuprender.moc"
