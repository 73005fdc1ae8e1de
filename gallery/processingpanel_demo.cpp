// Shows the processing panel next to a tray icon and keeps both up until it is
// killed: scripts/gallery.d/processing.sh photographs it.
//   processingpanel-demo [MESSAGE]
#include "processingpopoverviewcontroller.h"

#include <QApplication>
#include <QPainter>
#include <QSystemTrayIcon>
#include <QTimer>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QPixmap pixmap(64, 64);
    pixmap.fill(Qt::transparent);
    {
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(QColor(0x30, 0x60, 0xc0));
        painter.setPen(Qt::NoPen);
        painter.drawEllipse(QRectF(8, 8, 48, 48));
    }
    QSystemTrayIcon tray { QIcon(pixmap) };
    tray.show();
    const QString message = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
    ProcessingPopoverViewController panel(message);
    // The tray host embeds the icon a moment after show(); place the panel
    // once the icon has a place of its own.
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (tray.geometry().isEmpty())
            return;
        poll.stop();
        panel.showAnchoredTo(tray.geometry());
    });
    poll.start(50);
    return app.exec();
}
