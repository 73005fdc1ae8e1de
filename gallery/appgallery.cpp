// Shows one window or state of the tray application for scripts/gallery to
// photograph: the real controller, launched, then driven into the state.
//
//   tessly-appgallery welcome|processing|error|noprofile
//   tessly-appgallery icon NAME         the tray icon shows image NAME
//   tessly-appgallery sheet FILE.png    every tray image, light and dark, 1x and 2x
//   tessly-appgallery dragsource FILE   another application's window that drags
//                                       FILE (text/uri-list) when pressed
//
// It prints "ready" once the state is on screen and runs until killed.
#include "appdelegate.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "statusitem.h"
#include "welcomewindowcontroller.h"

#include <QApplication>
#include <QDrag>
#include <QFileInfo>
#include <QIcon>
#include <QLabel>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QTextStream>
#include <QTimer>

namespace {

const QStringList kIcons { QStringLiteral("MenuIcon"), QStringLiteral("MenuIcon-1"), QStringLiteral("MenuIcon-3"),
    QStringLiteral("MenuIcon-5"), QStringLiteral("MenuIcon-7"), QStringLiteral("MenuIcon-9"),
    QStringLiteral("MenuIcon-Success-Alt"), QStringLiteral("MenuIcon-Error"), QStringLiteral("stop.circle.fill") };

// Rows: a light panel and a dark one; columns: the images at 22 and 44 pixels.
bool writeSheet(const QString &path)
{
    const int cell = 56;
    QImage sheet(cell * kIcons.size(), cell * 4, QImage::Format_ARGB32);
    sheet.fill(Qt::transparent);
    QPainter painter(&sheet);
    const QList<QPair<QColor, QColor>> panels { { QColor(0xf6, 0xf5, 0xf4), QColor(0x24, 0x1f, 0x31) },
        { QColor(0x30, 0x30, 0x30), QColor(0xff, 0xff, 0xff) } };
    for (int row = 0; row < 4; ++row) {
        const auto &panel = panels[row / 2];
        const int side = row % 2 == 0 ? 22 : 44;
        painter.fillRect(0, row * cell, sheet.width(), cell, panel.first);
        for (int i = 0; i < kIcons.size(); ++i) {
            const QPixmap pixmap = StatusItem::templateIcon(kIcons[i], panel.second).pixmap(side, side);
            painter.drawPixmap(i * cell + (cell - side) / 2, row * cell + (cell - side) / 2, pixmap);
        }
    }
    painter.end();
    return sheet.save(path);
}

// A file manager's file, as far as a drop target can tell.
class DragSource : public QLabel
{
public:
    explicit DragSource(const QString &path)
        : QLabel(QFileInfo(path).fileName())
        , m_path(path)
    {
        setAlignment(Qt::AlignCenter);
        setWindowTitle(QStringLiteral("Files"));
    }

protected:
    void mousePressEvent(QMouseEvent *) override
    {
        auto *data = new QMimeData;
        data->setUrls({ QUrl::fromLocalFile(m_path) });
        auto *drag = new QDrag(this);
        drag->setMimeData(data);
        // The file's icon under the pointer, as file managers drag it, on a
        // card of its own: without a compositor the drag window is opaque.
        QPixmap card(52, 52);
        card.fill(palette().color(QPalette::Base));
        QPainter painter(&card);
        painter.setPen(palette().color(QPalette::Mid));
        painter.drawRect(card.rect().adjusted(0, 0, -1, -1));
        painter.drawPixmap(2, 2, QIcon::fromTheme(QStringLiteral("text-x-generic")).pixmap(48, 48));
        painter.end();
        drag->setPixmap(card);
        drag->setHotSpot(QPoint(26, 26));
        drag->exec(Qt::CopyAction);
    }

private:
    QString m_path;
};

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const QStringList args = app.arguments().mid(1);
    const QString state = args.value(0);
    if (state == QLatin1String("sheet"))
        return writeSheet(args.value(1)) ? 0 : 1;
    if (state == QLatin1String("dragsource")) {
        DragSource source(QFileInfo(args.value(1)).absoluteFilePath());
        source.resize(220, 120);
        source.show();
        QTextStream(stdout) << "ready" << Qt::endl;
        return app.exec();
    }

    AppDelegate delegate;
    delegate.setUrlOpener([](const QUrl &) {});
    delegate.applicationDidFinishLaunching();
    QTimer::singleShot(1500, &delegate, [&] {
        if (state == QLatin1String("welcome")) {
            delegate.welcomeWindowController()->show();
        } else if (state == QLatin1String("processing")) {
            NotificationCenter::defaultCenter().post(
                QString::fromLatin1(Notifications::VideoProcessingBeganNotification), {},
                { { QString::fromLatin1(Notifications::VideoProcessingMessageKey),
                    QStringLiteral("Creating GIF...") } });
        } else if (state == QLatin1String("error")) {
            NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::UserVisibleErrorNotification),
                QVariantMap { { QStringLiteral("error"), QStringLiteral("Upload failed") },
                    { QStringLiteral("message"),
                        QStringLiteral("The service answered with an error (500). Your file is kept and can be "
                                       "uploaded again.") },
                    { QStringLiteral("data"), QStringLiteral("POST /v1/files/demo: 500 Internal Server Error") } });
        } else if (state == QLatin1String("icon")) {
            delegate.statusItem()->setImageNamed(args.value(1));
        }
        QTextStream(stdout) << "ready" << Qt::endl;
        if (state == QLatin1String("noprofile"))
            delegate.promptUserToCreateProfile(); // modal until killed
    });
    return app.exec();
}
