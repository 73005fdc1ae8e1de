// Handing a finished movie to an application by its desktop entry's Exec line.
#include "desktopentry.h"

#include <QTest>

class TestDesktopEntry : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void execLineTakesTheFile_data()
    {
        QTest::addColumn<QString>("exec");
        QTest::addColumn<QStringList>("expected");
        const QString file = QStringLiteral("/tmp/Screen Capture on 2025-03-07 at 09-05-03.mov");
        const QString url = QStringLiteral("file:///tmp/Screen%20Capture%20on%202025-03-07%20at%2009-05-03.mov");
        QTest::newRow("%f") << "tessly open %f" << QStringList { "tessly", "open", file };
        QTest::newRow("%U") << "tessly %U" << QStringList { "tessly", url };
        QTest::newRow("no code: appended") << "/usr/bin/tessly open" << QStringList { "/usr/bin/tessly", "open", file };
        QTest::newRow("icon and name codes dropped") << "app %i %c %k %F" << QStringList { "app", file };
        QTest::newRow("quoting and escapes")
            << "\"/opt/My App/bin/app\" --title \"say \\\"hi\\\"\" 100%% %f"
            << QStringList { "/opt/My App/bin/app", "--title", "say \"hi\"", "100%", file };
        QTest::newRow("unterminated quote") << "\"app %f" << QStringList {};
        QTest::newRow("empty") << "" << QStringList {};
    }

    void execLineTakesTheFile()
    {
        QFETCH(QString, exec);
        QFETCH(QStringList, expected);
        QCOMPARE(DesktopEntry::execArguments(exec, QStringLiteral("/tmp/Screen Capture on 2025-03-07 at 09-05-03.mov")),
            expected);
    }

    void unknownApplicationIsAnError()
    {
        QString error;
        QVERIFY(
            !DesktopEntry::launch(QStringLiteral("org.example.NotInstalled"), QStringLiteral("/tmp/x.mov"), &error));
        QVERIFY(error.contains(QStringLiteral("org.example.NotInstalled")));
    }
};

QTEST_GUILESS_MAIN(TestDesktopEntry)
#include "tst_desktopentry.moc"
