#include "statusmenu.h"

#include <QCoreApplication>

StatusMenu::StatusMenu(QObject *actionTarget, QWidget *parent)
    : QMenu(parent)
    , m_target(actionTarget)
{
    addAction(QStringLiteral("Quit"), qApp, &QCoreApplication::quit);
}
