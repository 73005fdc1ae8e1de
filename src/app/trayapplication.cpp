#include "trayapplication.h"

#include "statusitem.h"
#include "statusmenu.h"

#include <QApplication>

TrayApplication::TrayApplication()
    : m_menu(std::make_unique<StatusMenu>(this))
    , m_statusItem(std::make_unique<StatusItem>())
{
    m_statusItem->setMenu(m_menu.get());
}

TrayApplication::~TrayApplication() = default;

void TrayApplication::start()
{
    m_statusItem->show();
}
