// Wayland compositors keep the keyboard to themselves; the desktop portal's
// GlobalShortcuts interface is not offered by the portals this build targets,
// so the null backend serves and the settings window says so.
#include "globalshortcutmonitor.h"

std::unique_ptr<GlobalShortcutMonitor> createNativeGlobalShortcutMonitor()
{
    return nullptr;
}
