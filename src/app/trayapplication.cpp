#include "trayapplication.h"

#include "statusitem.h"

#include <QApplication>
#include <QMenu>

TrayApplication::TrayApplication()
    : m_menu(std::make_unique<QMenu>())
    , m_statusItem(std::make_unique<StatusItem>())
{
    m_menu->addAction(QStringLiteral("Quit Tessly Cloud"), qApp, &QCoreApplication::quit);
    m_statusItem->setMenu(m_menu.get());
}

TrayApplication::~TrayApplication() = default;

void TrayApplication::start()
{
    m_statusItem->show();
}
