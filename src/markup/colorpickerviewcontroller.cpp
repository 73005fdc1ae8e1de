#include "colorpickerviewcontroller.h"

#include "colorbutton.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "settingsstore.h"

#include <QGridLayout>
#include <QPainter>
#include <QScreen>

ColorPickerViewController::ColorPickerViewController(QWidget *parent)
    : QWidget(parent, Qt::Popup | Qt::FramelessWindowHint)
{
    setWindowTitle(tr("Colour"));
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins(12, 12, 12, 12);
    grid->setSpacing(6);
    const QList<QColor> colours = swatchColors();
    const QStringList names = { tr("Red"), tr("Orange"), tr("Yellow"), tr("Green"), tr("Teal"), tr("Blue"),
        tr("Purple"), tr("Pink"), tr("Brown"), tr("Grey"), tr("White"), tr("Black") };
    for (qsizetype i = 0; i < colours.size(); ++i) {
        auto *button = new ColorButton(colours.at(i), this);
        button->setToolTip(names.value(i));
        button->setAccessibleName(names.value(i));
        connect(button, &QToolButton::clicked, this, [this, button] { setColor(button); });
        grid->addWidget(button, int(i / 4), int(i % 4));
        m_buttons << button;
    }
}

QList<QColor> ColorPickerViewController::swatchColors()
{
    return { QColor(255, 59, 48), QColor(255, 149, 0), QColor(255, 204, 0), QColor(52, 199, 89), QColor(48, 176, 199),
        QColor(0, 122, 255), QColor(175, 82, 222), QColor(255, 45, 85), QColor(162, 132, 94), QColor(142, 142, 147),
        QColor(255, 255, 255), QColor(0, 0, 0) };
}

void ColorPickerViewController::setColor(ColorButton *sender)
{
    const QColor colour = sender->backgroundColor();
    SettingsStore::instance().setLineColor(colour);
    NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::ColorPickerColorDidChangeNotification),
        QVariant::fromValue<QObject *>(this), { { QStringLiteral("color"), colour } });
    hide();
}

void ColorPickerViewController::showRelativeTo(QWidget *anchor)
{
    adjustSize();
    const QPoint below = anchor->mapToGlobal(QPoint(anchor->width() / 2, anchor->height() + 4));
    QPoint at(below.x() - width() / 2, below.y());
    if (QScreen *screen = anchor->screen()) {
        const QRect area = screen->availableGeometry();
        at.setX(std::clamp(at.x(), area.left(), std::max(area.left(), area.right() - width())));
        if (at.y() + height() > area.bottom())
            at.setY(anchor->mapToGlobal(QPoint(0, 0)).y() - height() - 4);
    }
    move(at);
    show();
    raise();
}

void ColorPickerViewController::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    QColor rim = palette().color(QPalette::WindowText);
    rim.setAlphaF(0.2);
    painter.setPen(QPen(rim, 1));
    painter.setBrush(palette().color(QPalette::Window));
    painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
}
