// The status item in a real tray (trayer over XEmbed, under the harness).
#include "e2e.h"
#include "statusitem.h"

#include <QApplication>
#include <QCursor>
#include <QScreen>
#include <QTest>

class TestStatusItem : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void showsInTheTrayWithItsGeometry()
    {
        QVERIFY(E2E::waitForSystemTray());
        StatusItem item;
        item.show();
        QVERIFY(item.isVisible());
        QCOMPARE(item.imageName(), QStringLiteral("MenuIcon"));

        // trayer sits at the top right of the screen, 24 pixels high. Until it
        // has embedded the icon, the icon's window stands unplaced at 0,0.
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        QRect icon;
        QTRY_VERIFY_WITH_TIMEOUT((icon = item.anchorGeometry()).center().x() > screen.center().x(), 5000);
        QVERIFY(screen.contains(icon));
        QVERIFY(icon.width() >= 16 && icon.height() >= 16);
        QVERIFY(icon.top() < 24);

        // The icon is really drawn there: a good share of the area differs from
        // the tray's flat background in the corner.
        const auto drawnPixels = [&] {
            const QImage shot = E2E::grabDesktop().copy(icon);
            const QColor background = shot.pixelColor(0, 0);
            int drawn = 0;
            for (int y = 0; y < shot.height(); ++y)
                for (int x = 0; x < shot.width(); ++x)
                    drawn += shot.pixelColor(x, y) != background;
            return drawn;
        };
        QTRY_VERIFY_WITH_TIMEOUT(drawnPixels() > icon.width() * icon.height() / 8, 5000);
    }

    void unknownImageKeepsTheCurrentOne()
    {
        StatusItem item;
        item.setImageNamed(QStringLiteral("NoSuchIcon"));
        QCOMPARE(item.imageName(), QStringLiteral("MenuIcon"));
        QVERIFY(StatusItem::templateIcon(QStringLiteral("NoSuchIcon"), Qt::black).isNull());
        QVERIFY(!StatusItem::templateIcon(QStringLiteral("MenuIcon"), Qt::white).isNull());
    }

    void anchorFallsBackToThePointerClampedToTheScreen()
    {
        // A hidden icon has no geometry, as under StatusNotifierItem hosts.
        StatusItem item;
        const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
        QCursor::setPos(area.center() + QPoint(10, 20));
        QTRY_COMPARE(QCursor::pos(), area.center() + QPoint(10, 20));
        QCOMPARE(item.anchorGeometry(), QRect(area.center() + QPoint(10, 20), QSize(1, 1)));

        QCursor::setPos(area.right() + 500, area.bottom() + 500); // the server clamps the pointer itself
        QTRY_VERIFY(area.contains(item.anchorGeometry()));
    }
};

QTEST_MAIN(TestStatusItem)
#include "tst_statusitem.moc"
