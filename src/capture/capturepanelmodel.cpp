#include "capturepanelmodel.h"
#include "defaultskeys.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "settingsstore.h"

#include <cmath>
#include <QDateTime>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSet>

Q_LOGGING_CATEGORY(lcCapturePanel, "tessly.capture.capturepanelbackgroundview")

namespace {

void post(const char *name, const QVariant &object)
{
    NotificationCenter::defaultCenter().post(QString::fromLatin1(name), object);
}

} // namespace

CapturePanelModel::CapturePanelModel(QObject *parent)
    : QObject(parent)
    , m_clock([] { return QDateTime::currentMSecsSinceEpoch(); })
{
}

void CapturePanelModel::setScreens(const QList<QRectF> &frames)
{
    m_screens = frames;
    if (m_currentScreen >= m_screens.size())
        m_currentScreen = 0;
}

void CapturePanelModel::screensChanged(const QList<QRectF> &frames, int current)
{
    const QRectF oldFrame = currentScreenFrame();
    m_screens = frames;
    if ((current >= 0 && current < m_screens.size()) || m_screens.isEmpty()) {
        m_currentScreen = std::max(0, current);
        return;
    }
    moveToScreen(0, oldFrame);
}

QRectF CapturePanelModel::currentScreenFrame() const
{
    return m_screens.value(m_currentScreen);
}

// ---- The rectangle ------------------------------------------------------------

QString CapturePanelModel::stringFromRect(const QRectF &r)
{
    return QStringLiteral("{{%1, %2}, {%3, %4}}")
        .arg(QString::number(r.x()), QString::number(r.y()), QString::number(r.width()), QString::number(r.height()));
}

std::optional<QRectF> CapturePanelModel::rectFromString(const QString &text)
{
    static const QRegularExpression form(QStringLiteral(
        R"(^\s*\{\s*\{\s*([-+0-9.eE]+)\s*,\s*([-+0-9.eE]+)\s*\}\s*,\s*\{\s*([-+0-9.eE]+)\s*,\s*([-+0-9.eE]+)\s*\}\s*\}\s*$)"));
    const QRegularExpressionMatch m = form.match(text);
    if (!m.hasMatch())
        return std::nullopt;
    qreal v[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        v[i] = m.captured(i + 1).toDouble(&ok);
        if (!ok)
            return std::nullopt;
    }
    return QRectF(v[0], v[1], v[2], v[3]);
}

void CapturePanelModel::setCropRect(const QRectF &rect)
{
    if (rect.width() == 0 || rect.height() == 0)
        return;
    m_cropRect = rect;
    const QString text = stringFromRect(rect);
    SettingsStore::instance().setObject(text, QString::fromLatin1(DefaultsKeys::CropRect));
    Q_EMIT cropRectChanged(rect);
    post(Notifications::TLCaptureCropRectChanged, text);
}

void CapturePanelModel::restoreCropRect()
{
    const QString stored
        = SettingsStore::instance().objectForKey(QString::fromLatin1(DefaultsKeys::CropRect)).toString();
    if (const std::optional<QRectF> rect = rectFromString(stored); rect && rect->width() != 0 && rect->height() != 0) {
        setCropRect(*rect);
        return;
    }
    const QRectF screen = currentScreenFrame();
    if (screen.isEmpty())
        setCropRect(QRectF(-300, -300, 600, 600));
    else
        setCropRect(QRectF(screen.width() * 0.5 - 300, screen.height() * 0.5 - 300, 600, 600));
}

// ---- Handles --------------------------------------------------------------------

QPointF CapturePanelModel::handlePoint(int location, const QRectF &r)
{
    const qreal left = r.x(), right = r.x() + r.width(), bottom = r.y(), top = r.y() + r.height();
    const qreal midX = r.x() + r.width() / 2, midY = r.y() + r.height() / 2;
    switch (location) {
    case 0:
        return { midX, top };
    case 1:
        return { left, top };
    case 2:
        return { right, top };
    case 3:
        return { right, midY };
    case 4:
        return { right, bottom };
    case 5:
        return { midX, bottom };
    case 6:
        return { left, bottom };
    case 7:
        return { left, midY };
    default:
        return r.center();
    }
}

