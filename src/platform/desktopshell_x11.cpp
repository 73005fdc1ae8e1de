// X11 desktops publish their wallpaper as a pixmap on the root window
// (_XROOTPMAP_ID, or ESETROOT_PMAP_ID from older setters): feh, nitrogen,
// xfdesktop, pcmanfm and the GNOME and KDE X11 sessions all set it. Where
// none is published, the desktop window's own background is reached through a
// child window whose background is ParentRelative. The current workspace is the root's _NET_CURRENT_DESKTOP; its
// changes arrive as property notifications on a connection of our own.
#include "desktopshell.h"
#include "x11connection.h"

#include <cstdlib>
#include <QLoggingCategory>
#include <QPainter>
#include <QSocketNotifier>
#include <QTimer>
#include <xcb/shape.h>

Q_LOGGING_CATEGORY(lcDesktopShellX11, "tessly.platform.desktopshell")

namespace {

class X11DesktopShell final : public DesktopShell
{
public:
    explicit X11DesktopShell(std::unique_ptr<X11Connection> x)
        : m_x(std::move(x))
        , m_currentDesktopAtom(m_x->ewmh()->_NET_CURRENT_DESKTOP)
    {
        const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(m_x->connection(), m_x->root(), XCB_CW_EVENT_MASK, &mask);
        xcb_flush(m_x->connection());
        m_notifier = new QSocketNotifier(xcb_get_file_descriptor(m_x->connection()), QSocketNotifier::Read, this);
        connect(m_notifier, &QSocketNotifier::activated, this, &X11DesktopShell::drainEvents);
    }

    QString backendName() const override { return QStringLiteral("x11"); }

    QImage wallpaper(const QRect &nativeRect) override
    {
        QImage result;
        const xcb_pixmap_t pixmap = rootPixmap();
        if (pixmap != XCB_NONE && !nativeRect.isEmpty())
            result = tiled(pixmap, nativeRect);
        scheduleDrain();
        return result;
    }

    void stackAbove(QWindow *window, quint32 windowId) override
    {
        if (!window)
            return;
        const xcb_window_t sibling = topLevel(windowId);
        if (sibling == XCB_NONE)
            return;
        const uint32_t values[] = { sibling, XCB_STACK_MODE_ABOVE };
        xcb_configure_window(m_x->connection(), xcb_window_t(window->winId()),
            XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE, values);
        xcb_flush(m_x->connection());
    }

    quint32 coverWithOwnBackground(quint32 windowId, const QRect &nativeRect) override
    {
        xcb_connection_t *c = m_x->connection();
        xcb_translate_coordinates_reply_t *at = xcb_translate_coordinates_reply(c,
            xcb_translate_coordinates(c, m_x->root(), windowId, int16_t(nativeRect.x()), int16_t(nativeRect.y())),
            nullptr);
        if (!at)
            return 0;
        const QPoint local(at->dst_x, at->dst_y);
        std::free(at);
        // ParentRelative: the server paints the parent's background, lined up
        // with the parent, and keeps painting it on every exposure; the
        // client's drawing on the parent is clipped by its children.
        const xcb_window_t cover = xcb_generate_id(c);
        const uint32_t values[] = { XCB_BACK_PIXMAP_PARENT_RELATIVE };
        const xcb_void_cookie_t created = xcb_create_window_checked(c, XCB_COPY_FROM_PARENT, cover, windowId,
            int16_t(local.x()), int16_t(local.y()), uint16_t(nativeRect.width()), uint16_t(nativeRect.height()), 0,
            XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXMAP, values);
        if (xcb_generic_error_t *error = xcb_request_check(c, created)) {
            qCWarning(lcDesktopShellX11) << "cannot cover window" << Qt::hex << windowId << "error" << Qt::dec
                                         << error->error_code;
            std::free(error);
            return 0;
        }
        // No input region: clicks go to the window below, as if there were
        // no cover.
        xcb_shape_rectangles(
            c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED, cover, 0, 0, 0, nullptr);
        const uint32_t above[] = { XCB_STACK_MODE_ABOVE };
        xcb_configure_window(c, cover, XCB_CONFIG_WINDOW_STACK_MODE, above);
        xcb_map_window(c, cover);
        xcb_flush(c);
        return cover;
    }

    void removeCover(quint32 cover) override
    {
        if (cover == 0)
            return;
        xcb_destroy_window(m_x->connection(), cover);
        xcb_flush(m_x->connection());
    }

