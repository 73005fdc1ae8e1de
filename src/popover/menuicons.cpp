#include "menuicons.h"

#include <QPainter>
#include <QPixmap>

namespace MenuIcons {

QIcon themed(const QString &name, const QColor &color)
{
    if (QIcon::hasThemeIcon(name))
        return QIcon::fromTheme(name);
    const QIcon symbolic = QIcon::fromTheme(name + QStringLiteral("-symbolic"));
    if (symbolic.isNull())
        return {};
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
