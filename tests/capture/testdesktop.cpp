#include "testdesktop.h"

#include "e2e.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <QPainter>
#include <QTest>

namespace {

class DesktopWindow : public QWidget
{
public:
    QList<QRect> icons { { 40, 40, 40, 40 }, { 40, 120, 40, 40 }, { 120, 40, 40, 40 } };
    int presses = 0;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        for (int y = 0; y < height(); y += 50)
            painter.fillRect(0, y, width(), 50, TestDesktop::backgroundAt(QPoint(0, y)));
        for (const QRect &icon : std::as_const(icons))
            painter.fillRect(icon, TestDesktop::kIcon);
    }

    void mousePressEvent(QMouseEvent *) override { ++presses; }
};

xcb_atom_t atom(xcb_connection_t *c, const char *name)
{
    xcb_intern_atom_reply_t *reply
        = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr);
    const xcb_atom_t a = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    std::free(reply);
    return a;
}

// A pixmap of the given size filled band by band: `colour` of each band's
// first pixel, `horizontal` bands of height `band`, else vertical of width `band`.
xcb_pixmap_t bands(xcb_connection_t *c, xcb_screen_t *screen, QSize size, int band, bool horizontal,
    const std::function<QColor(QPoint)> &colour)
{
    const xcb_pixmap_t pixmap = xcb_generate_id(c);
    xcb_create_pixmap(c, screen->root_depth, pixmap, screen->root, uint16_t(size.width()), uint16_t(size.height()));
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, pixmap, 0, nullptr);
    const int extent = horizontal ? size.height() : size.width();
    for (int at = 0; at < extent; at += band) {
        const QPoint origin = horizontal ? QPoint(0, at) : QPoint(at, 0);
        const uint32_t pixel = colour(origin).rgb() & 0xffffff;
        xcb_change_gc(c, gc, XCB_GC_FOREGROUND, &pixel);
        const xcb_rectangle_t r = horizontal
            ? xcb_rectangle_t { 0, int16_t(at), uint16_t(size.width()), uint16_t(band) }
            : xcb_rectangle_t { int16_t(at), 0, uint16_t(band), uint16_t(size.height()) };
        xcb_poly_fill_rectangle(c, pixmap, gc, 1, &r);
    }
    xcb_free_gc(c, gc);
    return pixmap;
}

} // namespace

TestDesktop::TestDesktop(const QRect &logical)
{
    // The wallpaper, as feh or nitrogen would publish it.
    m_connection = xcb_connect(nullptr, nullptr);
    xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
    m_root = screen->root;
    m_pixmap = bands(m_connection, screen, QSize(screen->width_in_pixels, screen->height_in_pixels), 100, false,
        &TestDesktop::wallpaperAt);
    xcb_change_window_attributes(m_connection, screen->root, XCB_CW_BACK_PIXMAP, &m_pixmap);
    xcb_clear_area(m_connection, 0, screen->root, 0, 0, 0, 0);
    publishWallpaper(true);

    m_window = new DesktopWindow;
    m_window->winId(); // Qt sets the type only on a window that exists
    m_window->setAttribute(Qt::WA_X11NetWmWindowTypeDesktop);
    m_window->setWindowTitle(QStringLiteral("Test desktop"));
    m_window->setGeometry(logical);
    // Its background, for the server to paint: the tests run at ratio 1.
    m_background = bands(m_connection, screen, logical.size(), 50, true, &TestDesktop::backgroundAt);
    xcb_change_window_attributes(m_connection, xcb_window_t(m_window->winId()), XCB_CW_BACK_PIXMAP, &m_background);
    free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    m_window->show();
    [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(m_window);
    // Up means: the X server shows the window's icons over its background.
    const QRect firstIcon = icons().value(0);
    [[maybe_unused]] const bool painted = E2E::waitForWindowPixels(m_window, [firstIcon](const QImage &pixels) {
        return pixels.pixelColor(firstIcon.center()) == kIcon
            && pixels.pixelColor(QPoint(firstIcon.right() + 5, firstIcon.center().y()))
            == backgroundAt(QPoint(firstIcon.right() + 5, firstIcon.center().y()));
    });
}

TestDesktop::~TestDesktop()
{
    delete m_window;
    xcb_free_pixmap(m_connection, m_background);
    xcb_free_pixmap(m_connection, m_pixmap);
    xcb_disconnect(m_connection);
}

void TestDesktop::publishWallpaper(bool published)
{
    const xcb_atom_t property = atom(m_connection, "_XROOTPMAP_ID");
    if (published) {
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_root, property, XCB_ATOM_PIXMAP, 32, 1, &m_pixmap);
    } else {
        xcb_delete_property(m_connection, m_root, property);
    }
    free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
}

QColor TestDesktop::wallpaperAt(const QPoint &native)
{
    return (native.x() / 100) % 2 ? QColor(0x80, 0x80, 0x00) : QColor(0x00, 0x80, 0x80);
}

QColor TestDesktop::backgroundAt(const QPoint &local)
{
    return (local.y() / 50) % 2 ? QColor(0x20, 0x40, 0x60) : QColor(0x60, 0x20, 0x40);
}

QList<QRect> TestDesktop::icons() const
{
    return static_cast<DesktopWindow *>(m_window)->icons;
}

int TestDesktop::presses() const
{
    return static_cast<DesktopWindow *>(m_window)->presses;
}