int CapturePanelModel::handleAt(const QPointF &point) const
{
    if (m_cropRect.isNull() || windowSelectMode())
        return -1;
    // The oval's outline stroked 10 points wide covers the circle out to
    // its radius plus 5.
    const qreal reach = kHandleSize / 2 + 5;
    for (int location = 0; location < kHandleCount; ++location) {
        const QPointF d = point - handlePoint(location, m_cropRect);
        if (d.x() * d.x() + d.y() * d.y() <= reach * reach)
            return location;
    }
    return -1;
}

QString CapturePanelModel::cursorName(int location)
{
    switch (location) {
    case 0:
    case 5:
        return QStringLiteral("resizenorthsouth");
    case 1:
    case 4:
        return QStringLiteral("resizenorthwestsoutheast");
    case 2:
    case 6:
        return QStringLiteral("resizenortheastsouthwest");
    case 3:
    case 7:
        return QStringLiteral("resizeeastwest");
    default:
        return QStringLiteral("crosshair");
    }
}

QString CapturePanelModel::cursorAt(const QPointF &point) const
{
    if (windowSelectMode())
        return QStringLiteral("pointinghand");
    if (const int handle = handleAt(point); handle >= 0)
        return cursorName(handle);
    if (m_cropRect.normalized().contains(point))
        return QStringLiteral("openhand");
    return QStringLiteral("arrow");
}

QRectF CapturePanelModel::resized(const QRectF &r, int location, const QPointF &p)
{
    QRectF n = r;
    const auto left = [&] {
        n.setWidth(r.width() - (p.x() - r.x()));
        n.moveLeft(p.x());
    };
    const auto right = [&] { n.setWidth(p.x() - r.x()); };
    switch (location) {
    case 0:
        n.setHeight(p.y() - r.y());
        break;
    case 5:
        n.setHeight(r.height() - (p.y() - r.y()));
        n.moveTop(p.y());
        break;
    case 3:
        right();
        break;
    case 7:
        left();
        break;
    case 1:
    case 6:
        left();
        break;
    case 2:
    case 4:
        right();
        break;
    default:
        break;
    }
    if (location == 1 || location == 2)
        n.setHeight(r.height() - (r.y() + r.height() - p.y()));
    if (location == 4 || location == 6) {
        n.setHeight(r.y() - p.y() + r.height());
        n.moveTop(p.y());
    }
    return n;
}

void CapturePanelModel::handlePointDidChange(int location, const QPointF &point)
{
    setCropRect(resized(m_cropRect, location, point));
}

// ---- Mouse ------------------------------------------------------------------------

void CapturePanelModel::mouseDown(const QPointF &point)
{
    if (windowSelectMode())
        return;
    fetchSnapEdges();
    if (const int handle = handleAt(point); handle >= 0) {
        m_activeHandle = handle;
        m_mode = Mode::Resizing;
    } else if (m_cropRect.normalized().contains(point)) {
        m_startPoint = point;
        m_startRect = m_cropRect;
        m_mode = Mode::Moving;
    } else {
        m_startPoint = point;
        m_mode = Mode::Drawing;
    }
}

void CapturePanelModel::mouseDragged(const QPointF &point)
{
    const QPointF snapped(snapValue(point.x(), m_snapEdgesH), snapValue(point.y(), m_snapEdgesV));
    switch (m_mode) {
    case Mode::Drawing:
        setCropRect(QRectF(std::min(m_startPoint.x(), snapped.x()), std::min(m_startPoint.y(), snapped.y()),
            std::abs(snapped.x() - m_startPoint.x()), std::abs(snapped.y() - m_startPoint.y())));
        break;
    case Mode::Resizing:
        handlePointDidChange(m_activeHandle, snapped);
        break;
    case Mode::Moving:
        if (m_cropRect.normalized().contains(point))
            moveCropRect(m_startPoint, point);
        break;
    default:
        break;
    }
}

void CapturePanelModel::mouseUp()
{
    if (windowSelectMode())
        return;
    m_activeHandle = -1;
    m_mode = Mode::Idle;
    m_snapEdgesH.clear();
    m_snapEdgesV.clear();
    m_haveSnapEdges = false;
}

// ---- Snapping ------------------------------------------------------------------------

QList<CapturePanelModel::WindowFrame> CapturePanelModel::windowRects() const
{
    return m_windowSource ? m_windowSource() : QList<WindowFrame>();
}

