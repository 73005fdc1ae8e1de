#include "serviceconfig.h"

#include "config_defaults.h"

#include <QFile>
#include <QSslCertificate>
#include <QSslConfiguration>

namespace Config {

static QString value(const char *variable, const char *fallback)
{
    const QString fromEnv = qEnvironmentVariable(variable);
    return fromEnv.isEmpty() ? QString::fromUtf8(fallback) : fromEnv;
}

QUrl apiBaseUrl()
{
    QString url = value("TESSLY_API_URL", TESSLY_DEFAULT_API_URL);
    if (!url.endsWith(QLatin1Char('/')))
        url += QLatin1Char('/');
    return QUrl(url);
}

QString webDomain()
{
    return value("TESSLY_WEB_DOMAIN", TESSLY_DEFAULT_WEB_DOMAIN);
}
QString urlScheme()
{
    return value("TESSLY_URL_SCHEME", TESSLY_DEFAULT_URL_SCHEME);
}
QString applicationId()
{
    return value("TESSLY_APP_ID", TESSLY_DEFAULT_APP_ID);
}
QString supportEmail()
{
    return value("TESSLY_SUPPORT_EMAIL", TESSLY_DEFAULT_SUPPORT_EMAIL);
}
QUrl shortcutsHelpUrl()
{
    return QUrl(value("TESSLY_SHORTCUTS_HELP_URL", TESSLY_DEFAULT_SHORTCUTS_HELP_URL));
}
QString caFile()
{
    return qEnvironmentVariable("TESSLY_CA_FILE");
}

bool installTrustedCaFile(QString *error)
{
    const QString path = caFile();
    if (path.isEmpty())
        return true;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = QStringLiteral("Cannot read the CA file %1: %2").arg(path, file.errorString());
        return false;
    }
    const QList<QSslCertificate> certificates = QSslCertificate::fromData(file.readAll(), QSsl::Pem);
    if (certificates.isEmpty()) {
        if (error)
            *error = QStringLiteral("The CA file %1 holds no PEM certificate").arg(path);
        return false;
    }
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.addCaCertificates(certificates);
    QSslConfiguration::setDefaultConfiguration(tls);
    return true;
}

} // namespace Config
