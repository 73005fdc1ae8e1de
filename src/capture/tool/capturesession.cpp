#include "capturesession.h"
#include "selectionwindow.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

CaptureSession::CaptureSession(FrozenDesktop desktop, QList<WindowInfo> windows, bool startInWindowMode)
    : m_desktop(std::move(desktop))
    , m_windowMode(startInWindowMode)
{
    // Only what a user means by "a window": the desktop and the panels are
    // not offered.
    for (const WindowInfo &w : windows) {
        if (w.type != WindowInfo::Type::Desktop && w.type != WindowInfo::Type::Dock && !w.frame.isEmpty())
            m_windows << w;
    }
}

CaptureSession::~CaptureSession()
{
    qDeleteAll(m_views);
}

void CaptureSession::start()
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    for (int i = 0; i < m_desktop.screens().size() && i < screens.size(); ++i)
        m_views << new SelectionWindow(this, i, screens[i]);
    m_pointer = QCursor::pos();
    m_hovered = windowAt(m_pointer);
    for (SelectionWindow *view : std::as_const(m_views))
        view->show();
    // Keys go to us wherever the pointer is: the windows bypass the window
    // manager, which would otherwise give the focus.
    if (!m_views.isEmpty()) {
        m_views.first()->activateWindow();
        m_views.first()->grabKeyboard();
    }
}

void CaptureSession::press(const QPointF &global)
{
    if (m_finished)
        return;
    m_pointer = global;
    if (m_windowMode) {
        m_hovered = windowAt(global);
        return;
    }
    m_dragging = true;
    m_anchor = global;
    m_selection.reset(); // a second drag starts over
    update();
}

void CaptureSession::move(const QPointF &global)
{
    if (m_finished)
        return;
    m_pointer = global;
    if (m_windowMode) {
        m_hovered = windowAt(global);
    } else if (m_dragging) {
        const QRectF r = QRectF(m_anchor, global).normalized();
        if (r.width() > 0 && r.height() > 0)
            m_selection = r;
        else
            m_selection.reset();
    }
    update();
}

void CaptureSession::release(const QPointF &global)
{
    if (m_finished)
        return;
    if (m_windowMode) {
        m_hovered = windowAt(global);
        if (m_hovered) {
            const WindowInfo chosen = *m_hovered;
            finish();
            Q_EMIT windowSelected(chosen);
        }
        return;
    }
    if (!m_dragging)
        return;
    move(global);
    m_dragging = false;
    if (m_selection) {
        const QRectF chosen = *m_selection;
        finish();
        Q_EMIT regionSelected(chosen);
    }
}

void CaptureSession::key(int key)
{
    if (m_finished)
        return;
    switch (key) {
    case Qt::Key_Escape:
        finish();
        Q_EMIT cancelled();
        break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (m_windowMode && m_hovered) {
            const WindowInfo chosen = *m_hovered;
            finish();
            Q_EMIT windowSelected(chosen);
        } else if (!m_windowMode && m_selection) {
            const QRectF chosen = *m_selection;
            finish();
            Q_EMIT regionSelected(chosen);
        }
        break;
    case Qt::Key_Space:
        m_windowMode = !m_windowMode;
        m_dragging = false;
        m_selection.reset();
        m_hovered = windowAt(m_pointer);
        update();
        break;
    default:
        break;
    }
}

void CaptureSession::update()
{
    for (SelectionWindow *view : std::as_const(m_views))
        view->update();
}

void CaptureSession::finish()
{
    m_finished = true;
    for (SelectionWindow *view : std::as_const(m_views)) {
        view->releaseKeyboard();
        view->hide();
    }
}

const WindowInfo *CaptureSession::windowAt(const QPointF &global) const
{
    const QPoint native = m_desktop.toNative(global).toPoint();
    for (const WindowInfo &w : m_windows) { // top-most first
        if (w.frame.contains(native))
            return &w;
    }
    return nullptr;
}
