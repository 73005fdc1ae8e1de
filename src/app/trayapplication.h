#pragma once

#include <memory>
#include <QObject>

class QMenu;
class StatusItem;

// The tray process: the status item and its menu.
class TrayApplication : public QObject
{
    Q_OBJECT
public:
    TrayApplication();
    ~TrayApplication() override;

    void start();
    StatusItem *statusItem() const { return m_statusItem.get(); }

private:
    std::unique_ptr<QMenu> m_menu;
    std::unique_ptr<StatusItem> m_statusItem;
};
