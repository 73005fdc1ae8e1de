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
#include <QDir>
#include <QRandomGenerator>
#include <QTest>

class TestMarkupRender : public QObject
{
    Q_OBJECT

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

    void pixelationOnScreenEqualsTheExport()
    {
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
        // Moved after drawing, too.
        view.mouseDown(QPointF(200, 140));
        view.mouseDragged(QPointF(211.5, 133.25));
        view.mouseUp();
        view.setCurrentMode(ShapeView::ArrowMode);
        view.mouseDown(QPointF(300, 10)); // away, so no outline is shown
        view.mouseUp();

        const qreal k = canvas.devicePixelRatioF();
        const QImage screen = canvas.grab().toImage().convertToFormat(QImage::Format_RGB32);
        const QImage file = view.imageRepresentation(k).convertToFormat(QImage::Format_RGB32);
        QCOMPARE(file.size(), screen.size());
        for (const auto &shape : view.shapes()) {
            if (shape->kind() != ShapeLayer::Kind::Blur)
                continue;
            const QRect area = view.blurPixelRect(static_cast<const BlurLayer &>(*shape), k) & file.rect();
            QVERIFY(!area.isEmpty());
            QVERIFY2(maxChannelDifference(screen.copy(area), file.copy(area)) <= 1, qPrintable(QString::number(k)));
            // And it is pixelated: the picture under it is not.
            QVERIFY(maxChannelDifference(
                        file.copy(area), view.renderPicture(k).copy(area).convertToFormat(QImage::Format_RGB32))
                > 10);
        }
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
        auto add = [&](uint mode, QPointF a, QPointF b) {
            view.setCurrentMode(mode);
            view.mouseDown(a);
            view.mouseDragged(b);
            view.mouseUp();
        };
        add(ShapeView::RectangleMode, { 10, 10 }, { 70, 50 });
        add(ShapeView::BlurMode, { 90, 10 }, { 150, 45 });
        add(ShapeView::ArrowMode, { 20, 90 }, { 140, 60 });
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