void CapturePanelModel::fetchSnapEdges()
{
    const QList<WindowFrame> windows = windowRects();
    const QPointF origin = currentScreenFrame().topLeft(); // bottom-left corner in these coordinates
    const qreal mainHeight = m_screens.isEmpty() ? 0 : m_screens.first().height();
    QList<qreal> h, v;
    for (const WindowFrame &w : windows) {
        const QRectF &f = w.frame;
        const qreal left = f.x() - origin.x();
        const qreal bottom = mainHeight - f.y() - f.height() - origin.y();
        qCInfo(lcCapturePanel).noquote() << QString::asprintf(
            "Snap: window CG(%.0f,%.0f %.0fx%.0f) -> view edges H[%.0f, %.0f] V[%.0f, %.0f]", f.x(), f.y(), f.width(),
            f.height(), left, left + f.width(), bottom, bottom + f.height());
        for (qreal x : { left, left + f.width() }) {
            if (!h.contains(x))
                h << x;
        }
        for (qreal y : { bottom, bottom + f.height() }) {
            if (!v.contains(y))
                v << y;
        }
    }
    qCInfo(lcCapturePanel).noquote() << QString::asprintf(
        "Snap: %lu H edges, %lu V edges from %lu windows (screen: %.0f,%.0f mainH: %.0f)", (unsigned long)h.size(),
        (unsigned long)v.size(), (unsigned long)windows.size(), origin.x(), origin.y(), mainHeight);
    setSnapEdges(h, v);
}

void CapturePanelModel::setSnapEdges(const QList<qreal> &h, const QList<qreal> &v)
{
    m_snapEdgesH = h;
    m_snapEdgesV = v;
    m_haveSnapEdges = true;
}

qreal CapturePanelModel::snapValue(qreal value, const QList<qreal> &edges, qreal *distance)
{
    qreal best = kSnapDistance + 1;
    qreal candidate = value;
    for (qreal edge : edges) {
        const qreal d = std::abs(value - qreal(float(edge)));
        if (d < best) {
            best = d;
            candidate = qreal(float(edge));
        }
    }
    if (distance)
        *distance = best;
    return best <= kSnapDistance ? candidate : value;
}

QRectF CapturePanelModel::snapRect(const QRectF &rect) const
{
    if (!m_haveSnapEdges)
        return rect;
    QRectF r = rect;
    qreal dL = 0, dR = 0, dB = 0, dT = 0;
    const qreal left = snapValue(rect.x(), m_snapEdgesH, &dL);
    const qreal right = snapValue(rect.x() + rect.width(), m_snapEdgesH, &dR);
    if (dL <= kSnapDistance || dR <= kSnapDistance)
        r.moveLeft(dR < dL ? right - rect.width() : left);
    const qreal bottom = snapValue(rect.y(), m_snapEdgesV, &dB);
    const qreal top = snapValue(rect.y() + rect.height(), m_snapEdgesV, &dT);
    if (dB <= kSnapDistance || dT <= kSnapDistance)
        r.moveTop(dT < dB ? top - rect.height() : bottom);
    return r;
}

void CapturePanelModel::moveCropRect(const QPointF &from, const QPointF &to)
{
    const QRectF moved = m_startRect.translated(to - from);
    const QPointF origin = currentScreenFrame().topLeft();
    const int screen = screenContainingPoint(moved.center() + origin);
    if (screen != m_currentScreen && screen >= 0 && m_currentScreen < m_screens.size()) {
        transitionToScreen(screen);
        // Go on from where the pointer is, in the new screen's coordinates.
        m_startRect = m_cropRect;
        m_startPoint = to + origin - currentScreenFrame().topLeft();
        return;
    }
    setCropRect(snapRect(moved));
}

// ---- Screens ------------------------------------------------------------------------

int CapturePanelModel::screenContainingPoint(const QPointF &global) const
{
    for (int i = 0; i < m_screens.size(); ++i) {
        const QRectF &s = m_screens[i];
        if (global.x() >= s.left() && global.x() < s.right() && global.y() >= s.top() && global.y() < s.bottom())
            return i;
    }
    return 0;
}

void CapturePanelModel::transitionToScreen(int index)
{
    if (index < 0 || index >= m_screens.size() || index == m_currentScreen)
        return;
    moveToScreen(index, currentScreenFrame());
}

