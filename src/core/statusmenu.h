#pragma once

#include <QMenu>
#include <QPointer>

// The tray icon's context menu: capture and upload commands, the recent items
// of the selected segment, the upload and recording rows, and the dashboard,
// settings and quit commands.
//
// Its commands are sent to `actionTarget` by slot name, the way a menu item
// names its action: captureScreen(), markupScreen(), recordScreen(),
// uploadSelection(), uploadClipboard(), openDashboard(), showSettings().
class StatusMenu : public QMenu
{
    Q_OBJECT
public:
    explicit StatusMenu(QObject *actionTarget, QWidget *parent = nullptr);

private:
    QPointer<QObject> m_target;
};
