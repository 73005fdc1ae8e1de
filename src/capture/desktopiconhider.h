#pragma once

#include "desktopshell.h"
#include "windowlist.h"

#include <memory>
#include <QList>
#include <QObject>
#include <QRect>

class OverlayWindowController;
class QScreen;

// Covers the desktop's icons during a capture, without touching the file
// manager that draws them: on every screen that shows a desktop window (EWMH
// type desktop), a click-through window holding the wallpaper (the root's
// _XROOTPMAP_ID picture) is laid just above it and below every ordinary
// window. Where no wallpaper is published, the cover is a click-through
// window inside the desktop window that shows the desktop window's own
// background (a desktop with neither stays as it is).
//
// It lives in capture, beside the screenshot service that owns it and calls
// it around each capture, because capture may not depend on core.
//
// Two states: shown (no overlays) and hidden (one overlay per covered
// screen). A workspace switch or a change of screens while hidden re-covers
// with fresh pictures. GUI thread only.
class DesktopIconHider : public QObject
{
    Q_OBJECT
public:
    explicit DesktopIconHider(QObject *parent = nullptr);
    ~DesktopIconHider() override;

    void hideDesktopIcons();
    void unhideDesktopIcons();
    void reapplyIfVisible();

    // The desktop window shown on the screen, 0 for none.
    quint32 findDesktopIconWindowIDOnScreen(QScreen *screen);
    // A window's frame in native pixels; a null rectangle when it is gone.
    QRect boundsForWindowID(quint32 windowId);

    const QList<OverlayWindowController *> &overlayControllers() const { return m_overlayControllers; }

private:
    void watchScreen(QScreen *screen);

    std::unique_ptr<DesktopShell> m_shell;
    std::unique_ptr<WindowList> m_windowList;
    QList<OverlayWindowController *> m_overlayControllers;
};
