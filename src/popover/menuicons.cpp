#include "menuicons.h"

#include <QPainter>
#include <QPixmap>

namespace MenuIcons {

QIcon themed(const QString &name, const QColor &color)
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

} // namespace MenuIcons
