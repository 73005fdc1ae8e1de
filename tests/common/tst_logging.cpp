#include "logcapture.h"
#include "logging.h"

#include <QLoggingCategory>
#include <QTest>

Q_LOGGING_CATEGORY(lcTestApi, "tessly.test.api")

class TestLogging : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void masksSecrets()
    {
        QCOMPARE(Logging::maskSecret(QStringLiteral("tk_4f9a8b7c6d")), QStringLiteral("tk_4…"));
        QCOMPARE(Logging::maskSecret(QStringLiteral("abcd")), QStringLiteral("…"));
        QCOMPARE(Logging::maskSecret(QString()), QStringLiteral("…"));
    }

    void linesHoldNoSecretsAndDriveNoTerminal_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("expected");
        QTest::newRow("authorization header") << "header Authorization: Bearer tk_secret123"
                                              << "header Authorization: Bearer …";
        QTest::newRow("presigned url")
            << "[API] PUT "
               "https://s3.local/b/"
               "k?X-Amz-Algorithm=AWS4-HMAC-SHA256&X-Amz-Credential=AKIA%2F20261123&X-Amz-Signature=0a1b2c3d&X-Amz-"
               "Expires=900"
            << "[API] PUT "
               "https://s3.local/b/"
               "k?X-Amz-Algorithm=AWS4-HMAC-SHA256&X-Amz-Credential=…&X-Amz-Signature=…&X-Amz-Expires=900";
        QTest::newRow("login callback") << "open tessly://login?token=tk_abc&domain=alice"
                                        << "open tessly://login?token=…&domain=alice";
        QTest::newRow("json body") << "body {\"token\": \"tk_abc\", \"email\": \"a@b.c\"}"
                                   << "body {\"token\": \"…\", \"email\": \"a@b.c\"}";
        QTest::newRow("ordinary line untouched") << "FileUploadTask - start /tmp/Screen Shot.png"
                                                 << "FileUploadTask - start /tmp/Screen Shot.png";
        // A file name must not drive the terminal the log is read on.
        QTest::newRow("escape sequence in a name")
            << QStringLiteral("FileUploadTask - init evil\x1b]0;pwned\x07\x9b.txt")
            << QStringLiteral("FileUploadTask - init evil\\x1B]0;pwned\\x07\\x9B.txt");
        QTest::newRow("direction override")
            << QStringLiteral("Filename: /tmp/gpj.\u202Eexe") << QStringLiteral("Filename: /tmp/gpj.\\u202Eexe");
        QTest::newRow("line breaks, tabs and backslashes stay")
            << QStringLiteral("a\tb\nc\\d") << QStringLiteral("a\tb\nc\\d");
    }

    void linesHoldNoSecretsAndDriveNoTerminal()
    {
        QFETCH(QString, line);
        QFETCH(QString, expected);
        QCOMPARE(Logging::loggedLine(Logging::redact(line)), expected);

        LogCapture log;
        qCInfo(lcTestApi).noquote() << line;
        QVERIFY2(log.contains(expected), qPrintable(log.lines().join('\n')));
    }
};

QTEST_GUILESS_MAIN(TestLogging)
#include "tst_logging.moc"
