#include "windowlist.h"

std::unique_ptr<WindowList> createNativeWindowList(); // the build's backend, null when it cannot connect
std::unique_ptr<WindowList> createNullWindowList();

std::unique_ptr<WindowList> WindowList::create(const QString &backend)
{
    if (backend == QLatin1String("null"))
        return createNullWindowList();
    if (auto list = createNativeWindowList())
        return list;
    return createNullWindowList();
}

std::unique_ptr<WindowList> WindowList::create()
{
    return create(qEnvironmentVariable("TESSLY_PLATFORM_BACKEND"));
}
