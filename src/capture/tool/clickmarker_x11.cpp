// Clicks come as XInput2 raw button presses selected on the root window: the
// server sends those whichever window the click goes to and whoever grabs the
// pointer, and they do not take the click from anyone. Raw events carry no
// position, so the pointer is asked for it.
//
// A ring is an override-redirect window of the ring's colour whose bounding
// shape is the ring and whose input shape is empty: it needs no compositor to
// look right, and clicks go through it. Where a compositor runs, the ring
// also fades through _NET_WM_WINDOW_OPACITY; without one it grows a little and
// goes.
#include "clickmarker.h"
#include "x11connection.h"

#include <algorithm>
#include <cstdlib>
#include <list>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QSocketNotifier>
#include <QTimer>
#include <xcb/shape.h>
#include <xcb/xinput.h>

Q_LOGGING_CATEGORY(lcClickMarker, "tessly.capture.clickmarker")

namespace {

constexpr int kGrowth = 8; // the diameter grows by this much over the lifetime
constexpr int kLineWidth = 3;
constexpr int kWindowSize = ClickMarker::kDiameter + kGrowth + 2;
constexpr int kFrameMs = 40;

class X11ClickMarker final : public ClickMarker
{
public:
    X11ClickMarker(std::unique_ptr<X11Connection> x, uint8_t xinputOpcode)
        : m_x(std::move(x))
        , m_xinputOpcode(xinputOpcode)
        , m_opacityAtom(m_x->atom("_NET_WM_WINDOW_OPACITY"))
    {
        xcb_connection_t *c = m_x->connection();
        m_pixel = allocColor();

        m_x->selectRawInputEvents(XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS);
        m_x->sync();

        m_notifier = new QSocketNotifier(xcb_get_file_descriptor(c), QSocketNotifier::Read, this);
        connect(m_notifier, &QSocketNotifier::activated, this, &X11ClickMarker::drainEvents);
        m_frames.setInterval(kFrameMs);
        connect(&m_frames, &QTimer::timeout, this, &X11ClickMarker::animate);
        drainEvents();
    }

    ~X11ClickMarker() override
    {
        for (const Ring &ring : m_rings)
            xcb_destroy_window(m_x->connection(), ring.window);
        xcb_flush(m_x->connection());
    }

private:
    struct Ring
    {
        xcb_window_t window;
        QElapsedTimer age;
    };

    uint32_t allocColor() const
    {
        xcb_connection_t *c = m_x->connection();
        const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
        const auto channel = [](unsigned shift) { return uint16_t(((kColor >> shift) & 0xff) * 0x101); };
        xcb_alloc_color_reply_t *reply = xcb_alloc_color_reply(
            c, xcb_alloc_color(c, screen->default_colormap, channel(16), channel(8), channel(0)), nullptr);
        const uint32_t pixel = reply ? reply->pixel : screen->white_pixel;
        std::free(reply);
        return pixel;
    }

    void drainEvents()
    {
        while (xcb_generic_event_t *event = xcb_poll_for_event(m_x->connection())) {
            if ((event->response_type & 0x7f) == XCB_GE_GENERIC) {
                const auto *ge = reinterpret_cast<const xcb_ge_generic_event_t *>(event);
                if (ge->extension == m_xinputOpcode && ge->event_type == XCB_INPUT_RAW_BUTTON_PRESS) {
                    const auto *press = reinterpret_cast<const xcb_input_raw_button_press_event_t *>(event);
                    // 4 to 7 are the wheel's steps, not clicks.
                    if (press->detail < 4 || press->detail > 7)
                        mark();
                }
            }
            std::free(event);
        }
    }

    void mark()
    {
        xcb_connection_t *c = m_x->connection();
        xcb_query_pointer_reply_t *pointer = xcb_query_pointer_reply(c, xcb_query_pointer(c, m_x->root()), nullptr);
        if (!pointer)
            return;
        const QPoint at(pointer->root_x, pointer->root_y);
        std::free(pointer);

        const xcb_window_t window = xcb_generate_id(c);
        const uint32_t values[] = { m_pixel, 1 };
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window, m_x->root(), int16_t(at.x() - kWindowSize / 2),
            int16_t(at.y() - kWindowSize / 2), kWindowSize, kWindowSize, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
            XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        xcb_shape_rectangles(
            c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED, window, 0, 0, 0, nullptr);
        static const char title[] = "Tessly Cloud click";
        xcb_change_property(
            c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, sizeof(title) - 1, title);
        m_rings.push_back({ window, {} });
        m_rings.back().age.start();
        draw(m_rings.back());
        xcb_map_window(c, window);
        xcb_flush(c);
        qCDebug(lcClickMarker) << "click at" << at;
        Q_EMIT marked(at);
        if (!m_frames.isActive())
            m_frames.start();
        // The reply may have pulled events into xcb's queue, where the socket
        // notifier does not see them.
        QTimer::singleShot(0, this, &X11ClickMarker::drainEvents);
    }

