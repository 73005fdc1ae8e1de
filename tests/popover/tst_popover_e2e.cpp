// The dashboard as a user meets it on the harness's desktop (Xvfb, openbox,
// a trayer tray over XEmbed) against the reference service: a click on the
// tray icon opens the panel right under it with the recent files and Escape
// closes it; a click into another application closes it, and so does the
// focus going there from the keyboard; a press in another application that
// drags a file onto the panel leaves it open, and the file is uploaded and
// listed.
//
// The other application is this program run again as a window that drags a
// file (text/uri-list) as soon as it is pressed, as file managers do.
#include "appdelegate.h"
#include "e2e.h"
#include "popoverfilerowview.h"
#include "popoverwindow.h"
#include "popoverwindowcontroller.h"
#include "referenceserver.h"
#include "settingsstore.h"
#include "statusitem.h"
#include "testfiles.h"

#include <QApplication>
#include <QDrag>
#include <QFileInfo>
#include <QMimeData>
#include <QMouseEvent>
#include <QProcess>
#include <QScopeGuard>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const QString kDragSourceOption = QStringLiteral("--drag-source");
const QString kDragSourceTitle = QStringLiteral("another application");

class FileSource : public QWidget
{
public:
    QString path;

protected:
    void mousePressEvent(QMouseEvent *) override
    {
        auto *drag = new QDrag(this);
        auto *data = new QMimeData;
        data->setUrls({ QUrl::fromLocalFile(path) });
        drag->setMimeData(data);
        drag->exec(Qt::CopyAction);
    }
};

QStringList rowTitles(const PopoverWindow *w)
{
    QStringList titles;
    for (const PopoverFileRowView *row : w->rows())
        titles << row->file().value(QStringLiteral("name")).toString();
    return titles;
}

} // namespace

class TestPopoverE2E : public QObject
{
    Q_OBJECT
    ReferenceServer server;
    QTemporaryDir dir;
    std::unique_ptr<AppDelegate> delegate;
    QRect icon;

    PopoverWindowController *controller() const { return delegate->popoverController(); }

    // A click on the tray icon, again while it does not open the panel: the
    // tray may report the icon's place before the icon takes clicks there,
    // and a click right after the panel was clicked away is not taken as
    // one to open it again.
    void openFromTrayIcon()
    {
        for (int attempt = 0; attempt < 10 && !controller()->isVisible(); ++attempt) {
            E2E::xdotool(
                { "mousemove", QString::number(icon.center().x()), QString::number(icon.center().y()), "click", "1" });
            if (QTest::qWaitFor([&] { return controller()->isVisible(); }, 1000))
                break;
        }
        QVERIFY(controller()->isVisible());
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(E2E::underHarness());
        QVERIFY2(server.start(), qPrintable(server.errorString()));
        qputenv("TESSLY_API_URL", server.apiUrl().toUtf8());
        qputenv("TESSLY_WEB_DOMAIN", server.webDomain().toUtf8());
        SettingsStore::instance().setToken(
            server.addUser(QStringLiteral("p@example.com"), QStringLiteral("secret-pass"), QStringLiteral("panel")));
        SettingsStore::instance().setDomain(QStringLiteral("panel"));
        QVERIFY(E2E::waitForSystemTray());
        delegate = std::make_unique<AppDelegate>();
        delegate->setUrlOpener([](const QUrl &) {});
        delegate->applicationDidFinishLaunching();
    }

    void cleanupTestCase() { delegate.reset(); }

    void opensUnderTheIconAndEscapeCloses()
    {
        PopoverWindowController *c = controller();
        PopoverWindow *panel = c->window();
        // Under the icon, whose geometry the XEmbed tray reports. (trayer
        // sits at the top right; until the icon is embedded its geometry is
        // its own window's.)
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        QTRY_VERIFY_WITH_TIMEOUT(
            (icon = delegate->statusItem()->anchorGeometry()).center().x() > screen.center().x() && icon.width() > 1,
            5000);
        openFromTrayIcon();
        const QRect area = panel->screen()->availableGeometry();
        QTRY_COMPARE(panel->geometry().top(), icon.bottom() + 1);
        QVERIFY(area.contains(panel->geometry()));
        QVERIFY(panel->geometry().right() <= area.right() - 4 || panel->geometry().center().x() == icon.center().x());
        QTRY_VERIFY(c->showsEmptyState());

        // Escape, from the real keyboard.
        QTRY_VERIFY(panel->isActiveWindow());
        E2E::xdotool({ "key", "Escape" });
        QTRY_VERIFY(!c->isVisible());
    }

