#pragma once

#include <memory>
#include <QImage>
#include <QRect>

class DesktopShell;
class QLabel;
class QWidget;

// One cover over a screen's desktop icons: a borderless window holding one
// picture (overlayImage) that lets every click through, stacked right above
// the desktop window and so below every ordinary window.
//
// It bypasses the window manager: a managed window sits inside the manager's
// frame, which catches the clicks the window lets through (openbox, xfwm4 and
// others do not pass input shapes on to their frames), and the manager's
// "below" layer would still leave it above the desktop only by convention.
// Stacked by hand above the desktop window it is below the same windows the
// desktop is, on every workspace, since the manager does not hide it.
//
// Where the desktop publishes no wallpaper the cover is instead a window that
// the desktop shell made inside the desktop window, showing that window's own
// background (DesktopShell::coverWithOwnBackground); the controller owns it
// and has no Qt window then.
class OverlayWindowController
{
public:
    OverlayWindowController();
    OverlayWindowController(DesktopShell *shell, quint32 nativeCover);
    ~OverlayWindowController();

    OverlayWindowController(const OverlayWindowController &) = delete;
    OverlayWindowController &operator=(const OverlayWindowController &) = delete;

    // The picture's window; null for a cover inside the desktop window.
    QWidget *window() const { return m_window.get(); }
    QLabel *overlayImage() const { return m_overlayImage; }
    // The cover inside the desktop window; 0 for a picture.
    quint32 nativeCover() const { return m_nativeCover; }

    // The picture, in device pixels of a screen with this ratio.
    void setPicture(const QImage &picture, qreal devicePixelRatio);

private:
    std::unique_ptr<QWidget> m_window;
    QLabel *m_overlayImage = nullptr;
    DesktopShell *m_shell = nullptr;
    quint32 m_nativeCover = 0;
};