    void sync() override
    {
        m_x->sync();
        scheduleDrain();
    }

private:
    // The root's child that holds the window: the window manager's frame,
    // or the window itself when it is not reparented.
    xcb_window_t topLevel(xcb_window_t window) const
    {
        xcb_connection_t *c = m_x->connection();
        for (int depth = 0; depth < 16; ++depth) {
            xcb_query_tree_reply_t *tree = xcb_query_tree_reply(c, xcb_query_tree(c, window), nullptr);
            if (!tree)
                return XCB_NONE;
            const xcb_window_t parent = tree->parent;
            std::free(tree);
            if (parent == m_x->root() || parent == XCB_NONE)
                return window;
            window = parent;
        }
        return XCB_NONE;
    }

    xcb_pixmap_t rootPixmap() const
    {
        for (const char *name : { "_XROOTPMAP_ID", "ESETROOT_PMAP_ID" }) {
            const xcb_atom_t atom = m_x->atom(name);
            if (atom == XCB_ATOM_NONE)
                continue;
            xcb_connection_t *c = m_x->connection();
            xcb_get_property_reply_t *reply
                = xcb_get_property_reply(c, xcb_get_property(c, 0, m_x->root(), atom, XCB_ATOM_PIXMAP, 0, 1), nullptr);
            xcb_pixmap_t pixmap = XCB_NONE;
            if (reply && xcb_get_property_value_length(reply) >= 4)
                pixmap = *static_cast<const xcb_pixmap_t *>(xcb_get_property_value(reply));
            std::free(reply);
            if (pixmap != XCB_NONE)
                return pixmap;
        }
        return XCB_NONE;
    }

    // The pixmap is laid from the root's origin and repeated when it is
    // smaller than the root, as the root's background shows it.
    QImage tiled(xcb_pixmap_t pixmap, const QRect &rect) const
    {
        xcb_connection_t *c = m_x->connection();
        xcb_get_geometry_reply_t *geometry = xcb_get_geometry_reply(c, xcb_get_geometry(c, pixmap), nullptr);
        if (!geometry)
            return {};
        const QSize size(geometry->width, geometry->height);
        const int depth = geometry->depth;
        std::free(geometry);
        if (depth != 24 && depth != 32) {
            qCWarning(lcDesktopShellX11) << "wallpaper pixmap of depth" << depth << "is not supported";
            return {};
        }
        xcb_get_image_reply_t *image = xcb_get_image_reply(c,
            xcb_get_image(
                c, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, 0, 0, uint16_t(size.width()), uint16_t(size.height()), ~0u),
            nullptr);
        if (!image)
            return {};
        const int bytes = xcb_get_image_data_length(image);
        QImage source;
        if (bytes >= size.width() * size.height() * 4) {
            source
                = QImage(xcb_get_image_data(image), size.width(), size.height(), size.width() * 4, QImage::Format_RGB32)
                      .copy();
        }
        std::free(image);
        if (source.isNull())
            return {};

        QImage result(rect.size(), QImage::Format_RGB32);
        QPainter painter(&result);
        painter.setBrushOrigin(-rect.topLeft());
        painter.fillRect(result.rect(), QBrush(source));
        return result;
    }

    void scheduleDrain()
    {
        // Replies may have pulled events into xcb's queue, where the socket
        // notifier does not see them.
        QTimer::singleShot(0, this, &X11DesktopShell::drainEvents);
    }

    void drainEvents()
    {
        bool switched = false;
        while (xcb_generic_event_t *event = xcb_poll_for_event(m_x->connection())) {
            if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
                const auto *property = reinterpret_cast<xcb_property_notify_event_t *>(event);
                if (property->window == m_x->root() && property->atom == m_currentDesktopAtom)
                    switched = true;
            }
            std::free(event);
        }
        if (switched)
            Q_EMIT workspaceChanged();
    }

    std::unique_ptr<X11Connection> m_x;
    xcb_atom_t m_currentDesktopAtom;
    QSocketNotifier *m_notifier = nullptr;
};

} // namespace

std::unique_ptr<DesktopShell> createNativeDesktopShell()
{
    std::unique_ptr<X11Connection> x = X11Connection::open();
    if (!x)
        return nullptr;
    return std::make_unique<X11DesktopShell>(std::move(x));
}
