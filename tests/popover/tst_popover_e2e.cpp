// The dashboard as a user meets it on the harness's desktop (Xvfb, openbox,
// a trayer tray over XEmbed) against the reference service: a click on the
// tray icon opens the panel right under it with the recent files, a file
// dragged from another window onto the panel is uploaded and listed, Escape
// closes it, and a click into another application closes it too.
#include "appdelegate.h"
#include "e2e.h"
#include "popoverfilerowview.h"
#include "popoverwindow.h"
#include "popoverwindowcontroller.h"
#include "referenceserver.h"
#include "settingsstore.h"
#include "statusitem.h"
#include "testfiles.h"

#include <QDrag>
#include <QMimeData>
#include <QMouseEvent>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

namespace {

// A window that drags its file (text/uri-list) as soon as it is pressed.
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

void xdotool(const QStringList &args)
{
    E2E::runTool(QStringLiteral("xdotool"), args);
}

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

private Q_SLOTS:
    void clickDropEscapeAndClickElsewhere()
    {
        QVERIFY(E2E::underHarness());
        QVERIFY2(server.start(), qPrintable(server.errorString()));
        qputenv("TESSLY_API_URL", server.apiUrl().toUtf8());
        qputenv("TESSLY_WEB_DOMAIN", server.webDomain().toUtf8());
        SettingsStore::instance().setToken(
            server.addUser(QStringLiteral("p@example.com"), QStringLiteral("secret-pass"), QStringLiteral("panel")));
        SettingsStore::instance().setDomain(QStringLiteral("panel"));
        QVERIFY(E2E::waitForSystemTray());
        AppDelegate delegate;
        delegate.setUrlOpener([](const QUrl &) {});
        delegate.applicationDidFinishLaunching();
        PopoverWindowController *c = delegate.popoverController();
        PopoverWindow *panel = c->window();

        // Under the icon, whose geometry the XEmbed tray reports.
        QRect icon;
        // (trayer sits at the top right; until the icon is embedded its
        // geometry is its own window's.)
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        QTRY_VERIFY_WITH_TIMEOUT(
            (icon = delegate.statusItem()->anchorGeometry()).center().x() > screen.center().x() && icon.width() > 1,
            5000);
        // The tray may report the place before the icon takes clicks there.
        for (int attempt = 0; attempt < 10 && !c->isVisible(); ++attempt) {
            xdotool(
                { "mousemove", QString::number(icon.center().x()), QString::number(icon.center().y()), "click", "1" });
            QTest::qWaitFor([&] { return c->isVisible(); }, 1000);
        }
        QVERIFY(c->isVisible());
        const QRect area = panel->screen()->availableGeometry();
        QTRY_COMPARE(panel->geometry().top(), icon.bottom() + 1);
        QVERIFY(area.contains(panel->geometry()));
        QVERIFY(panel->geometry().right() <= area.right() - 4 || panel->geometry().center().x() == icon.center().x());
        QTRY_VERIFY(c->showsEmptyState());

        // A file dragged from another window of the desktop.
        FileSource source;
        source.path = TestFiles::random(dir.path(), QStringLiteral("dragged.txt"), 1200);
        source.setWindowTitle(QStringLiteral("source"));
        source.setGeometry(area.left() + 20, area.bottom() - 160, 140, 120);
        source.show();
        QVERIFY(QTest::qWaitForWindowExposed(&source));
        const QPoint from = source.geometry().center();
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
        QTRY_COMPARE_WITH_TIMEOUT(rowTitles(panel), QStringList { QStringLiteral("dragged.txt") }, 20000);
        QVERIFY(c->isVisible());

        // Escape, from the real keyboard.
        panel->activateWindow();
        QTRY_VERIFY(panel->isActiveWindow());
        xdotool({ "key", "Escape" });
        QTRY_VERIFY(!c->isVisible());

        // A click into another application.
        c->showPopoverRelativeToView(icon);
        QTRY_VERIFY(panel->isActiveWindow());
        QProcess other;
        other.start("xmessage",
            { "-geometry", QStringLiteral("+%1+%2").arg(area.left() + 20).arg(area.top() + 40),
                "another application" });
        QVERIFY(other.waitForStarted());
        xdotool({ "search", "--sync", "--onlyvisible", "--class", "xmessage" });
        xdotool({ "mousemove", QString::number(area.left() + 60), QString::number(area.top() + 50), "click", "1" });
        QTRY_VERIFY(!c->isVisible());
        other.kill();
        other.waitForFinished();
    }
};

QTEST_MAIN(TestPopoverE2E)
#include "tst_popover_e2e.moc"
