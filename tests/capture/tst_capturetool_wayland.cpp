// tessly-screencapture on a real Wayland desktop: sway on a headless output,
// the desktop portal with its wlroots backend (grim takes the picture), all
// on a private session bus (tests/e2e/wayland-harness). The only stand-in is
// the user's drag, which the harness answers for (see there). The output
// shows a picture of four coloured quadrants, so a screenshot is checked
// pixel by pixel.
#include "e2e.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QColor kQuadrants[4] = { Qt::red, Qt::green, Qt::blue, Qt::yellow };
const QSize kOutput(640, 480); // the harness's --screen

QColor quadrantAt(const QPoint &p)
{
    return kQuadrants[(p.y() < kOutput.height() / 2 ? 0 : 2) + (p.x() < kOutput.width() / 2 ? 0 : 1)];
}

} // namespace

class TestCaptureToolWayland : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_selection;

    static QString tool() { return qEnvironmentVariable("TESSLY_CAPTURE_TOOL"); }

    // The region the user drags in the portal; none cancels.
    void select(const QString &region)
    {
        QFile::remove(m_selection);
        if (region.isEmpty())
            return;
        QFile file(m_selection);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(region.toUtf8() + '\n');
    }

    static int capture(const QStringList &args, QString *errors, const QProcessEnvironment &env = {})
    {
        QProcess process;
        if (!env.isEmpty())
            process.setProcessEnvironment(env);
        process.start(tool(), args);
        if (!process.waitForFinished(20000)) {
            process.kill();
            process.waitForFinished();
            return -1;
        }
        *errors = QString::fromLocal8Bit(process.readAllStandardError());
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    void verifyNothingWritten(const QString &path)
    {
        QVERIFY(!QFile::exists(path));
        QCOMPARE(QDir(QFileInfo(path).path())
                     .entryList({ QFileInfo(path).fileName() + QLatin1Char('*') }, QDir::Files | QDir::Hidden),
            QStringList());
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(qEnvironmentVariableIntValue("TESSLY_E2E") == 1 && qEnvironmentVariableIsSet("WAYLAND_DISPLAY"));
        QCOMPARE(qgetenv("XDG_SESSION_TYPE"), QByteArray("wayland"));
        m_selection = qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/e2e-selection");

        // The compositor runs as another user where the tests run as root:
        // the picture must be readable by everyone.
        QVERIFY(QFile::setPermissions(m_dir.path(),
            QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadOther
                | QFileDevice::ExeOther));
        QImage pattern(kOutput, QImage::Format_RGB32);
        for (int y = 0; y < pattern.height(); ++y) {
            for (int x = 0; x < pattern.width(); ++x)
                pattern.setPixelColor(x, y, quadrantAt(QPoint(x, y)));
        }
        const QString wallpaper = m_dir.filePath(QStringLiteral("pattern.png"));
        QVERIFY(pattern.save(wallpaper));
        int code = -1;
        E2E::runTool(QStringLiteral("swaymsg"), { QStringLiteral("output * bg %1 stretch").arg(wallpaper) }, &code);
        QCOMPARE(code, 0);
        // On screen once grim sees it.
        QTRY_VERIFY_WITH_TIMEOUT(
            QImage::fromData(E2E::runTool(QStringLiteral("grim"), { QStringLiteral("-") }, &code)).pixelColor(600, 440)
                == quadrantAt(QPoint(600, 440)),
            10000);
    }

    void selectionIsSaved_data()
    {
        QTest::addColumn<QString>("flags");
        QTest::newRow("-i") << QStringLiteral("-ix");
        QTest::newRow("-w") << QStringLiteral("-wx");
    }

    void selectionIsSaved()
    {
        QFETCH(QString, flags);
        // Across the middle, where the four quadrants meet.
        const QRect region(200, 140, 240, 200);
        select(QStringLiteral("%1,%2 %3x%4").arg(region.x()).arg(region.y()).arg(region.width()).arg(region.height()));
        const QString path = m_dir.filePath(flags + QStringLiteral(".png"));
        QString errors;
        QCOMPARE(capture({ flags, path }, &errors), 0);

        const QImage image(path);
        QCOMPARE(image.size(), region.size());
        for (const QPoint &p :
            { QPoint(5, 5), QPoint(235, 5), QPoint(5, 195), QPoint(235, 195), QPoint(115, 95), QPoint(125, 105) })
            QCOMPARE(image.pixelColor(p).name(), quadrantAt(region.topLeft() + p).name());

        // The portal's own file is the user's business: copied, left alone.
        const QString portalFile
            = QRegularExpression(QStringLiteral("the portal's picture: (\\S+)")).match(errors).captured(1);
        QVERIFY2(!portalFile.isEmpty(), qPrintable(errors));
        QVERIFY(QFile::exists(portalFile));
    }

    // Each failure says why and leaves no file behind, also without a portal
    // to ask: no session bus at all, or a bus that can start nothing.
    void failuresWriteNothing_data()
    {
        QTest::addColumn<QString>("selection");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("bus"); // empty: the harness's
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        const QString drag = QStringLiteral("0,0 100x100");
        QTest::newRow("selection cancelled") << QString() << QStringList { "-i" } << QString() << 1
                                             << QStringLiteral("the desktop portal could not take the screenshot");
        QTest::newRow("recording") << drag << QStringList { "-Ukvig" } << QString() << 2
                                   << QStringLiteral("recording the screen on Wayland comes in a later version");
        QTest::newRow("-R") << drag << QStringList { "-R0,0,10,10" } << QString() << 2
                            << QStringLiteral("-R and -l need an X11 session");
        QTest::newRow("unwritable folder") << drag << QStringList { "-i", "/nonexistent/x" } << QString() << 1
                                           << QStringLiteral("cannot write /nonexistent/x");
        QTest::newRow("no session bus") << drag << QStringList { "-i" } << QStringLiteral("none") << 1
                                        << QStringLiteral("no D-Bus session bus");
        QTest::newRow("a bus without a portal") << drag << QStringList { "-i" } << QStringLiteral("bare") << 1
                                                << QStringLiteral("no desktop portal is running");
    }

    void failuresWriteNothing()
    {
        QFETCH(QString, selection);
        QFETCH(QStringList, args);
        QFETCH(QString, bus);
        QFETCH(int, status);
        QFETCH(QString, message);
        select(selection);
        const QString path = m_dir.filePath(QStringLiteral("failed.png"));
        if (!args.last().startsWith(QLatin1Char('/')))
            args << path;
        QProcessEnvironment env;
        QProcess daemon;
        if (!bus.isEmpty()) {
            env = QProcessEnvironment::systemEnvironment();
            const QString address = m_dir.filePath(QStringLiteral("bare-bus"));
            env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=") + address);
            if (bus == QLatin1String("bare")) { // no service folders
                const QString config = m_dir.filePath(QStringLiteral("bare-bus.conf"));
                QFile file(config);
                QVERIFY(file.open(QIODevice::WriteOnly));
                file.write(QStringLiteral(
                    "<busconfig><type>session</type><listen>unix:path=%1</listen>"
                    "<policy context=\"default\"><allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
                    "<allow own=\"*\"/></policy></busconfig>")
                               .arg(address)
                               .toUtf8());
                file.close();
                daemon.start(QStringLiteral("dbus-daemon"), { "--nofork", "--config-file", config });
                QTRY_VERIFY(QFile::exists(address));
            }
        }
        QString errors;
        QCOMPARE(capture(args, &errors, env), status);
        QVERIFY2(errors.contains(message), qPrintable(errors));
        verifyNothingWritten(path);
        verifyNothingWritten(QStringLiteral("/nonexistent/x"));
        if (daemon.state() != QProcess::NotRunning) {
            daemon.terminate();
            QVERIFY(daemon.waitForFinished());
        }
    }
};

QTEST_GUILESS_MAIN(TestCaptureToolWayland)
#include "tst_capturetool_wayland.moc"
