#include "testdesktop.h"

#include <cstdlib>
#include <cstring>
#include <QPainter>
#include <QTest>

namespace {

class DesktopWindow : public QWidget
{
public:
    QList<QRect> icons { { 40, 40, 40, 40 }, { 40, 120, 40, 40 }, { 120, 40, 40, 40 } };

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), TestDesktop::kBackground);
        for (const QRect &icon : std::as_const(icons))
            painter.fillRect(icon, TestDesktop::kIcon);
    }
};

xcb_atom_t atom(xcb_connection_t *c, const char *name)
{
    xcb_intern_atom_reply_t *reply
        = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr);
    const xcb_atom_t a = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return a;
}

} // namespace

TestDesktop::TestDesktop(const QRect &logical)
{
    // The wallpaper, as feh or nitrogen would publish it.
    m_connection = xcb_connect(nullptr, nullptr);
    xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
    m_pixmap = xcb_generate_id(m_connection);
    xcb_create_pixmap(
        m_connection, screen->root_depth, m_pixmap, screen->root, screen->width_in_pixels, screen->height_in_pixels);
    const xcb_gcontext_t gc = xcb_generate_id(m_connection);
    xcb_create_gc(m_connection, gc, m_pixmap, 0, nullptr);
    for (int x = 0; x < screen->width_in_pixels; x += 100) {
        const uint32_t color = wallpaperAt(QPoint(x, 0)).rgb() & 0xffffff;
        xcb_change_gc(m_connection, gc, XCB_GC_FOREGROUND, &color);
        const xcb_rectangle_t band { int16_t(x), 0, 100, screen->height_in_pixels };
        xcb_poly_fill_rectangle(m_connection, m_pixmap, gc, 1, &band);
    }
    xcb_free_gc(m_connection, gc);
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, screen->root, atom(m_connection, "_XROOTPMAP_ID"),
        XCB_ATOM_PIXMAP, 32, 1, &m_pixmap);
    xcb_change_window_attributes(m_connection, screen->root, XCB_CW_BACK_PIXMAP, &m_pixmap);
    xcb_clear_area(m_connection, 0, screen->root, 0, 0, 0, 0);
    free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));

    m_window = new DesktopWindow;
    m_window->winId(); // Qt sets the type only on a window that exists
    m_window->setAttribute(Qt::WA_X11NetWmWindowTypeDesktop);
    m_window->setWindowTitle(QStringLiteral("Test desktop"));
    m_window->setGeometry(logical);
    m_window->show();
    [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(m_window);
    QTest::qWait(300);
}

TestDesktop::~TestDesktop()
{
    delete m_window;
    xcb_free_pixmap(m_connection, m_pixmap);
    xcb_disconnect(m_connection);
}

QColor TestDesktop::wallpaperAt(const QPoint &native)
{
    return (native.x() / 100) % 2 ? QColor(0x80, 0x80, 0x00) : QColor(0x00, 0x80, 0x80);
}

QList<QRect> TestDesktop::icons() const
{
    return static_cast<DesktopWindow *>(m_window)->icons;
}
