#include "statusitem.h"

#include <QApplication>
#include <QCursor>
#include <QLoggingCategory>
#include <QMenu>
#include <QPainter>
#include <QPalette>
#include <QScreen>
#include <QSvgRenderer>
#include <QSystemTrayIcon>

Q_LOGGING_CATEGORY(lcStatusItem, "tessly.core.statusitem")

StatusItem::StatusItem(QObject *parent)
    : QObject(parent)
    , m_tray(new QSystemTrayIcon(this))
{
    m_tray->setToolTip(QStringLiteral("Tessly Cloud"));
    connect(m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        m_lastClick = QCursor::pos();
        if (reason != QSystemTrayIcon::Trigger)
            return;
        if (m_clickAction)
            m_clickAction();
        else
            Q_EMIT clicked();
    });
    setImageNamed(QStringLiteral("MenuIcon"));
    // A switch between light and dark panels re-tints the icon.
    qApp->installEventFilter(this);
}

bool StatusItem::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange && !m_imageName.isEmpty())
        setImageNamed(m_imageName);
    return QObject::eventFilter(watched, event);
}

StatusItem::~StatusItem() = default;

QIcon StatusItem::templateIcon(const QString &name, const QColor &color)
{
    QSvgRenderer renderer(QStringLiteral(":/icons/%1.svg").arg(name));
    if (!renderer.isValid())
        return {};
    QIcon icon;
    for (int side : { 16, 22, 24, 32, 44, 48, 64 }) {
        QPixmap pixmap(side, side);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        renderer.render(&painter);
        // Keep the drawing's alpha, take the colour from the panel.
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(pixmap.rect(), color);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

void StatusItem::setImageNamed(const QString &name)
{
    const QIcon icon = templateIcon(name, QApplication::palette().color(QPalette::WindowText));
    if (icon.isNull()) {
        qCWarning(lcStatusItem) << "no status item image named" << name;
        return;
    }
    const bool changed = m_imageName != name;
    m_imageName = name;
    m_tray->setIcon(icon);
    if (changed)
        Q_EMIT imageNameChanged(name);
}

void StatusItem::setAccessibilityDescription(const QString &text)
{
    m_tray->setToolTip(text.isEmpty() ? QStringLiteral("Tessly Cloud") : text);
}

void StatusItem::setMenu(QMenu *menu)
{
    m_tray->setContextMenu(menu);
}

void StatusItem::show()
{
    if (!QSystemTrayIcon::isSystemTrayAvailable())
        qCWarning(lcStatusItem) << "no system tray is available on this desktop";
    m_tray->show();
}

bool StatusItem::isVisible() const
{
    return m_tray->isVisible();
}

QRect StatusItem::anchorGeometry() const
{
    const QRect geometry = m_tray->geometry();
    if (geometry.isValid() && !geometry.isEmpty())
        return geometry;
    const QPoint at = m_lastClick.isNull() ? QCursor::pos() : m_lastClick;
    QScreen *screen = QGuiApplication::screenAt(at);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(at, QSize(1, 1));
    const QPoint clamped(qBound(area.left(), at.x(), area.right()), qBound(area.top(), at.y(), area.bottom()));
    return QRect(clamped, QSize(1, 1));
}
