#pragma once

#include <memory>
#include <QObject>
#include <QString>

// The pointer's buttons over the whole desktop, whichever application's
// window they are pressed in: whether one is held now, and each press and
// release while listening. A panel that closes on a click elsewhere uses it to
// tell a click (closes) from a press that starts a drag towards it (stays).
//
// create() gives the build's backend. X11: XInput 2 raw button events on the
// root window, which the server sends whoever grabs the pointer (a drag's
// source does), and the core pointer's button state. Without a reachable X
// server, without XInput 2, with TESSLY_PLATFORM_BACKEND=null, and in builds
// for other display servers, the monitor knows nothing: no button is ever
// held and no event comes. Everything runs on the GUI thread.
class PointerButtonMonitor : public QObject
{
    Q_OBJECT
public:
    static std::unique_ptr<PointerButtonMonitor> create();

    virtual QString backendName() const = 0;

    // Whether the left, middle or right button is held now (asks the
    // display server; the wheel's steps are no buttons here).
    virtual bool isButtonHeld() = 0;

    // Presses and releases come only while listening, which is off at
    // first: a listening process wakes for every click on the desktop.
    virtual void setListening(bool listening) = 0;

Q_SIGNALS:
    void pressed();
    void released();
};
