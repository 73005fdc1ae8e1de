// Wayland compositors keep the keyboard to themselves; the only way in is the
// desktop portal's GlobalShortcuts interface, which GlobalShortcutMonitor::create()
// tries in a Wayland session whichever the build (globalshortcutmonitor_portal.cpp).
// Nothing else is native here: where the desktop lacks the interface, the
// null backend serves, the settings window says so, and the shortcuts stay
// stored.
#include "globalshortcutmonitor.h"

std::unique_ptr<GlobalShortcutMonitor> createNativeGlobalShortcutMonitor()
{
    return nullptr;
}
