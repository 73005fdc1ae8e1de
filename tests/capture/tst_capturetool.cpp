// tessly-screencapture against a real X server: a pattern window of known
// colours at a known place, the tool driven by xdotool as a user would, and
// the written PNG compared pixel by pixel. The same test runs on one screen,
// on two monitors side by side (the pattern straddles their border) and at a
// device-pixel ratio of 2.
#include "e2e.h"
#include "patternwindow.h"
#include "windowlist.h"

#include <QDir>
#include <QGuiApplication>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

class TestCaptureTool : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<PatternWindow> m_pattern;

    static QString tool() { return qEnvironmentVariable("TESSLY_CAPTURE_TOOL"); }

    static QPoint toNative(const QPointF &logical)
    {
        QScreen *screen = QGuiApplication::screenAt(logical.toPoint());
        if (!screen)
            screen = QGuiApplication::primaryScreen();
        const QPointF origin = screen->geometry().topLeft();
        return (origin + (logical - origin) * screen->devicePixelRatio()).toPoint();
    }

    // Runs the tool; `interact` drives it once its windows are up.
    int run(const QStringList &args, QString *stderrText = nullptr, const std::function<void()> &interact = {})
    {
        // What the last run's windows covered is repainted first.
        if (!m_pattern->waitUntilShown())
            return -2;
        QProcess process;
        process.start(tool(), args);
        if (!process.waitForStarted())
            return -1;
        if (interact) {
            if (!E2E::waitForCaptureTool())
                return -3;
            interact();
        }
        // Not blocked in waitForFinished: the pattern must be able to repaint.
        const int code = E2E::waitResponsively(process);
        if (stderrText)
            *stderrText = QString::fromLocal8Bit(process.readAllStandardError());
        return code;
    }

    // Checks the image against the pattern, sampling the middle of every
    // quadrant and points near its corners. `toImage` maps a global logical
    // point to the image's pixel.
    void verifyPattern(const QImage &image, const std::function<QPoint(const QPointF &)> &toImage)
    {
        QVERIFY(!image.isNull());
        const QPointF topLeft = m_pattern->mapToGlobal(QPointF(0, 0));
        const qreal w = m_pattern->width(), h = m_pattern->height();
        for (qreal fx : { 0.05, 0.25, 0.45, 0.55, 0.75, 0.95 }) {
            for (qreal fy : { 0.05, 0.25, 0.45, 0.55, 0.75, 0.95 }) {
                const QPointF local(w * fx, h * fy);
                const QPoint pixel = toImage(topLeft + local);
                QVERIFY2(image.rect().contains(pixel), qPrintable(QDebug::toString(pixel)));
                QCOMPARE(image.pixelColor(pixel).name(), m_pattern->colorAt(local).name());
            }
        }
    }

    QString output(const QString &name) const { return m_dir.filePath(name); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(E2E::underHarness());
        QVERIFY2(QFileInfo(tool()).isExecutable(), "TESSLY_CAPTURE_TOOL names no program");
        // Across the border of the first two screens when there are two.
        const QList<QScreen *> screens = QGuiApplication::screens();
        QRect where(100, 100, 200, 160);
        if (screens.size() > 1)
            where.moveLeft(screens[1]->geometry().left() - 100);
        m_pattern = std::make_unique<PatternWindow>(where);
        if (screens.size() > 1) {
            const int border = screens[1]->geometry().left();
            QVERIFY(m_pattern->mapToGlobal(QPoint(0, 0)).x() < border);
            QVERIFY(m_pattern->mapToGlobal(QPoint(m_pattern->width(), 0)).x() > border);
        }
    }

    void rectangleOptionTakesThatRectangle()
    {
        const QRect logical(m_pattern->mapToGlobal(QPoint(-20, -10)), m_pattern->size() + QSize(40, 20));
        const QString path = output(QStringLiteral("rect.png"));
        const QString rect = QStringLiteral("%1,%2,%3,%4")
                                 .arg(logical.x())
                                 .arg(logical.y())
                                 .arg(logical.width())
                                 .arg(logical.height());
        QCOMPARE(run({ "-x", "-R", rect, path }), 0);
        const QImage image(path);
        const qreal ratio = m_pattern->devicePixelRatio();
        QCOMPARE(image.size(), logical.size() * ratio);
        verifyPattern(image, [&](const QPointF &p) { return ((p - logical.topLeft()) * ratio).toPoint(); });
    }

    // The command line's own mistakes are tst_captureoptions' table; here one
    // of them, and what only the X server can tell.
    void invalidArgumentsAreRefusedWithStatusTwo_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("message");
        const QString path = QDir::temp().filePath(QStringLiteral("never.png"));
        QTest::newRow("zero width") << QStringList { "-R", "0,0,0,10", path }
                                    << QStringLiteral("-R expects x,y,width,height");
        QTest::newRow("no such window") << QStringList { "-l", "0x7ffffff0", path }
                                        << QStringLiteral("there is no window 0x7ffffff0");
        QTest::newRow("off every screen")
            << QStringList { "-R", "-900,-900,10,10", path } << QStringLiteral("lies outside every screen");
    }

    void invalidArgumentsAreRefusedWithStatusTwo()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, message);
        QString errors;
        QCOMPARE(run(args, &errors), 2);
        QVERIFY2(errors.contains(message), qPrintable(errors));
        QVERIFY(!QFile::exists(QDir::temp().filePath(QStringLiteral("never.png"))));
    }

    void dragSelectsARegion()
    {
        const QString path = output(QStringLiteral("drag.png"));
        const QPoint from = toNative(m_pattern->mapToGlobal(QPointF(-15, -15)));
        const QPoint to = toNative(m_pattern->mapToGlobal(QPointF(m_pattern->width() + 15, m_pattern->height() + 15)));
        const QPoint middle = (from + to) / 2;
        QCOMPARE(
            run({ "-i", "-x", path }, nullptr,
                [&] {
                    E2E::xdotool(
                        { "mousemove", QString::number(from.x()), QString::number(from.y()), "mousedown", "1" });
                    E2E::xdotool({ "mousemove", QString::number(middle.x()), QString::number(middle.y()) });
                    E2E::xdotool({ "mousemove", QString::number(to.x()), QString::number(to.y()), "mouseup", "1" });
                }),
            0);
        const QImage image(path);
        QCOMPARE(image.size(), QSize(to.x() - from.x(), to.y() - from.y()));
        verifyPattern(image, [&](const QPointF &p) { return toNative(p) - from; });
    }

    void escapeCancelsAndWritesNothing()
    {
        const QString path = output(QStringLiteral("escaped.png"));
        const QPoint from = toNative(m_pattern->mapToGlobal(QPointF(10, 10)));
        QCOMPARE(run({ "-i", "-x", path }, nullptr,
                     [&] {
                         // Mid-drag: nothing is taken until the button is released.
                         E2E::xdotool({ "mousemove", QString::number(from.x()), QString::number(from.y()), "mousedown",
                             "1", "mousemove", QString::number(from.x() + 50), QString::number(from.y() + 40) });
                         E2E::xdotool({ "key", "Escape" });
                         E2E::xdotool({ "mouseup", "1" });
                     }),
            1);
        QVERIFY(!QFile::exists(path));
        QVERIFY(QDir(m_dir.path()).entryList({ QStringLiteral("escaped*") }, QDir::Files | QDir::Hidden).isEmpty());
    }

    void windowIsTakenWithItsFrame_data()
    {
        QTest::addColumn<QString>("how");
        QTest::newRow("-l") << QStringLiteral("-l");
        QTest::newRow("-w and a click") << QStringLiteral("-w");
        QTest::newRow("-i, Space, then a click") << QStringLiteral("-i");
    }

    void windowIsTakenWithItsFrame()
    {
        QFETCH(QString, how);
        const std::optional<WindowInfo> info = WindowList::create()->window(quint32(m_pattern->winId()));
        QVERIFY(info);
        const QString path = output(QStringLiteral("window%1.png").arg(how));
        const QPoint inside = toNative(m_pattern->mapToGlobal(QPointF(30, 30)));
        auto click = [&] {
            if (how == QLatin1String("-i"))
                E2E::xdotool({ "key", "space" });
            E2E::xdotool({ "mousemove", QString::number(inside.x()), QString::number(inside.y()), "click", "1" });
        };
        if (how == QLatin1String("-l"))
            QCOMPARE(run({ "-x", "-l", QString::number(info->id), path }), 0);
        else
            QCOMPARE(run({ how, "-x", path }, nullptr, click), 0);
        const QImage image(path);
        // The frame as the window manager draws it, the pattern inside.
        QCOMPARE(image.size(), info->frame.size());
        QVERIFY(info->frame.contains(toNative(m_pattern->mapToGlobal(QPointF(0, 0)))));
        verifyPattern(image, [&](const QPointF &p) { return toNative(p) - info->frame.topLeft(); });
    }
};

QTEST_MAIN(TestCaptureTool)
#include "tst_capturetool.moc"
