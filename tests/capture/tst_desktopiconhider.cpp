// The desktop-icon hider on a real X desktop with two monitors: a desktop
// window with icons on the first only, a wallpaper on the root (or none), an
// ordinary window above. Checked as the user sees it, from grabs of the
// screen, and by where real clicks land.
#include "desktopiconhider.h"
#include "desktopshell.h"
#include "e2e.h"
#include "logcapture.h"
#include "overlaywindowcontroller.h"
#include "patternwindow.h"
#include "testdesktop.h"

#include <algorithm>
#include <QGuiApplication>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QWidget>

class TestDesktopIconHider : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestDesktop> m_desktop;
    std::unique_ptr<PatternWindow> m_pattern;

    QPoint iconCentre(int i) const { return m_desktop->window()->mapToGlobal(m_desktop->icons().at(i).center()); }

    enum class Cover { None, Wallpaper, OwnBackground };

    // What the screen shows at each icon's centre, and what it should show.
    QStringList iconPixels(const QImage &screen) const
    {
        QStringList names;
        for (int i = 0; i < m_desktop->icons().size(); ++i)
            names << screen.pixelColor(iconCentre(i)).name();
        return names;
    }

    QStringList expectedIconPixels(Cover cover) const
    {
        QStringList names;
        for (int i = 0; i < m_desktop->icons().size(); ++i) {
            const QPoint p = iconCentre(i);
            QColor expected = TestDesktop::kIcon;
            if (cover == Cover::Wallpaper)
                expected = TestDesktop::wallpaperAt(p);
            else if (cover == Cover::OwnBackground)
                expected = TestDesktop::backgroundAt(m_desktop->window()->mapFromGlobal(p));
            names << expected.name();
        }
        return names;
    }

    void verifyPatternOnTop(const QImage &screen)
    {
        for (QPointF local : { QPointF(20, 20), QPointF(180, 20), QPointF(20, 140), QPointF(180, 140) })
            QCOMPARE(
                screen.pixelColor(m_pattern->mapToGlobal(local).toPoint()).name(), m_pattern->colorAt(local).name());
    }

    static QByteArray windowUnderPointer()
    {
        const QByteArray shell = E2E::runTool("xdotool", { "getmouselocation", "--shell" });
        for (const QByteArray &line : shell.split('\n')) {
            if (line.startsWith("WINDOW="))
                return line.mid(7);
        }
        return {};
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(E2E::underHarness());
        QCOMPARE(QGuiApplication::screens().size(), 2);
        m_desktop = std::make_unique<TestDesktop>(QGuiApplication::screens().at(0)->geometry());
        // Over the first icon column's right neighbour, not over the icons.
        m_pattern = std::make_unique<PatternWindow>(QRect(300, 200, 200, 160));
        QTRY_COMPARE(iconPixels(E2E::grabDesktop()), expectedIconPixels(Cover::None));
    }

    // The covers go on the monitor with a desktop window only, show the
    // wallpaper (or, without one, the desktop window's own background) where
    // the icons were, and let clicks through to the desktop.
    void coversIconsOnlyWhereThereIsADesktopWindow_data()
    {
        QTest::addColumn<bool>("wallpaper");
        QTest::newRow("wallpaper published") << true;
        QTest::newRow("no wallpaper") << false;
    }

    void coversIconsOnlyWhereThereIsADesktopWindow()
    {
        QFETCH(bool, wallpaper);
        m_desktop->publishWallpaper(wallpaper);
        // The X server's answer to "which window gets a click here", uncovered.
        const QPoint p = iconCentre(0);
        E2E::xdotool({ QStringLiteral("mousemove"), QString::number(p.x()), QString::number(p.y()) });
        const QByteArray uncovered = windowUnderPointer();
        QVERIFY(!uncovered.isEmpty());
        LogCapture log;
        DesktopIconHider hider;
        const QImage before = E2E::grabDesktop();
        hider.hideDesktopIcons();
        QCOMPARE(hider.overlayControllers().size(), 1);
        QCOMPARE(log.count(QStringLiteral("Capturing Screen {{0, 0}, {800, 600}}")), 1);
        QVERIFY(log.contains(QStringLiteral("Window Frame {{0, 0}, {800, 600}}")));
        QVERIFY(!log.containsText(QStringLiteral("Capturing Screen {{800")));

        const QImage hidden = E2E::grabDesktop();
        QCOMPARE(iconPixels(hidden), expectedIconPixels(wallpaper ? Cover::Wallpaper : Cover::OwnBackground));
        verifyPatternOnTop(hidden);
        const QRect second = QGuiApplication::screens().at(1)->geometry();
        QCOMPARE(hidden.copy(second), before.copy(second));
        if (!wallpaper) {
            // Only the icons went: the rest of the desktop window showed its
            // background already.
            const QRect first = QGuiApplication::screens().at(0)->geometry();
            const QRect pattern(m_pattern->mapToGlobal(QPoint(0, 0)), m_pattern->size());
            for (int y = first.top(); y <= first.bottom(); y += 7) {
                for (int x = first.left(); x <= first.right(); x += 7) {
                    const QPoint at(x, y);
                    const bool onIcon = std::any_of(m_desktop->icons().cbegin(), m_desktop->icons().cend(),
                        [&](const QRect &icon) { return icon.contains(m_desktop->window()->mapFromGlobal(at)); });
                    if (!onIcon && !pattern.adjusted(-10, -30, 10, 10).contains(at))
                        QCOMPARE(hidden.pixelColor(at).name(), before.pixelColor(at).name());
                }
            }
        }

        // The same window takes the click with the cover up: the desktop.
        QCOMPARE(windowUnderPointer(), uncovered);
        const int presses = m_desktop->presses();
        E2E::xdotool({ QStringLiteral("click"), QStringLiteral("1") });
        QTRY_COMPARE(m_desktop->presses(), presses + 1);

        // Hiding again keeps the covers it has.
        OverlayWindowController *first = hider.overlayControllers().first();
        hider.hideDesktopIcons();
        QCOMPARE(hider.overlayControllers(), QList<OverlayWindowController *> { first });

        hider.unhideDesktopIcons();
        QVERIFY(hider.overlayControllers().isEmpty());
        // The desktop window repaints what the cover hid.
        QTRY_COMPARE(iconPixels(E2E::grabDesktop()), expectedIconPixels(Cover::None));
        m_desktop->publishWallpaper(true);
    }

    // Hiding waits (running the event loop) until the covers are painted; an
    // unhide that arrives in that wait must not pull them from under it.
    void unhideDuringTheWaitForPaint()
    {
        DesktopIconHider hider;
        QMetaObject::invokeMethod(
            &hider, [&hider] { hider.unhideDesktopIcons(); }, Qt::QueuedConnection);
        hider.hideDesktopIcons();
        QTRY_VERIFY(hider.overlayControllers().isEmpty());
    }

    void workspaceSwitchRecoversOnlyWhileHidden()
    {
        DesktopIconHider hider;
        LogCapture log;
        // A shell of our own sees the switch no earlier than the hider's.
        const std::unique_ptr<DesktopShell> witness = DesktopShell::create();
        QSignalSpy switched(witness.get(), &DesktopShell::workspaceChanged);
        E2E::xdotool({ QStringLiteral("set_desktop"), QStringLiteral("1") });
        QTRY_VERIFY(!switched.isEmpty());
        QCoreApplication::processEvents();
        QVERIFY(hider.overlayControllers().isEmpty());
        QCOMPARE(log.count(QStringLiteral("Capturing Screen {{0, 0}, {800, 600}}")), 0);

        hider.hideDesktopIcons();
        QCOMPARE(log.count(QStringLiteral("Capturing Screen {{0, 0}, {800, 600}}")), 1);
        E2E::xdotool({ QStringLiteral("set_desktop"), QStringLiteral("0") });
        QTRY_COMPARE(log.count(QStringLiteral("Capturing Screen {{0, 0}, {800, 600}}")), 2);
        QCOMPARE(hider.overlayControllers().size(), 1);
        QTRY_COMPARE(iconPixels(E2E::grabDesktop()), expectedIconPixels(Cover::Wallpaper));
        hider.unhideDesktopIcons();
    }
};

QTEST_MAIN(TestDesktopIconHider)
#include "tst_desktopiconhider.moc"
