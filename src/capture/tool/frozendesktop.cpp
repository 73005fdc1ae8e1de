#include "frozendesktop.h"

#include <cmath>
#include <QGuiApplication>
#include <QPainter>
#include <QPixmap>
#include <QScreen>

namespace {

QRect toDevice(const QRectF &logicalPart, const FrozenDesktop::Screen &screen)
{
    const QPointF origin = screen.geometry.topLeft();
    const qreal r = screen.devicePixelRatio;
    const QPointF a = (logicalPart.topLeft() - origin) * r;
    const QPointF b = (logicalPart.bottomRight() - origin) * r;
    return QRect(QPoint(int(std::lround(a.x())), int(std::lround(a.y()))),
        QPoint(int(std::lround(b.x())) - 1, int(std::lround(b.y())) - 1));
}

} // namespace

FrozenDesktop FrozenDesktop::grab()
{
    QList<Screen> screens;
    for (QScreen *screen : QGuiApplication::screens()) {
        QImage image = screen->grabWindow(0).toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(1);
        screens << Screen { screen->name(), screen->geometry(), screen->devicePixelRatio(), image };
    }
    return FrozenDesktop(screens);
}

QRect FrozenDesktop::geometry() const
{
    QRect all;
    for (const Screen &s : m_screens)
        all |= s.geometry;
    return all;
}

QImage FrozenDesktop::region(const QRectF &logical) const
{
    qreal ratio = 0;
    for (const Screen &s : m_screens) {
        if (QRectF(s.geometry).intersects(logical))
            ratio = std::max(ratio, s.devicePixelRatio);
    }
    if (ratio == 0 || logical.isEmpty())
        return {};

    const QSize size(int(std::lround(logical.width() * ratio)), int(std::lround(logical.height() * ratio)));
    QImage result(size, QImage::Format_ARGB32_Premultiplied);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const Screen &s : m_screens) {
        const QRectF part = logical & QRectF(s.geometry);
        if (part.isEmpty())
            continue;
        const QRectF target((part.topLeft() - logical.topLeft()) * ratio, part.size() * ratio);
        painter.drawImage(target, s.image, toDevice(part, s));
    }
    return result;
}

QImage FrozenDesktop::nativeRegion(const QRect &native) const
{
    if (native.isEmpty())
        return {};
    QImage result(native.size(), QImage::Format_ARGB32_Premultiplied);
    result.fill(Qt::transparent);
    QPainter painter(&result);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const Screen &s : m_screens) {
        const QRect part = native & s.nativeGeometry();
        if (!part.isEmpty())
            painter.drawImage(part.topLeft() - native.topLeft(), s.image, part.translated(-s.geometry.topLeft()));
    }
    return result;
}

const FrozenDesktop::Screen *FrozenDesktop::screenAtNative(const QPoint &native) const
{
    for (const Screen &s : m_screens) {
        if (s.nativeGeometry().contains(native))
            return &s;
    }
    return m_screens.isEmpty() ? nullptr : &m_screens.first();
}

QRectF FrozenDesktop::toLogical(const QRect &native) const
{
    const Screen *s = screenAtNative(native.center());
    if (!s)
        return QRectF(native);
    const QPointF origin = s->geometry.topLeft();
    return QRectF(origin + (QPointF(native.topLeft()) - origin) / s->devicePixelRatio,
        QSizeF(native.size()) / s->devicePixelRatio);
}

QPointF FrozenDesktop::toNative(const QPointF &logical) const
{
    for (const Screen &s : m_screens) {
        if (QRectF(s.geometry).contains(logical)) {
            const QPointF origin = s.geometry.topLeft();
            return origin + (logical - origin) * s.devicePixelRatio;
        }
    }
    return logical;
}
