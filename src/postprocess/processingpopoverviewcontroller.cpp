#include "processingpopoverviewcontroller.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QScreen>

ProcessingPopoverViewController::ProcessingPopoverViewController(const QString &message, QWidget *parent)
    : QWidget(parent, Qt::ToolTip | Qt::FramelessWindowHint)
    , m_message(message)
{
    auto *layout = new QHBoxLayout(this);
    layout->addWidget(new QLabel(message, this));
}

void ProcessingPopoverViewController::showAnchoredTo(const QRect &anchor)
{
    adjustSize();
    QScreen *screen = QGuiApplication::screenAt(anchor.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect area = screen->availableGeometry();
    QPoint topLeft(anchor.center().x() - width() / 2, anchor.bottom() + 4);
    if (topLeft.y() + height() > area.bottom())
        topLeft.setY(anchor.top() - 4 - height());
    topLeft.setX(qBound(area.left(), topLeft.x(), area.right() - width()));
    topLeft.setY(qBound(area.top(), topLeft.y(), area.bottom() - height()));
    move(topLeft);
    show();
}
