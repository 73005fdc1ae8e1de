#include "serviceconfig.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTemporaryDir>
#include <QTest>

class TestServiceConfig : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init()
    {
        for (const char *name :
            { "TESSLY_API_URL", "TESSLY_WEB_DOMAIN", "TESSLY_URL_SCHEME", "TESSLY_APP_ID", "TESSLY_CA_FILE" })
            qunsetenv(name);
    }

    void buildDefaultsApplyWithoutEnvironment()
    {
        QVERIFY(Config::apiBaseUrl().isValid());
        QVERIFY(Config::apiBaseUrl().path().endsWith(QLatin1String("/")));
        QVERIFY(!Config::webDomain().isEmpty());
        QCOMPARE(Config::applicationId(), QStringLiteral("com.tessly.Cloud"));
        QCOMPARE(Config::urlScheme(), QStringLiteral("tessly"));
    }

    void environmentOverridesAtRunTime()
    {
        qputenv("TESSLY_API_URL", "http://127.0.0.1:8123/v1"); // no trailing slash given
        qputenv("TESSLY_WEB_DOMAIN", "localhost:8123");
        qputenv("TESSLY_URL_SCHEME", "tessly-dev");
        QCOMPARE(Config::apiBaseUrl(), QUrl(QStringLiteral("http://127.0.0.1:8123/v1/")));
        // Endpoint paths resolve under /v1/, not beside it.
        QCOMPARE(Config::apiBaseUrl().resolved(QUrl(QStringLiteral("users/me"))).toString(),
            QStringLiteral("http://127.0.0.1:8123/v1/users/me"));
        QCOMPARE(Config::webDomain(), QStringLiteral("localhost:8123"));
        QCOMPARE(Config::urlScheme(), QStringLiteral("tessly-dev"));
        qputenv("TESSLY_WEB_DOMAIN", "");
        QVERIFY(Config::webDomain() != QStringLiteral("localhost:8123")); // empty means unset
    }

    void extraCaFileIsTrusted()
    {
        QVERIFY(Config::installTrustedCaFile()); // none named: nothing to do

        const auto system = QSslConfiguration::systemCaCertificates();
        if (system.isEmpty())
            QSKIP("this machine has no system CA certificates to copy one from");
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("private-ca.pem"));
        QFile pem(path);
        QVERIFY(pem.open(QIODevice::WriteOnly));
        pem.write(system.first().toPem());
        pem.close();

        qputenv("TESSLY_CA_FILE", path.toLocal8Bit());
        QString error;
        QVERIFY2(Config::installTrustedCaFile(&error), qPrintable(error));
        QVERIFY(QSslConfiguration::defaultConfiguration().caCertificates().contains(system.first()));
    }

    void unusableCaFileIsAClearError()
    {
        QTemporaryDir dir;
        qputenv("TESSLY_CA_FILE", dir.filePath(QStringLiteral("missing.pem")).toLocal8Bit());
        QString error;
        QVERIFY(!Config::installTrustedCaFile(&error));
        QVERIFY2(error.contains(QLatin1String("missing.pem")), qPrintable(error));

        const QString junk = dir.filePath(QStringLiteral("junk.pem"));
        QFile file(junk);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("not a certificate\n");
        file.close();
        qputenv("TESSLY_CA_FILE", junk.toLocal8Bit());
        QVERIFY(!Config::installTrustedCaFile(&error));
        QVERIFY2(error.contains(QLatin1String("no PEM certificate")), qPrintable(error));
    }
};

QTEST_GUILESS_MAIN(TestServiceConfig)
#include "tst_serviceconfig.moc"
