// Global shortcuts on X11: a passive grab of the key on the root window, once
// per combination of the lock modifiers (CapsLock, NumLock) that must not
// stop it, on the Qt application's own connection, whose events reach us
// through a native event filter before Qt looks at them.
//
// The grab names a keycode, the shortcut a character: xkbcommon tells which
// key of the current layout makes the character (on AZERTY "4" is Shift with
// the apostrophe key), and every change of the keyboard mapping or of the
// layout group grabs the keys anew. A grab that another client already holds
// fails with BadAccess: that shortcut is reported as taken.
#include "globalshortcutmonitor.h"

#include <cstdlib>
#include <iterator>
#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QHash>
#include <QKeySequence>
#include <QLoggingCategory>
#include <QtGui/qguiapplication_platform.h>
#include <QTimer>
#include <xcb/xcb.h>
// xkb.h names a member "explicit"; C++ cannot read it unrenamed.
#define explicit xkb_explicit
#include <xcb/xkb.h>
#undef explicit
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

Q_LOGGING_CATEGORY(lcGlobalShortcutMonitorX11, "tessly.platform.globalshortcutmonitor.x11")

namespace {

// The real modifiers every XKB keyboard description of xkeyboard-config binds
// Alt, Super and NumLock to.
constexpr uint16_t kAltMask = XCB_MOD_MASK_1;
constexpr uint16_t kNumLockMask = XCB_MOD_MASK_2;
constexpr uint16_t kSuperMask = XCB_MOD_MASK_4;
constexpr uint16_t kShortcutMasks = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | kAltMask | kSuperMask;
constexpr uint16_t kLockVariants[] = { 0, XCB_MOD_MASK_LOCK, kNumLockMask, XCB_MOD_MASK_LOCK | kNumLockMask };
constexpr uint8_t kBadAccess = 10;

uint16_t modifierMask(Qt::KeyboardModifiers modifiers)
{
    uint16_t mask = 0;
    if (modifiers & Qt::ShiftModifier)
        mask |= XCB_MOD_MASK_SHIFT;
    if (modifiers & Qt::ControlModifier)
        mask |= XCB_MOD_MASK_CONTROL;
    if (modifiers & Qt::AltModifier)
        mask |= kAltMask;
    if (modifiers & Qt::MetaModifier)
        mask |= kSuperMask;
    return mask;
}

struct NamedKey
{
    Qt::Key key;
    xkb_keysym_t keysym;
};

const NamedKey kNamedKeys[] = {
    { Qt::Key_Return, XKB_KEY_Return },
    { Qt::Key_Backspace, XKB_KEY_BackSpace },
    { Qt::Key_Delete, XKB_KEY_Delete },
    { Qt::Key_Escape, XKB_KEY_Escape },
    { Qt::Key_Tab, XKB_KEY_Tab },
    { Qt::Key_Left, XKB_KEY_Left },
    { Qt::Key_Right, XKB_KEY_Right },
    { Qt::Key_Up, XKB_KEY_Up },
    { Qt::Key_Down, XKB_KEY_Down },
    { Qt::Key_PageUp, XKB_KEY_Prior },
    { Qt::Key_PageDown, XKB_KEY_Next },
    { Qt::Key_Home, XKB_KEY_Home },
    { Qt::Key_End, XKB_KEY_End },
    { Qt::Key_Space, XKB_KEY_space },
    { Qt::Key_Print, XKB_KEY_Print },
    { Qt::Key_Pause, XKB_KEY_Pause },
    { Qt::Key_ScrollLock, XKB_KEY_Scroll_Lock },
};

xkb_keysym_t keysymFor(Qt::Key key)
{
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35)
        return XKB_KEY_F1 + (key - Qt::Key_F1);
    for (const NamedKey &named : kNamedKeys) {
        if (named.key == key)
            return named.keysym;
    }
    // Printable ASCII keys: Qt's code is the upper-case character, the
    // keysym the character the unshifted key types.
    if (key > 0x20 && key < 0x7f)
        return xkb_keysym_to_lower(xkb_keysym_t(key));
    return XKB_KEY_NoSymbol;
}

Qt::Key keyFor(xkb_keysym_t keysym)
{
    if (keysym >= XKB_KEY_F1 && keysym <= XKB_KEY_F35)
        return Qt::Key(Qt::Key_F1 + int(keysym - XKB_KEY_F1));
    for (const NamedKey &named : kNamedKeys) {
        if (named.keysym == keysym)
            return named.key;
    }
    if (keysym > 0x20 && keysym < 0x7f)
        return Qt::Key(xkb_keysym_to_upper(keysym));
    return Qt::Key_unknown;
}

