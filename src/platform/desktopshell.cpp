#include "desktopshell.h"

std::unique_ptr<DesktopShell> createNativeDesktopShell(); // the build's backend, null when it cannot connect
std::unique_ptr<DesktopShell> createNullDesktopShell();

std::unique_ptr<DesktopShell> DesktopShell::create(const QString &backend)
{
    if (backend == QLatin1String("null"))
        return createNullDesktopShell();
    if (auto shell = createNativeDesktopShell())
        return shell;
    return createNullDesktopShell();
}

std::unique_ptr<DesktopShell> DesktopShell::create()
{
    return create(qEnvironmentVariable("TESSLY_PLATFORM_BACKEND"));
}
