#pragma once

#include "frozendesktop.h"
#include "windowlist.h"

#include <memory>
#include <optional>
#include <QList>
#include <QObject>
#include <QRectF>

class SelectionWindow;

// The interactive part of a capture: the frozen, dimmed screens, one window on
// each, and what the user does on them.
//
// Region mode: a drag selects (a new drag starts over), the release or Return
// accepts, Escape cancels. Space switches to window mode, where the window
// under the pointer is highlighted and a click takes it; Space goes back.
// All geometry is global logical coordinates; windows come in native pixels
// and are converted through the frozen desktop.
class CaptureSession : public QObject
{
    Q_OBJECT
public:
    CaptureSession(FrozenDesktop desktop, QList<WindowInfo> windows, bool startInWindowMode);
    ~CaptureSession() override;

    void start();

    bool windowMode() const { return m_windowMode; }
    std::optional<QRectF> selection() const { return m_selection; }
    const WindowInfo *hoveredWindow() const { return m_hovered; }
    QPointF pointer() const { return m_pointer; }
    bool dragging() const { return m_dragging; }
    const FrozenDesktop &desktop() const { return m_desktop; }

    // The window's frame in logical coordinates.
    QRectF logicalFrame(const WindowInfo &window) const { return m_desktop.toLogical(window.frame); }

    // Input, forwarded by the windows in global logical coordinates.
    void press(const QPointF &global);
    void move(const QPointF &global);
    void release(const QPointF &global);
    void key(int key);

Q_SIGNALS:
    void regionSelected(const QRectF &logical);
    void windowSelected(const WindowInfo &window);
    void cancelled();

private:
    void update();
    void finish();
    const WindowInfo *windowAt(const QPointF &global) const;

    FrozenDesktop m_desktop;
    QList<WindowInfo> m_windows;
    QList<SelectionWindow *> m_views;
    bool m_windowMode = false;
    bool m_dragging = false;
    bool m_finished = false;
    QPointF m_anchor;
    QPointF m_pointer;
    std::optional<QRectF> m_selection;
    const WindowInfo *m_hovered = nullptr;
};
