#include "clipboardmanager.h"
#include "x11connection.h"

#include <cstdlib>

namespace ClipboardManager {

bool isRunning()
{
    const auto x11 = X11Connection::open();
    if (!x11)
        return false;
    xcb_connection_t *c = x11->connection();
    xcb_get_selection_owner_reply_t *reply
        = xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, x11->atom("CLIPBOARD_MANAGER")), nullptr);
    const bool owned = reply && reply->owner != XCB_NONE;
    std::free(reply);
    return owned;
}

} // namespace ClipboardManager
