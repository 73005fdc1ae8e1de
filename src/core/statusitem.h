#pragma once

#include <QIcon>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QString>

class QMenu;
class QSystemTrayIcon;

// The application's icon in the panel's tray.
//
// Images are named as the status item's template images are ("MenuIcon",
// "MenuIcon-1" … "MenuIcon-9", "MenuIcon-Success-Alt", "MenuIcon-Error") and
// drawn monochrome in the panel's text colour. A left click emits clicked(),
// a right click shows the menu.
class StatusItem : public QObject
{
    Q_OBJECT
public:
    explicit StatusItem(QObject *parent = nullptr);
    ~StatusItem() override;

    void setImageNamed(const QString &name);
    QString imageName() const { return m_imageName; }

    void setMenu(QMenu *menu);
    void show();
    bool isVisible() const;

    // Where a panel that belongs under the icon is anchored. The tray tells
    // the icon's geometry over XEmbed; StatusNotifierItem hosts do not, and
    // then this is the pointer position at the last click, clamped to the
    // available area of the screen it is on.
    QRect anchorGeometry() const;

    // The icon drawn for an image name at a given size, tinted with `color`.
    static QIcon templateIcon(const QString &name, const QColor &color);

Q_SIGNALS:
    void clicked();
    void imageNameChanged(const QString &name);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QSystemTrayIcon *m_tray;
    QString m_imageName;
    QPoint m_lastClick;
};
