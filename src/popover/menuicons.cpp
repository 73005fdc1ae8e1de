#include "menuicons.h"

#include <QHash>
#include <QPainter>
#include <QPixmap>

namespace MenuIcons {

namespace {
QIcon draw(const QString &name, const QColor &color);
}

QIcon themed(const QString &name, const QColor &color)
{
    // Every row of a list asks for the same few icons: each is drawn once
    // per colour. The GUI thread only.
    static QHash<std::pair<QString, QRgb>, QIcon> cache;
    const std::pair<QString, QRgb> key(name, color.rgba());
    const auto cached = cache.constFind(key);
    if (cached != cache.constEnd())
        return *cached;
    const QIcon icon = draw(name, color);
    cache.insert(key, icon);
    return icon;
}

namespace {
QIcon draw(const QString &name, const QColor &color)
{
    // The symbolic drawing first: one colour, like the menu's text.
    const QString symbolicName = name + QStringLiteral("-symbolic");
    if (!QIcon::hasThemeIcon(symbolicName))
        return QIcon::hasThemeIcon(name) ? QIcon::fromTheme(name) : QIcon();
    const QIcon symbolic = QIcon::fromTheme(symbolicName);
    QIcon tinted;
    for (int side : { 16, 20, 22, 24, 32, 40, 44, 48 }) {
        QPixmap pixmap = symbolic.pixmap(side, side);
        if (pixmap.isNull())
            continue;
        pixmap.setDevicePixelRatio(1.0);
        QPainter painter(&pixmap);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), color);
        painter.end();
        tinted.addPixmap(pixmap);
    }
    return tinted;
}
} // namespace

} // namespace MenuIcons
