#pragma once

#include "recordingstatusbutton.h"

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
// drawn monochrome in the panel's text colour. A left click emits clicked()
// (or runs the click action while one is set: the recorder's stop), a right
// click shows the menu.
class StatusItem : public QObject, public RecordingStatusButton
{
    Q_OBJECT
public:
    explicit StatusItem(QObject *parent = nullptr);
    ~StatusItem() override;

    void setImageNamed(const QString &name) override;
    QString imageName() const override { return m_imageName; }
    // The tooltip; empty gives back the application's name.
    void setAccessibilityDescription(const QString &text) override;
    ClickAction clickAction() const override { return m_clickAction; }
    void setClickAction(ClickAction action) override { m_clickAction = std::move(action); }

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
    ClickAction m_clickAction;
};
