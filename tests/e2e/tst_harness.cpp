// The desktop that every e2e test runs in: these checks fail first when the
// harness itself is broken, which keeps other failures easy to read.
#include "e2e.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QTest>
#include <QWidget>

class TestHarness : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void desktopServicesAreUp()
    {
        QVERIFY(E2E::underHarness());

        int status = 0;
        const QByteArray check = E2E::runTool(
            QStringLiteral("xprop"), { QStringLiteral("-root"), QStringLiteral("_NET_SUPPORTING_WM_CHECK") }, &status);
        QCOMPARE(status, 0);
        QVERIFY2(check.contains("window id"), check.constData());

        QVERIFY(E2E::waitForSystemTray());

        QDBusInterface notifications(QStringLiteral("org.freedesktop.Notifications"),
            QStringLiteral("/org/freedesktop/Notifications"), QStringLiteral("org.freedesktop.Notifications"));
        QDBusMessage info = notifications.call(QStringLiteral("GetServerInformation"));
        QCOMPARE(info.type(), QDBusMessage::ReplyMessage);
        QCOMPARE(info.arguments().value(0).toString(), QStringLiteral("dunst"));
    }

    void screenGrabSeesAMappedWindow()
    {
        QWidget window;
        window.setWindowTitle(QStringLiteral("harness pattern"));
        window.setAutoFillBackground(true);
        QPalette palette;
        palette.setColor(QPalette::Window, QColor(255, 0, 255));
        window.setPalette(palette);
        window.setGeometry(200, 150, 240, 160);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        // Where the window manager put it, the screen shows it, and only there.
        QTRY_COMPARE(E2E::grabDesktop().pixelColor(window.geometry().center()), QColor(255, 0, 255));
        const QImage desktop = E2E::grabDesktop();
        QVERIFY(desktop.pixelColor(window.geometry().topLeft() - QPoint(40, 40)) != QColor(255, 0, 255));
    }
};

QTEST_MAIN(TestHarness)
#include "tst_harness.moc"
