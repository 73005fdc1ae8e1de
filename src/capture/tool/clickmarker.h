#pragma once

#include <memory>
#include <QObject>
#include <QPoint>

// Shows mouse clicks while a recording runs: every press of a mouse button,
// wherever it goes, gets a short ring around the pointer that fades within a
// fraction of a second. The rings live in small windows above everything that
// let clicks through to what lies below, so the screen recorder sees them and
// the user's clicks still land.
//
// create() gives the build's backend (X11: XInput2 raw button events on the
// root window, shaped override-redirect windows); nothing when the display
// cannot do it, and the recording goes on without rings.
class ClickMarker : public QObject
{
    Q_OBJECT
public:
    static std::unique_ptr<ClickMarker> create();

    // Outer diameter at the start, in native pixels, and how long a ring shows.
    static constexpr int kDiameter = 30;
    static constexpr int kLifetimeMs = 400;

    // Opaque, so that it survives the encoder: no compositor is needed to see
    // it, and a recording of a light or dark screen shows it alike.
    static constexpr unsigned kColor = 0xff5a1e; // RGB

Q_SIGNALS:
    // A ring went up around this root-window pixel.
    void marked(const QPoint &native);

protected:
    using QObject::QObject;
};
