#pragma once

#include "capturepanelmodel.h"
#include "windowlist.h"

#include <functional>
#include <memory>
#include <QList>

// The windows the capture panel snaps to and lets the user pick: the window
// manager's list (EWMH stacking order, frames with their decorations),
// top-most first, in Qt's global points.
class TLWindowInspector
{
public:
    TLWindowInspector();
    explicit TLWindowInspector(std::unique_ptr<WindowList> list);
    ~TLWindowInspector();

    QList<CapturePanelModel::WindowFrame> getWindowRects() const;

    // Which windows count: ordinary ones (no docks, panels or the desktop),
    // not this process's, at least 50x50 points. `toLogical` turns a native
    // frame into global points.
    static QList<CapturePanelModel::WindowFrame> windowRects(
        const QList<WindowInfo> &windows, qint64 ownPid, const std::function<QRectF(const QRect &native)> &toLogical);

    // Native (root-window pixels) to Qt's global points, by the screen that
    // holds the frame's centre.
    static QRectF toLogical(const QRect &native);

private:
    std::unique_ptr<WindowList> m_list;
};
