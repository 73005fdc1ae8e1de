// Presses and releases come as XInput 2 raw button events selected on the
// root window, on a connection of our own: the server sends those whichever
// window the button goes to and whoever grabs the pointer (a drag's source
// grabs it for the whole drag), and they take nothing from anyone. Whether a
// button is held now is the core pointer's state.
#include "pointerbuttonmonitor.h"
#include "x11connection.h"

#include <cstdlib>
#include <QLoggingCategory>
#include <QSocketNotifier>
#include <QTimer>
#include <xcb/xinput.h>

Q_LOGGING_CATEGORY(lcPointerButtonMonitorX11, "tessly.platform.pointerbuttonmonitor.x11")

namespace {

// Buttons 4 to 7 are the wheel's steps, not presses.
bool isClickButton(uint32_t button)
{
    return button < 4 || button > 7;
}

class X11PointerButtonMonitor final : public PointerButtonMonitor
{
public:
    // Without a connection the monitor knows nothing.
    X11PointerButtonMonitor(std::unique_ptr<X11Connection> x, uint8_t xinputOpcode)
        : m_x(std::move(x))
        , m_xinputOpcode(xinputOpcode)
    {
        if (!m_x)
            return;
        m_notifier = new QSocketNotifier(xcb_get_file_descriptor(m_x->connection()), QSocketNotifier::Read, this);
        connect(m_notifier, &QSocketNotifier::activated, this, &X11PointerButtonMonitor::drainEvents);
    }

    QString backendName() const override { return m_x ? QStringLiteral("x11") : QStringLiteral("null"); }

    bool isButtonHeld() override
    {
        if (!m_x)
            return false;
        xcb_connection_t *c = m_x->connection();
        xcb_query_pointer_reply_t *pointer = xcb_query_pointer_reply(c, xcb_query_pointer(c, m_x->root()), nullptr);
        const bool held = pointer
            && (pointer->mask & (XCB_KEY_BUT_MASK_BUTTON_1 | XCB_KEY_BUT_MASK_BUTTON_2 | XCB_KEY_BUT_MASK_BUTTON_3));
        std::free(pointer);
        // Waiting for the reply may have read events into xcb's queue, where
        // the socket notifier does not see them.
        QTimer::singleShot(0, this, &X11PointerButtonMonitor::drainEvents);
        return held;
    }

    void setListening(bool listening) override
    {
        if (!m_x || listening == m_listening)
            return;
        m_listening = listening;
        m_x->selectRawInputEvents(
            listening ? XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE : 0);
        xcb_flush(m_x->connection());
        qCDebug(lcPointerButtonMonitorX11) << (listening ? "listening" : "no longer listening");
    }

private:
    void drainEvents()
    {
        while (xcb_generic_event_t *event = xcb_poll_for_event(m_x->connection())) {
            const auto *ge = reinterpret_cast<const xcb_ge_generic_event_t *>(event);
            const bool ours = (event->response_type & 0x7f) == XCB_GE_GENERIC && ge->extension == m_xinputOpcode;
            const auto *raw = reinterpret_cast<const xcb_input_raw_button_press_event_t *>(event);
            // Events selected before listening stopped may still arrive.
            if (ours && m_listening && isClickButton(raw->detail)) {
                if (ge->event_type == XCB_INPUT_RAW_BUTTON_PRESS)
                    Q_EMIT pressed();
                else if (ge->event_type == XCB_INPUT_RAW_BUTTON_RELEASE)
                    Q_EMIT released();
            }
            std::free(event);
        }
    }

    std::unique_ptr<X11Connection> m_x;
    uint8_t m_xinputOpcode = 0;
    QSocketNotifier *m_notifier = nullptr;
    bool m_listening = false;
};

// The server's XInput opcode when it speaks XInput 2.2 (raw events reach
// root-window listeners during grabs since 2.1).
bool xinput2(X11Connection &x, uint8_t *opcode)
{
    xcb_connection_t *c = x.connection();
    const xcb_query_extension_reply_t *xinput = xcb_get_extension_data(c, &xcb_input_id);
    if (!xinput || !xinput->present)
        return false;
    *opcode = xinput->major_opcode;
    xcb_input_xi_query_version_reply_t *version
        = xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr);
    const bool ok
        = version && (version->major_version > 2 || (version->major_version == 2 && version->minor_version >= 1));
    std::free(version);
    return ok;
}

} // namespace

std::unique_ptr<PointerButtonMonitor> PointerButtonMonitor::create()
{
    std::unique_ptr<X11Connection> x;
    uint8_t opcode = 0;
    if (qEnvironmentVariable("TESSLY_PLATFORM_BACKEND") != QLatin1String("null")) {
        x = X11Connection::open();
        if (x && !xinput2(*x, &opcode)) {
            qCInfo(lcPointerButtonMonitorX11) << "the X server lacks XInput 2.1; presses elsewhere are not seen";
            x.reset();
        }
    }
    return std::make_unique<X11PointerButtonMonitor>(std::move(x), opcode);
}
