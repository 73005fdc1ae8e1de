#pragma once

#include <memory>
#include <QByteArray>
#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

// A connection of our own to the X server named by DISPLAY, with the EWMH
// atoms interned. The X11 adapters use it instead of Qt's, so they work in any
// process, with or without a Qt GUI on xcb. Used by the *_x11.cpp files only.
class X11Connection
{
public:
    // Nothing when no X server answers.
    static std::unique_ptr<X11Connection> open();
    ~X11Connection();

    X11Connection(const X11Connection &) = delete;
    X11Connection &operator=(const X11Connection &) = delete;

    xcb_connection_t *connection() const { return m_connection; }
    xcb_ewmh_connection_t *ewmh() { return &m_ewmh; }
    xcb_window_t root() const { return m_root; }
    xcb_atom_t atom(const char *name) const;

    // Round trip: every request sent so far has been handled by the server.
    void sync() const;

    // Raw XInput 2 events of every master device, selected on the root
    // window: what the user does anywhere on the desktop, also while another
    // client grabs the pointer. `mask` is XCB_INPUT_XI_EVENT_MASK_RAW_* bits;
    // 0 stops them. Needs XInput 2.1, which the caller has checked.
    void selectRawInputEvents(uint32_t mask) const;

private:
    X11Connection() = default;

    xcb_connection_t *m_connection = nullptr;
    xcb_ewmh_connection_t m_ewmh {};
    bool m_ewmhReady = false;
    xcb_window_t m_root = 0;
};
