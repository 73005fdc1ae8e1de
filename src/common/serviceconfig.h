#pragma once

#include <QString>
#include <QUrl>

// Values a deployment chooses. Each has a build-time default (CMake cache
// option of the same name) and is overridden at run time by the environment
// variable of the same name, which is how tests and self-hosted setups point
// the client at their own service:
//
//   TESSLY_API_URL            service API base, ending in "/v1/"
//   TESSLY_WEB_DOMAIN         web domain; profiles are its subdomains
//   TESSLY_URL_SCHEME         the application's own URL scheme (login callback)
//   TESSLY_APP_ID             application identifier (data folder, desktop entry)
//   TESSLY_SUPPORT_EMAIL      support mail address
//   TESSLY_SHORTCUTS_HELP_URL help page for global shortcuts
//   TESSLY_CA_FILE            extra trusted CA certificates (PEM), e.g. a private CA
namespace Config {

QUrl apiBaseUrl();
QString webDomain();
QString urlScheme();
QString applicationId();
QString supportEmail();
QUrl shortcutsHelpUrl();
QString caFile();

// Adds the certificates of caFile() to the default TLS configuration, next to
// the system's. Returns false with a message when the file is named but
// unreadable or holds no certificate; true when none is named.
bool installTrustedCaFile(QString *error = nullptr);

} // namespace Config
