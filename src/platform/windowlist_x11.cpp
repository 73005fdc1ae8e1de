// The window list from the window manager's EWMH properties:
// _NET_CLIENT_LIST_STACKING for the order, _NET_FRAME_EXTENTS for the
// decorations, _NET_WM_PID, _NET_WM_NAME (WM_NAME as fallback) and
// _NET_WM_WINDOW_TYPE. Desktop windows that the window manager does not list
// (some file managers draw the desktop unmanaged) are found among the root
// window's children.
#include "windowlist.h"
#include "x11connection.h"

#include <cstdlib>

namespace {

template<typename T> struct Reply
{
    T *p;
    explicit Reply(T *reply)
        : p(reply)
    {
    }
    ~Reply() { std::free(p); }
    Reply(const Reply &) = delete;
    Reply &operator=(const Reply &) = delete;
    T *operator->() const { return p; }
    explicit operator bool() const { return p != nullptr; }
};

class X11WindowList final : public WindowList
{
public:
    explicit X11WindowList(std::unique_ptr<X11Connection> x)
        : m_x(std::move(x))
    {
    }

    QString backendName() const override { return QStringLiteral("x11"); }

    QList<WindowInfo> windows() const override
    {
        QList<xcb_window_t> ids;
        xcb_ewmh_get_windows_reply_t list;
        if (xcb_ewmh_get_client_list_stacking_reply(
                m_x->ewmh(), xcb_ewmh_get_client_list_stacking(m_x->ewmh(), 0), &list, nullptr)) {
            for (uint32_t i = list.windows_len; i > 0; --i) // bottom-to-top in the property
                ids << list.windows[i - 1];
            xcb_ewmh_get_windows_reply_wipe(&list);
        }

        QList<WindowInfo> result;
        QList<WindowInfo> desktops;
        for (xcb_window_t id : ids) {
            if (!isViewable(id))
                continue;
            if (std::optional<WindowInfo> info = window(id))
                (info->type == WindowInfo::Type::Desktop ? desktops : result) << *info;
        }
        for (xcb_window_t id : unmanagedDesktopWindows(ids)) {
            if (std::optional<WindowInfo> info = window(id))
                desktops << *info;
        }
        return result + desktops;
    }

    std::optional<WindowInfo> window(quint32 id) const override
    {
        xcb_connection_t *c = m_x->connection();
        Reply<xcb_get_geometry_reply_t> geometry(xcb_get_geometry_reply(c, xcb_get_geometry(c, id), nullptr));
        if (!geometry)
            return std::nullopt;
        Reply<xcb_translate_coordinates_reply_t> origin(
            xcb_translate_coordinates_reply(c, xcb_translate_coordinates(c, id, m_x->root(), 0, 0), nullptr));
        if (!origin)
            return std::nullopt;

        WindowInfo info;
        info.id = id;
        info.frame = QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
        xcb_ewmh_get_extents_reply_t extents;
        if (xcb_ewmh_get_frame_extents_reply(
                m_x->ewmh(), xcb_ewmh_get_frame_extents(m_x->ewmh(), id), &extents, nullptr)) {
            info.frame.adjust(-int(extents.left), -int(extents.top), int(extents.right), int(extents.bottom));
        }
        uint32_t pid = 0;
        if (xcb_ewmh_get_wm_pid_reply(m_x->ewmh(), xcb_ewmh_get_wm_pid(m_x->ewmh(), id), &pid, nullptr))
            info.pid = pid;
        info.title = title(id);
        info.type = type(id);
        return info;
    }

private:
    bool isViewable(xcb_window_t id) const
    {
        xcb_connection_t *c = m_x->connection();
        Reply<xcb_get_window_attributes_reply_t> attributes(
            xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, id), nullptr));
        return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    }

    QString title(xcb_window_t id) const
    {
        xcb_ewmh_get_utf8_strings_reply_t name;
        if (xcb_ewmh_get_wm_name_reply(m_x->ewmh(), xcb_ewmh_get_wm_name(m_x->ewmh(), id), &name, nullptr)) {
            const QString text = QString::fromUtf8(name.strings, int(name.strings_len));
            xcb_ewmh_get_utf8_strings_reply_wipe(&name);
            return text;
        }
        xcb_connection_t *c = m_x->connection();
        Reply<xcb_get_property_reply_t> legacy(xcb_get_property_reply(
            c, xcb_get_property(c, 0, id, XCB_ATOM_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY, 0, 1024), nullptr));
        if (!legacy)
            return {};
        return QString::fromLatin1(
            static_cast<const char *>(xcb_get_property_value(legacy.p)), xcb_get_property_value_length(legacy.p));
    }

    WindowInfo::Type type(xcb_window_t id) const
    {
        xcb_ewmh_get_atoms_reply_t types;
        if (!xcb_ewmh_get_wm_window_type_reply(
                m_x->ewmh(), xcb_ewmh_get_wm_window_type(m_x->ewmh(), id), &types, nullptr)) {
            return WindowInfo::Type::Normal; // no type: a normal window, says EWMH
        }
        WindowInfo::Type result = WindowInfo::Type::Other;
        if (types.atoms_len > 0) {
            const xcb_atom_t first = types.atoms[0];
            if (first == m_x->ewmh()->_NET_WM_WINDOW_TYPE_DESKTOP)
                result = WindowInfo::Type::Desktop;
            else if (first == m_x->ewmh()->_NET_WM_WINDOW_TYPE_DOCK)
                result = WindowInfo::Type::Dock;
            else if (first == m_x->ewmh()->_NET_WM_WINDOW_TYPE_NORMAL
                || first == m_x->ewmh()->_NET_WM_WINDOW_TYPE_DIALOG)
                result = WindowInfo::Type::Normal;
        }
        xcb_ewmh_get_atoms_reply_wipe(&types);
        return result;
    }

    QList<xcb_window_t> unmanagedDesktopWindows(const QList<xcb_window_t> &managed) const
    {
        QList<xcb_window_t> found;
        xcb_connection_t *c = m_x->connection();
        Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, m_x->root()), nullptr));
        if (!tree)
            return found;
        const xcb_window_t *children = xcb_query_tree_children(tree.p);
        for (int i = xcb_query_tree_children_length(tree.p); i > 0; --i) { // top-most first
            const xcb_window_t child = children[i - 1];
            if (!managed.contains(child) && isViewable(child) && type(child) == WindowInfo::Type::Desktop)
                found << child;
        }
        return found;
    }

    std::unique_ptr<X11Connection> m_x;
};

} // namespace

std::unique_ptr<WindowList> createNativeWindowList()
{
    std::unique_ptr<X11Connection> x = X11Connection::open();
    if (!x)
        return nullptr;
    return std::make_unique<X11WindowList>(std::move(x));
}