    // What another application's window does to the open panel; a panel
    // left open by a drop is then closed by switching to that window.
    void anotherApplication_data()
    {
        QTest::addColumn<QString>("gesture");
        QTest::newRow("a click there closes it") << "click";
        QTest::newRow("the focus moving there without a click closes it") << "focus";
        QTest::newRow("a press there that drags a file onto the panel uploads it") << "drag";
    }
    void anotherApplication()
    {
        QFETCH(QString, gesture);
        PopoverWindowController *c = controller();
        PopoverWindow *panel = c->window();
        const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
        // The panel closed last has let go of the focus (Qt waits a moment
        // for it to come back before it says so).
        QTRY_VERIFY(!QGuiApplication::focusWindow());
        const QString file
            = TestFiles::random(dir.path(), QStringLiteral("dragged by %1.txt").arg(QTest::currentDataTag()), 1200);

        QProcess other;
        const auto end = qScopeGuard([&] {
            other.kill();
            other.waitForFinished();
        });
        other.start(QCoreApplication::applicationFilePath(),
            { kDragSourceOption, file, QString::number(area.left() + 20), QString::number(area.bottom() - 160) });
        // By process, as the window of the row before may linger a moment;
        // xdotool gives up on a window destroyed while it looks, so it looks
        // again.
        const QStringList search { "search", "--onlyvisible", "--pid", QString::number(other.processId()), "--name",
            '^' + kDragSourceTitle + '$' };
        QString id;
        QTRY_VERIFY_WITH_TIMEOUT(
            !(id = QString::fromLatin1(E2E::runTool("xdotool", search).trimmed())).isEmpty(), 10000);
        // The window manager gives a new window the focus: only after that is
        // the panel opened.
        QTRY_COMPARE(QString::fromLatin1(E2E::runTool("xdotool", { "getactivewindow" }).trimmed()), id);
        QRect source;
        for (const QByteArray &line : E2E::runTool("xdotool", { "getwindowgeometry", "--shell", id }).split('\n')) {
            const QList<QByteArray> pair = line.split('=');
            const int value = pair.value(1).toInt();
            if (pair.first() == "X")
                source.moveLeft(value);
            else if (pair.first() == "Y")
                source.moveTop(value);
            else if (pair.first() == "WIDTH")
                source.setWidth(value);
            else if (pair.first() == "HEIGHT")
                source.setHeight(value);
        }
        const auto clickOnSource = [&] {
            E2E::xdotool({ "mousemove", QString::number(source.center().x()), QString::number(source.center().y()),
                "click", "1" });
        };

        // Opened as a user opens it: the window manager gives the focus to the
        // application clicked last.
        openFromTrayIcon();
        QTRY_VERIFY(panel->isActiveWindow());
        // While the window manager takes the panel into its frame, Qt says
        // for a moment that it is at the frame's origin.
        QTRY_COMPARE(panel->geometry().top(), icon.bottom() + 1);
        if (gesture == QLatin1String("click")) {
            clickOnSource();
        } else if (gesture == QLatin1String("focus")) {
            E2E::xdotool({ "windowactivate", "--sync", id });
        } else {
            // The pointer moves on in steps, as a hand does; the panel loses
            // the focus at the press, well before the pointer reaches it.
            const QPoint from = source.center();
            const QPoint to = panel->geometry().center();
            QProcess drag;
            drag.start("sh",
                { "-c",
                    QStringLiteral("xdotool mousemove %1 %2 mousedown 1 sleep 0.3 mousemove %3 %4 sleep 0.3 "
                                   "mousemove %5 %6 sleep 0.3 mouseup 1")
                        .arg(from.x())
                        .arg(from.y())
                        .arg((from.x() + to.x()) / 2)
                        .arg((from.y() + to.y()) / 2)
                        .arg(to.x())
                        .arg(to.y()) });
            QVERIFY(E2E::waitResponsively(drag) == 0);
            const QString name = QFileInfo(file).fileName();
            QTRY_VERIFY_WITH_TIMEOUT(rowTitles(panel).contains(name) || !c->isVisible(), 20000);
            QVERIFY2(c->isVisible(), "the panel closed before the drop");
            QVERIFY(rowTitles(panel).contains(name));
            // The panel has the focus back: switching to another window
            // (Alt+Tab) closes it.
            QTRY_VERIFY(panel->isActiveWindow());
            E2E::xdotool({ "windowactivate", "--sync", id });
        }
        QTRY_VERIFY(!c->isVisible());
    }
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    if (app.arguments().value(1) == kDragSourceOption) {
        // drag-source FILE X Y
        FileSource source;
        source.path = app.arguments().value(2);
        source.setWindowTitle(kDragSourceTitle);
        source.setGeometry(app.arguments().value(3).toInt(), app.arguments().value(4).toInt(), 140, 120);
        source.show();
        return app.exec();
    }
    app.setAttribute(Qt::AA_Use96Dpi, true);
    TestPopoverE2E test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_popover_e2e.moc"
