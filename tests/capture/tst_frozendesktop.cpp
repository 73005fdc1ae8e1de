// Logical and device pixels across screens of different ratios: where a
// selection's pixels come from is where captures go wrong.
#include "frozendesktop.h"

#include <QTest>

namespace {

QImage filled(QSize size, QColor color)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(color);
    return image;
}

} // namespace

class TestFrozenDesktop : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void regionAcrossScreensOfDifferentRatiosUsesTheLargest()
    {
        // A: 100x50 points at ratio 1; B to its right: 50x25 points at ratio 2.
        FrozenDesktop desktop({ { "A", QRect(0, 0, 100, 50), 1, filled({ 100, 50 }, Qt::red) },
            { "B", QRect(100, 0, 50, 25), 2, filled({ 100, 50 }, Qt::blue) } });
        QCOMPARE(desktop.geometry(), QRect(0, 0, 150, 50));
        const QImage image = desktop.region(QRectF(90, 10, 20, 10));
        QCOMPARE(image.size(), QSize(40, 20));
        QCOMPARE(image.pixelColor(2, 2), QColor(Qt::red));
        QCOMPARE(image.pixelColor(19, 10), QColor(Qt::red));
        QCOMPARE(image.pixelColor(21, 10), QColor(Qt::blue));
        QCOMPARE(image.pixelColor(39, 19), QColor(Qt::blue));
    }

    void halfPointSelectionAtRatioTwoStartsOnTheRightDevicePixel()
    {
        QImage image = filled({ 200, 100 }, Qt::white);
        for (int y = 0; y < 100; ++y) {
            image.setPixelColor(20, y, Qt::red); // just outside, on the left
            image.setPixelColor(21, y, Qt::black); // first column in
            image.setPixelColor(31, y, Qt::green); // just outside, on the right
        }
        FrozenDesktop desktop({ { "A", QRect(0, 0, 100, 50), 2, image } });
        const QImage region = desktop.region(QRectF(10.5, 0, 5, 5));
        QCOMPARE(region.size(), QSize(10, 10));
        QCOMPARE(region.pixelColor(0, 3), QColor(Qt::black));
        QCOMPARE(region.pixelColor(1, 3), QColor(Qt::white));
        QCOMPARE(region.pixelColor(9, 3), QColor(Qt::white));
    }

    void gapBetweenScaledScreensStaysTransparent()
    {
        // Qt keeps each screen's logical origin at its native origin, so two
        // 100-pixel screens at ratio 2 leave a 50-point gap between them.
        FrozenDesktop desktop({ { "A", QRect(0, 0, 50, 25), 2, filled({ 100, 50 }, Qt::red) },
            { "B", QRect(100, 0, 50, 25), 2, filled({ 100, 50 }, Qt::blue) } });
        const QImage image = desktop.region(QRectF(40, 0, 70, 10));
        QCOMPARE(image.size(), QSize(140, 20));
        QCOMPARE(image.pixelColor(5, 5), QColor(Qt::red));
        QCOMPARE(image.pixelColor(70, 5).alpha(), 0);
        QCOMPARE(image.pixelColor(135, 5), QColor(Qt::blue));
        QVERIFY(desktop.region(QRectF(60, 0, 20, 10)).isNull()); // wholly in the gap
    }

    void nativeRegionIsOneToOne()
    {
        FrozenDesktop desktop({ { "A", QRect(0, 0, 50, 25), 2, filled({ 100, 50 }, Qt::red) },
            { "B", QRect(100, 0, 50, 25), 2, filled({ 100, 50 }, Qt::blue) } });
        const QImage image = desktop.nativeRegion(QRect(95, 40, 10, 20));
        QCOMPARE(image.size(), QSize(10, 20));
        QCOMPARE(image.pixelColor(4, 0), QColor(Qt::red));
        QCOMPARE(image.pixelColor(5, 0), QColor(Qt::blue));
        QCOMPARE(image.pixelColor(5, 15).alpha(), 0); // below both screens
    }

    void windowFramesConvertByTheScreenThatHoldsThem()
    {
        FrozenDesktop desktop({ { "A", QRect(0, 0, 100, 50), 1, filled({ 100, 50 }, Qt::red) },
            { "B", QRect(100, 0, 50, 25), 2, filled({ 100, 50 }, Qt::blue) } });
        QCOMPARE(desktop.toLogical(QRect(120, 10, 40, 20)), QRectF(110, 5, 20, 10));
        QCOMPARE(desktop.toLogical(QRect(10, 10, 40, 20)), QRectF(10, 10, 40, 20));
        QCOMPARE(desktop.toNative(QPointF(110, 5)), QPointF(120, 10));
        QCOMPARE(desktop.toNative(QPointF(10.5, 5)), QPointF(10.5, 5));
    }
};

QTEST_GUILESS_MAIN(TestFrozenDesktop)
#include "tst_frozendesktop.moc"
