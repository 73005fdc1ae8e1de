// The markup editor on a real X desktop: a test pattern captured by the
// capture tool, an arrow, a rectangle, a blur box and a text drawn with the
// pointer and the keyboard (xdotool), a colour chosen in the popover, Copy,
// and the PNG checked where each shape must be, on disk and as the clipboard
// hands it to another program (xclip) after the window has closed.
#include "colorbutton.h"
#include "colorpickerviewcontroller.h"
#include "drawwindow.h"
#include "drawwindowcontroller.h"
#include "e2e.h"
#include "patternwindow.h"
#include "screengrabber.h"
#include "shapecanvas.h"
#include "shapeview.h"
#include "sidebarbutton.h"

#include <QFile>
#include <QProcess>
#include <QTest>

class TestMarkupE2E : public QObject
{
    Q_OBJECT

    // Runs xdotool with these arguments while this process keeps handling events.
    static bool xdotool(const QStringList &args)
    {
        QProcess tool;
        tool.start(QStringLiteral("xdotool"), args);
        return E2E::waitResponsively(tool) == 0;
    }

    // Reads the clipboard as `type` through xclip; this process owns it and
    // serves it meanwhile.
    static QByteArray clipboard(const QString &type)
    {
        QProcess xclip;
        xclip.start("xclip", { "-selection", "clipboard", "-t", type, "-o" });
        return E2E::waitResponsively(xclip) == 0 ? xclip.readAllStandardOutput() : QByteArray("xclip failed");
    }

    static QStringList dragArgs(QPoint a, QPoint b)
    {
        QStringList args = { "mousemove", QString::number(a.x()), QString::number(a.y()), "mousedown", "1" };
        for (int step = 1; step <= 4; ++step) {
            const QPoint p = a + (b - a) * step / 4;
            args << "sleep"
                 << "0.05"
                 << "mousemove" << QString::number(p.x()) << QString::number(p.y());
        }
        return args << "mouseup"
                    << "1";
    }

    // A click at a global point (after `before`), and a moment for it to land.
    static bool click(QPoint p, const QStringList &before = {})
    {
        return xdotool(before
            + QStringList {
                "mousemove", QString::number(p.x()), QString::number(p.y()), "click", "1", "sleep", "0.2" });
    }

    static QPoint centreOf(const QWidget *w) { return w->mapToGlobal(w->rect().center()); }

    static bool isPatternColour(const QColor &c)
    {
        for (const QColor &p : PatternWindow::kColors)
            if (c == p)
                return true;
        return false;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(E2E::underHarness()); }

    void drawCopyAndPaste()
    {
        // The capture: 480 by 320 points of the pattern, taken by the tool.
        PatternWindow pattern(QRect(200, 150, 480, 320));
        const QPoint origin = pattern.mapToGlobal(QPoint(0, 0));
        QProcess driver;
        driver.start("sh",
            { "-c",
                E2E::captureToolReadyScript()
                    + QStringLiteral("xdotool mousemove %1 %2 mousedown 1 mousemove %3 %4 mousemove %5 %6 mouseup 1")
                          .arg(origin.x())
                          .arg(origin.y())
                          .arg(origin.x() + 200)
                          .arg(origin.y() + 100)
                          .arg(origin.x() + 480)
                          .arg(origin.y() + 320) });
        const QUrl capture = ScreenGrabber::captureScreen(QStringLiteral("Markup"));
        driver.waitForFinished(10000);
        QVERIFY(capture.isLocalFile());
        pattern.hide();

        DrawWindowController controller;
        QString copied;
        connect(&controller, &DrawWindowController::copied, this, [&copied](const QString &p) { copied = p; });
        QVERIFY(controller.showImageFile(capture.toLocalFile(), DrawWindowController::scaleOfScreenUnderPointer()));
        DrawWindow *window = controller.window();
        QVERIFY(QTest::qWaitForWindowActive(window));
        ShapeCanvas *canvas = window->canvas();
        QCOMPARE(canvas->size(), QSize(480, 320));
        const QPoint at = canvas->mapToGlobal(QPoint(0, 0));
        auto screen = [at](int x, int y) { return at + QPoint(x, y); };

        // Black, from the colour popover.
        QVERIFY(click(centreOf(window->colorPicker())));
        QTRY_VERIFY(controller.colorPopover()->isVisible());
        QVERIFY(click(centreOf(controller.colorPopover()->buttons().last())));
        QTRY_COMPARE(window->colorPicker()->backgroundColor(), QColor(Qt::black));

        // The tools by their keys; the arrow is the default.
        QVERIFY(xdotool(dragArgs(screen(40, 290), screen(200, 210))));
        QVERIFY(xdotool(QStringList { "key", "r" } + dragArgs(screen(30, 30), screen(150, 120))));
        QVERIFY(xdotool(QStringList { "key", "b" } + dragArgs(screen(185, 105), screen(295, 215))));
        QVERIFY(click(screen(320, 240), { "key", "t" }));
        // `type` takes every argument after it as text: the commit key is a run of its own.
        QVERIFY(xdotool({ "type", "Hi" }));
        QVERIFY(xdotool({ "key", "ctrl+Return" }));
        QTRY_VERIFY(!controller.drawView()->isEditorVisible());
        QCOMPARE(controller.drawView()->shapes().size(), 4);

        QVERIFY(click(centreOf(window->copyButton())));
        QTRY_VERIFY(!window->isVisible());
        QVERIFY(copied.contains("/Tessly Cloud Markup on ") && copied.endsWith(".png"));

        const QImage file(copied);
        QCOMPARE(file.size(), QSize(480, 320));
        QCOMPARE(file.pixelColor(90, 30), QColor(Qt::black)); // the rectangle's top edge
        QCOMPARE(file.pixelColor(90, 75), QColor(Qt::red)); // its inside, untouched
        QCOMPARE(file.pixelColor(120, 250), QColor(Qt::black)); // the arrow's middle
        QVERIFY(!isPatternColour(file.pixelColor(238, 158))); // a cell across the quadrants' corner
        QCOMPARE(file.pixelColor(236, 156), file.pixelColor(244, 164)); // one cell, one colour
        int white = 0, black = 0;
        for (int y = 240; y < 290; ++y) {
            for (int x = 320; x < 380; ++x) {
                white += file.pixelColor(x, y) == QColor(Qt::white);
                black += file.pixelColor(x, y) == QColor(Qt::black);
            }
        }
        QVERIFY2(white > 40 && black > 40, qPrintable(QStringLiteral("%1 white, %2 black").arg(white).arg(black)));

        // Another program reads the clipboard after the window has gone.
        QFile saved(copied);
        QVERIFY(saved.open(QIODevice::ReadOnly));
        QCOMPARE(clipboard("image/png"), saved.readAll());
        QVERIFY(clipboard("text/uri-list").contains(QUrl::fromLocalFile(copied).toEncoded()));
    }
};

QTEST_MAIN(TestMarkupE2E)
#include "tst_markup_e2e.moc"
