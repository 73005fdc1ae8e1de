# Deployment values. Each is a cache option here and can be overridden at run
# time by the environment variable of the same name (see src/common/config.h).
set(TESSLY_API_URL            "https://api.tessly.cloud/v1/" CACHE STRING "Service API base URL (ends with /v1/)")
set(TESSLY_WEB_DOMAIN         "tessly.cloud"                 CACHE STRING "Service web domain; profiles are its subdomains")
set(TESSLY_URL_SCHEME         "tessly"                       CACHE STRING "The application's own URL scheme (login callback)")
set(TESSLY_APP_ID             "com.tessly.Cloud"             CACHE STRING "Application identifier (data folder, desktop entry)")
set(TESSLY_SUPPORT_EMAIL      "support@tessly.cloud"         CACHE STRING "Support mail address")
set(TESSLY_SHORTCUTS_HELP_URL "https://tessly.cloud/help/shortcuts" CACHE STRING "Help page for global shortcuts")
set(TESSLY_BUILD_NUMBER     "1"                            CACHE STRING "Build number shown beside the version")
