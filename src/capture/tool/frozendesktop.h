#pragma once

#include <QImage>
#include <QList>
#include <QRect>
#include <QRectF>
#include <QString>

// The screens as they looked at one instant: each screen's picture in device
// pixels, with where the screen lies in Qt's global (logical) coordinates.
//
// Qt places every screen's logical origin at its native origin and scales
// only the extent, so a screen covers logical geometry.topLeft() + size and
// native geometry.topLeft() + size x ratio. Everything here converts through
// that one rule.
class FrozenDesktop
{
public:
    struct Screen
    {
        QString name;
        QRect geometry; // logical
        qreal devicePixelRatio = 1;
        QImage image; // device pixels

        QRect nativeGeometry() const { return QRect(geometry.topLeft(), image.size()); }
    };

    FrozenDesktop() = default;
    explicit FrozenDesktop(QList<Screen> screens)
        : m_screens(std::move(screens))
    {
    }

    // Grabs every screen of the running QGuiApplication now.
    static FrozenDesktop grab();

    const QList<Screen> &screens() const { return m_screens; }
    bool isEmpty() const { return m_screens.isEmpty(); }

    // The union of the screens, logical.
    QRect geometry() const;

    // A logical rectangle in device pixels: the ratio of the screens it
    // covers (the largest when they differ), each part scaled to it. Parts
    // outside every screen stay transparent.
    QImage region(const QRectF &logical) const;

    // A rectangle of native (root window) pixels, one to one.
    QImage nativeRegion(const QRect &native) const;

    // Native rectangle to logical, by the screen that holds its centre (the
    // first screen when none does).
    QRectF toLogical(const QRect &native) const;

    // Logical point to native, by the screen that holds it.
    QPointF toNative(const QPointF &logical) const;

private:
    const Screen *screenAtNative(const QPoint &native) const;

    QList<Screen> m_screens;
};
