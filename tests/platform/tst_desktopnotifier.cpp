// Notifications reach a real notification daemon (dunst, under the harness):
// one without a link has no action, one with a link, clicked, opens it. (What
// dunst shows of it is checked in tst_appdelegate_e2e's screenshot flow.)
#include "desktopnotifier.h"
#include "e2e.h"

#include <QDesktopServices>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>

class TestDesktopNotifier : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    // Stands in for the browser, so a click opens nothing on the machine.
    void openInBrowser(const QUrl &url) { opened << url; }

private:
    QList<QUrl> opened;

    static QByteArray dunstctl(const QStringList &args) { return E2E::runTool("dunstctl", args).trimmed(); }

private Q_SLOTS:
    void initTestCase() { QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "openInBrowser"); }

    void backendFollowsTheEnvironmentOverride()
    {
        QCOMPARE(DesktopNotifier::create(QStringLiteral("null"))->backendName(), QStringLiteral("null"));
        QCOMPARE(DesktopNotifier::instance().backendName(), QStringLiteral("freedesktop"));
    }

    void onlyANotificationWithALinkOpensIt()
    {
        QSignalSpy activated(&DesktopNotifier::instance(), &DesktopNotifier::activated);
        DesktopNotifier::instance().notify("Upload failed", "Could not connect to the server.");
        QTRY_COMPARE_WITH_TIMEOUT(dunstctl({ "count", "displayed" }), QByteArray("1"), 5000);
        dunstctl({ "action", "0" });
        dunstctl({ "close-all" });
        // Until dunst has taken the first one down, "displayed" still counts
        // it, and the click below would go to it instead.
        QTRY_COMPARE_WITH_TIMEOUT(dunstctl({ "count", "displayed" }), QByteArray("0"), 5000);

        // dunst answers in order: once a later notification's click is here,
        // the first one's would have been too.
        const QUrl link(QStringLiteral("https://alice.tessly.test/later"));
        DesktopNotifier::instance().notify("Link copied", link.toString(), link);
        QTRY_COMPARE_WITH_TIMEOUT(dunstctl({ "count", "displayed" }), QByteArray("1"), 5000);
        dunstctl({ "action", "0" });
        QTRY_VERIFY(!activated.isEmpty());
        QCOMPARE(activated.size(), 1);
        QCOMPARE(activated.at(0).at(0).toUrl(), link);
        QCOMPARE(opened, QList<QUrl> { link });
        dunstctl({ "close-all" });
    }
};

QTEST_MAIN(TestDesktopNotifier)
#include "tst_desktopnotifier.moc"