void CapturePanelModel::moveToScreen(int index, const QRectF &oldFrame)
{
    post(Notifications::TLCaptureScreenWillChange, index);
    const QRectF newFrame = m_screens[index];
    const QSizeF size(std::min(m_cropRect.width(), newFrame.width()), std::min(m_cropRect.height(), newFrame.height()));
    QPointF origin(oldFrame.width() > 0 ? m_cropRect.x() / oldFrame.width() * newFrame.width() : 0,
        oldFrame.height() > 0 ? m_cropRect.y() / oldFrame.height() * newFrame.height() : 0);
    origin.setX(std::max<qreal>(0, std::min(origin.x(), newFrame.width() - size.width())));
    origin.setY(std::max<qreal>(0, std::min(origin.y(), newFrame.height() - size.height())));
    m_currentScreen = index;
    Q_EMIT screenChanged(index);
    setCropRect(QRectF(origin, size));
    post(Notifications::TLCaptureScreenChanged, index);
}

// ---- Presets ----------------------------------------------------------------------------

QStringList CapturePanelModel::presetTitles()
{
    return { QStringLiteral("Fullscreen"), QStringLiteral("Snap to window"), QStringLiteral("720p 1280×720"),
        QStringLiteral("1080p 1920×1080"), QStringLiteral("Square 1080×1080"), QStringLiteral("Portrait 1080×1920"),
        QStringLiteral("Small 640×480") };
}

void CapturePanelModel::setPreset(const QString &title)
{
    const QRectF screen = currentScreenFrame();
    if (title == QLatin1String("Fullscreen")) {
        qCInfo(lcCapturePanel).noquote() << QStringLiteral("Setting fullscreen %1").arg(stringFromRect(screen));
        setCropRect(QRectF(QPointF(0, 0), screen.size()));
        return;
    }
    if (title == QLatin1String("Snap to window")) {
        const QList<WindowFrame> windows = windowRects();
        if (windows.isEmpty())
            return;
        setCropRect(toGlobalBottomLeft(windows.first().frame).translated(-screen.topLeft()));
        return;
    }
    const QStringList size = title.split(QLatin1Char(' ')).last().split(QChar(0x00d7));
    if (size.size() != 2)
        return;
    const QSizeF s(size[0].toDouble(), size[1].toDouble());
    setCropRect(QRectF(QPointF(screen.width() * 0.5 - s.width() * 0.5, screen.height() * 0.5 - s.height() * 0.5), s));
}

// ---- Window-select mode -------------------------------------------------------------

QRectF CapturePanelModel::toGlobalBottomLeft(const QRectF &f) const
{
    const qreal mainHeight = m_screens.isEmpty() ? 0 : m_screens.first().height();
    return QRectF(f.x(), mainHeight - f.y() - f.height(), f.width(), f.height());
}

void CapturePanelModel::refreshWindowSelectRects()
{
    m_windowSelectRects.clear();
    for (const WindowFrame &w : windowRects())
        m_windowSelectRects << toGlobalBottomLeft(w.frame);
    m_windowSelectFetched = m_clock();
    m_highlighted = -1;
}

void CapturePanelModel::enterWindowSelectMode()
{
    if (windowSelectMode())
        return;
    m_mode = Mode::WindowSelect;
    m_highlighted = -1;
    refreshWindowSelectRects();
    Q_EMIT windowSelectModeChanged(true);
}

void CapturePanelModel::exitWindowSelectMode()
{
    if (!windowSelectMode())
        return;
    m_mode = Mode::Idle;
    m_windowSelectRects.clear();
    m_windowSelectFetched = -1;
    m_highlighted = -1;
    Q_EMIT highlightChanged({});
    Q_EMIT windowSelectModeChanged(false);
}

QRectF CapturePanelModel::highlightedWindowRect() const
{
    return m_windowSelectRects.value(m_highlighted);
}

void CapturePanelModel::updateWindowHighlight(const QPointF &global)
{
    if (!windowSelectMode())
        return;
    const int before = m_highlighted;
    if (m_windowSelectFetched < 0 || m_clock() - m_windowSelectFetched >= 500)
        refreshWindowSelectRects();
    int index = -1;
    for (int i = 0; i < m_windowSelectRects.size() && index < 0; ++i) {
        if (m_windowSelectRects[i].contains(global))
            index = i;
    }
    m_highlighted = index;
    if (index != before)
        Q_EMIT highlightChanged(highlightedWindowRect());
}

bool CapturePanelModel::handleWindowSelectClick()
{
    if (!windowSelectMode() || m_highlighted < 0)
        return false;
    const QRectF rect = highlightedWindowRect();
    const int screen = screenContainingPoint(rect.center());
    exitWindowSelectMode();
    transitionToScreen(screen);
    setCropRect(rect.translated(-currentScreenFrame().topLeft()));
    return true;
}