class X11GlobalShortcutMonitor final : public GlobalShortcutMonitor, public QAbstractNativeEventFilter
{
public:
    X11GlobalShortcutMonitor(xcb_connection_t *connection, xcb_window_t root, uint8_t xkbFirstEvent)
        : m_connection(connection)
        , m_root(root)
        , m_xkbFirstEvent(xkbFirstEvent)
        , m_context(xkb_context_new(XKB_CONTEXT_NO_FLAGS))
    {
        loadKeymap();
        m_regrab.setSingleShot(true);
        m_regrab.setInterval(0); // mapping changes come in bursts
        QObject::connect(&m_regrab, &QTimer::timeout, this, [this] {
            loadKeymap();
            regrabAll();
        });
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    ~X11GlobalShortcutMonitor() override
    {
        if (QCoreApplication::instance())
            QCoreApplication::instance()->removeNativeEventFilter(this);
        xkb_keymap_unref(m_keymap);
        xkb_context_unref(m_context);
    }

    QString backendName() const override { return QStringLiteral("x11"); }

    Qt::Key unshiftedKey(quint32 nativeScanCode) const override
    {
        if (!m_keymap || xkb_keymap_num_layouts_for_key(m_keymap, nativeScanCode) == 0)
            return Qt::Key_unknown;
        const xkb_layout_index_t layouts = xkb_keymap_num_layouts_for_key(m_keymap, nativeScanCode);
        const xkb_keysym_t *syms = nullptr;
        if (xkb_keymap_key_get_syms_by_level(m_keymap, nativeScanCode, m_layout < layouts ? m_layout : 0, 0, &syms)
            != 1)
            return Qt::Key_unknown;
        return keyFor(syms[0]);
    }

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *) override
    {
        if (eventType != "xcb_generic_event_t")
            return false;
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        const uint8_t type = event->response_type & 0x7f;
        if (type == XCB_KEY_PRESS || type == XCB_KEY_RELEASE) {
            const auto *key = reinterpret_cast<const xcb_key_press_event_t *>(event);
            if (key->event != m_root)
                return false;
            if (type == XCB_KEY_PRESS) {
                const Grab pressed { key->detail, uint16_t(key->state & kShortcutMasks) };
                for (auto it = m_grabs.cbegin(); it != m_grabs.cend(); ++it) {
                    if (it.value() == pressed) {
                        perform(it.key());
                        break;
                    }
                }
            }
            return true; // only our grabs send the root window's keys here
        }
        if (type == XCB_MAPPING_NOTIFY) {
            const auto *mapping = reinterpret_cast<const xcb_mapping_notify_event_t *>(event);
            if (mapping->request != XCB_MAPPING_POINTER)
                m_regrab.start();
        } else if (m_xkbFirstEvent && type == m_xkbFirstEvent) {
            // Qt selects these on its connection for its own keymap.
            const uint8_t xkbType = reinterpret_cast<const xcb_xkb_new_keyboard_notify_event_t *>(event)->xkbType;
            if (xkbType == XCB_XKB_NEW_KEYBOARD_NOTIFY || xkbType == XCB_XKB_MAP_NOTIFY) {
                m_regrab.start();
            } else if (xkbType == XCB_XKB_STATE_NOTIFY) {
                const auto *state = reinterpret_cast<const xcb_xkb_state_notify_event_t *>(event);
                if ((state->changed & XCB_XKB_STATE_PART_GROUP_STATE) && state->group != m_layout)
                    m_regrab.start();
            }
        }
        return false;
    }

protected:
    Registration grab(QKeyCombination shortcut) override
    {
        const xkb_keycode_t keycode = keycodeFor(keysymFor(shortcut.key()));
        if (keycode == XKB_KEYCODE_INVALID) {
            qCWarning(lcGlobalShortcutMonitorX11).noquote()
                << "no key of the keyboard layout makes" << shortcutText(shortcut);
            return Registration::Invalid;
        }
        const uint16_t mask = modifierMask(shortcut.keyboardModifiers());
        const Grab wanted { xcb_keycode_t(keycode), mask };
        for (auto it = m_grabs.cbegin(); it != m_grabs.cend(); ++it) {
            // X lets a client grab its own key twice, and one ungrab would
            // free both: the first combination keeps the key.
            if (it.value() == wanted) {
                qCWarning(lcGlobalShortcutMonitorX11).noquote()
                    << shortcutText(shortcut) << "is the same key as" << shortcutText(it.key()) << "here; not grabbed";
                return Registration::SameKey;
            }
        }
        xcb_void_cookie_t cookies[std::size(kLockVariants)];
        for (std::size_t i = 0; i < std::size(kLockVariants); ++i) {
            cookies[i] = xcb_grab_key_checked(m_connection, 1, m_root, uint16_t(mask | kLockVariants[i]),
                xcb_keycode_t(keycode), XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        }
        bool taken = false;
        for (const xcb_void_cookie_t &cookie : cookies) {
            if (xcb_generic_error_t *error = xcb_request_check(m_connection, cookie)) {
                taken = taken || error->error_code == kBadAccess;
                if (error->error_code != kBadAccess)
                    qCWarning(lcGlobalShortcutMonitorX11).noquote()
                        << "grabbing" << shortcutText(shortcut) << "failed with X error" << error->error_code;
                std::free(error);
            }
        }
        if (taken) {
            // Whichever variants we did get are of no use on their own. The
            // other client's grab survives: ungrabbing never touches it.
            ungrabKey(wanted);
            qCWarning(lcGlobalShortcutMonitorX11).noquote()
                << shortcutText(shortcut) << "is taken: another program grabbed it first";
            return Registration::Taken;
        }
        m_grabs.insert(shortcut, wanted);
        xcb_flush(m_connection);
        return Registration::Registered;
    }

    void ungrab(QKeyCombination shortcut) override
    {
        const auto it = m_grabs.constFind(shortcut);
        if (it == m_grabs.cend())
            return;
        ungrabKey(it.value());
        m_grabs.erase(it);
        xcb_flush(m_connection);
    }

private:
    struct Grab
    {
        xcb_keycode_t keycode;
        uint16_t mask;
        bool operator==(const Grab &other) const = default;
    };

    static QString shortcutText(QKeyCombination shortcut)
    {
        return QKeySequence(shortcut).toString(QKeySequence::PortableText);
    }

    void ungrabKey(const Grab &grab)
    {
        for (const uint16_t variant : kLockVariants)
            xcb_ungrab_key(m_connection, grab.keycode, m_root, uint16_t(grab.mask | variant));
    }

    void loadKeymap()
    {
        const int32_t device = xkb_x11_get_core_keyboard_device_id(m_connection);
        xkb_keymap *keymap = device < 0
            ? nullptr
            : xkb_x11_keymap_new_from_device(m_context, m_connection, device, XKB_KEYMAP_COMPILE_NO_FLAGS);
        if (!keymap) {
            qCWarning(lcGlobalShortcutMonitorX11) << "cannot read the keyboard's layout; keeping the previous one";
            return;
        }
        xkb_keymap_unref(m_keymap);
        m_keymap = keymap;
        m_layout = 0;
        if (xkb_state *state = xkb_x11_state_new_from_device(m_keymap, m_connection, device)) {
            m_layout = xkb_state_serialize_layout(state, XKB_STATE_LAYOUT_EFFECTIVE);
            xkb_state_unref(state);
        }
    }

    // The key of the current layout that types the keysym, preferring one
    // that types it without Shift or AltGr.
    xkb_keycode_t keycodeFor(xkb_keysym_t keysym) const
    {
        if (!m_keymap || keysym == XKB_KEY_NoSymbol)
            return XKB_KEYCODE_INVALID;
        xkb_keycode_t best = XKB_KEYCODE_INVALID;
        xkb_level_index_t bestLevel = 0;
        const xkb_keycode_t last = xkb_keymap_max_keycode(m_keymap);
        for (xkb_keycode_t keycode = xkb_keymap_min_keycode(m_keymap); keycode <= last; ++keycode) {
            const xkb_layout_index_t layouts = xkb_keymap_num_layouts_for_key(m_keymap, keycode);
            if (layouts == 0)
                continue;
            const xkb_layout_index_t layout = m_layout < layouts ? m_layout : 0;
            const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(m_keymap, keycode, layout);
            for (xkb_level_index_t level = 0; level < levels; ++level) {
                const xkb_keysym_t *syms = nullptr;
                const int count = xkb_keymap_key_get_syms_by_level(m_keymap, keycode, layout, level, &syms);
                for (int i = 0; i < count; ++i) {
                    if (syms[i] == keysym && (best == XKB_KEYCODE_INVALID || level < bestLevel)) {
                        best = keycode;
                        bestLevel = level;
                    }
                }
            }
        }
        return best;
    }

    xcb_connection_t *m_connection;
    xcb_window_t m_root;
    uint8_t m_xkbFirstEvent;
    xkb_context *m_context;
    xkb_keymap *m_keymap = nullptr;
    xkb_layout_index_t m_layout = 0;
    QHash<QKeyCombination, Grab> m_grabs;
    QTimer m_regrab;
};

} // namespace

std::unique_ptr<GlobalShortcutMonitor> createNativeGlobalShortcutMonitor()
{
    auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t *connection = x11 ? x11->connection() : nullptr;
    if (!connection)
        return nullptr;
    uint8_t xkbFirstEvent = 0;
    if (!xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
            XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &xkbFirstEvent, nullptr)) {
        qCWarning(lcGlobalShortcutMonitorX11) << "the X server has no XKB extension; no global shortcuts";
        return nullptr;
    }
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    return std::make_unique<X11GlobalShortcutMonitor>(connection, screen->root, xkbFirstEvent);
}
