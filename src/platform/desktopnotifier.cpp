#include "desktopnotifier.h"

#include <QDBusConnection>

std::unique_ptr<DesktopNotifier> createFreedesktopNotifier();
std::unique_ptr<DesktopNotifier> createNullNotifier();

std::unique_ptr<DesktopNotifier> DesktopNotifier::create(const QString &backend)
{
    if (backend == QLatin1String("null"))
        return createNullNotifier();
    return createFreedesktopNotifier();
}

DesktopNotifier &DesktopNotifier::instance()
{
    static const std::unique_ptr<DesktopNotifier> notifier = [] {
        QString backend = qEnvironmentVariable("TESSLY_PLATFORM_BACKEND");
        if (backend.isEmpty() && !QDBusConnection::sessionBus().isConnected())
            backend = QStringLiteral("null");
        return create(backend);
    }();
    return *notifier;
}