    // Shapes the ring for its age and keeps it on top: the window manager
    // may raise the window that was just clicked right after the ring went up.
    void draw(const Ring &ring)
    {
        xcb_connection_t *c = m_x->connection();
        const double t = std::min(1.0, ring.age.elapsed() / double(kLifetimeMs));
        const int diameter = kDiameter + int(kGrowth * t);

        const xcb_pixmap_t mask = xcb_generate_id(c);
        xcb_create_pixmap(c, 1, mask, ring.window, kWindowSize, kWindowSize);
        const xcb_gcontext_t gc = xcb_generate_id(c);
        const uint32_t clear[] = { 0 };
        xcb_create_gc(c, gc, mask, XCB_GC_FOREGROUND, clear);
        const xcb_rectangle_t all { 0, 0, kWindowSize, kWindowSize };
        xcb_poly_fill_rectangle(c, mask, gc, 1, &all);
        const uint32_t pen[] = { 1, kLineWidth };
        xcb_change_gc(c, gc, XCB_GC_FOREGROUND | XCB_GC_LINE_WIDTH, pen);
        // A wide arc's line is centred on the arc: inset by half the width.
        const int inset = (kWindowSize - diameter) / 2 + kLineWidth / 2;
        const xcb_arc_t arc { int16_t(inset), int16_t(inset), uint16_t(diameter - kLineWidth),
            uint16_t(diameter - kLineWidth), 0, 360 * 64 };
        xcb_poly_arc(c, mask, gc, 1, &arc);
        xcb_shape_mask(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, ring.window, 0, 0, mask);
        xcb_free_gc(c, gc);
        xcb_free_pixmap(c, mask);

        const uint32_t opacity = uint32_t((1.0 - t) * 0xffffffffu);
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, ring.window, m_opacityAtom, XCB_ATOM_CARDINAL, 32, 1, &opacity);
        const uint32_t above[] = { XCB_STACK_MODE_ABOVE };
        xcb_configure_window(c, ring.window, XCB_CONFIG_WINDOW_STACK_MODE, above);
    }

    void animate()
    {
        xcb_connection_t *c = m_x->connection();
        for (auto it = m_rings.begin(); it != m_rings.end();) {
            if (it->age.elapsed() >= kLifetimeMs) {
                xcb_destroy_window(c, it->window);
                it = m_rings.erase(it);
            } else {
                draw(*it);
                ++it;
            }
        }
        xcb_flush(c);
        if (m_rings.empty())
            m_frames.stop();
    }

    std::unique_ptr<X11Connection> m_x;
    uint8_t m_xinputOpcode;
    xcb_atom_t m_opacityAtom;
    uint32_t m_pixel = 0;
    QSocketNotifier *m_notifier = nullptr;
    QTimer m_frames;
    std::list<Ring> m_rings;
};

// XInput 2 for the raw events, SHAPE 1.1 for input shapes.
bool extensionsPresent(X11Connection &x, uint8_t *xinputOpcode)
{
    xcb_connection_t *c = x.connection();
    const xcb_query_extension_reply_t *xinput = xcb_get_extension_data(c, &xcb_input_id);
    const xcb_query_extension_reply_t *shape = xcb_get_extension_data(c, &xcb_shape_id);
    if (!xinput || !xinput->present || !shape || !shape->present)
        return false;
    *xinputOpcode = xinput->major_opcode;
    xcb_input_xi_query_version_reply_t *xi
        = xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr);
    const bool xiOk = xi && xi->major_version >= 2;
    std::free(xi);
    xcb_shape_query_version_reply_t *sv = xcb_shape_query_version_reply(c, xcb_shape_query_version(c), nullptr);
    const bool shapeOk = sv && (sv->major_version > 1 || (sv->major_version == 1 && sv->minor_version >= 1));
    std::free(sv);
    return xiOk && shapeOk;
}

} // namespace

std::unique_ptr<ClickMarker> ClickMarker::create()
{
    std::unique_ptr<X11Connection> x = X11Connection::open();
    if (!x)
        return nullptr;
    uint8_t opcode = 0;
    if (!extensionsPresent(*x, &opcode)) {
        qCWarning(lcClickMarker) << "the X server lacks XInput 2 or SHAPE 1.1; clicks are not shown";
        return nullptr;
    }
    return std::make_unique<X11ClickMarker>(std::move(x), opcode);
}
