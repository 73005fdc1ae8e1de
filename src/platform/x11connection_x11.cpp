#include "x11connection.h"

#include <xcb/xinput.h>

#include <cstdlib>
#include <cstring>

std::unique_ptr<X11Connection> X11Connection::open()
{
    int screenNumber = 0;
    xcb_connection_t *c = xcb_connect(nullptr, &screenNumber);
    if (!c || xcb_connection_has_error(c)) {
        if (c)
            xcb_disconnect(c);
        return nullptr;
    }
    std::unique_ptr<X11Connection> x(new X11Connection);
    x->m_connection = c;
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && it.rem; ++i)
        xcb_screen_next(&it);
    x->m_root = it.data->root;
    xcb_intern_atom_cookie_t *cookies = xcb_ewmh_init_atoms(c, &x->m_ewmh);
    x->m_ewmhReady = xcb_ewmh_init_atoms_replies(&x->m_ewmh, cookies, nullptr);
    if (!x->m_ewmhReady)
        return nullptr;
    return x;
}

X11Connection::~X11Connection()
{
    if (m_ewmhReady)
        xcb_ewmh_connection_wipe(&m_ewmh);
    if (m_connection)
        xcb_disconnect(m_connection);
}

xcb_atom_t X11Connection::atom(const char *name) const
{
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(
        m_connection, xcb_intern_atom(m_connection, 0, uint16_t(std::strlen(name)), name), nullptr);
    const xcb_atom_t atom = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return atom;
}

void X11Connection::sync() const
{
    std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
}

void X11Connection::selectRawInputEvents(uint32_t mask) const
{
    struct
    {
        xcb_input_event_mask_t head;
        uint32_t bits;
    } select {};
    select.head.deviceid = XCB_INPUT_DEVICE_ALL_MASTER;
    select.head.mask_len = 1;
    select.bits = mask;
    xcb_input_xi_select_events(m_connection, m_root, 1, &select.head);
}
