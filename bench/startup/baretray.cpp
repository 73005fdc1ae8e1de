// The comparator for bench/startup: the least a Qt tray application does, a
// QApplication and one QSystemTrayIcon, built in the same tree.
#include <QApplication>
#include <QIcon>
#include <QPainter>
#include <QPixmap>
#include <QSystemTrayIcon>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    app.setQuitOnLastWindowClosed(false);
    QPixmap pixmap(22, 22);
    pixmap.fill(Qt::transparent);
    QPainter(&pixmap).fillRect(4, 4, 14, 14, Qt::black);
    QSystemTrayIcon tray { QIcon(pixmap) };
    tray.show();
    return app.exec();
}
