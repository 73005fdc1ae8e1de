#include "outsideclickmonitor.h"

#include "pointerbuttonmonitor.h"

#include <QCursor>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QWidget>

Q_LOGGING_CATEGORY(lcOutsideClickMonitor, "tessly.popover.outsideclickmonitor")

OutsideClickMonitor::OutsideClickMonitor(QWidget *panel, QObject *parent)
    : QObject(parent)
    , m_panel(panel)
    , m_buttons(PointerButtonMonitor::create())
{
    qCDebug(lcOutsideClickMonitor) << "pointer buttons from the" << m_buttons->backendName() << "backend";
    connect(m_buttons.get(), &PointerButtonMonitor::pressed, this, &OutsideClickMonitor::buttonPressed);
    connect(m_buttons.get(), &PointerButtonMonitor::released, this, &OutsideClickMonitor::buttonReleased);
    connect(qApp, &QGuiApplication::applicationStateChanged, this, &OutsideClickMonitor::applicationStateChanged);
}

OutsideClickMonitor::~OutsideClickMonitor() = default;

void OutsideClickMonitor::install()
{
    m_installed = true;
    m_suspended = 0;
    m_dragDuringPress = false;
    m_buttons->setListening(true);
}

void OutsideClickMonitor::remove()
{
    m_installed = false;
    m_buttons->setListening(false);
}

void OutsideClickMonitor::suspend()
{
    ++m_suspended;
}

void OutsideClickMonitor::resume()
{
    m_suspended = qMax(0, m_suspended - 1);
}

void OutsideClickMonitor::dragEntered()
{
    m_dragDuringPress = true;
}

bool OutsideClickMonitor::watching() const
{
    return m_installed && m_suspended == 0 && m_panel && m_panel->isVisible();
}

void OutsideClickMonitor::applicationStateChanged(Qt::ApplicationState state)
{
    if (state == Qt::ApplicationActive) {
        // The user came back to the application: any drag of before is over.
        m_dragDuringPress = false;
        return;
    }
    if (!watching() || m_dragDuringPress)
        return;
    if (m_buttons->isButtonHeld()) {
        qCDebug(lcOutsideClickMonitor) << "the focus went while a button is held; its release decides";
        return;
    }
    qCDebug(lcOutsideClickMonitor) << "the focus went to another application";
    Q_EMIT clickedElsewhere();
}

void OutsideClickMonitor::buttonPressed()
{
    m_dragDuringPress = false;
}

void OutsideClickMonitor::buttonReleased()
{
    // While the application has the focus the press was in one of its own
    // windows, or the focus has not left yet (then its loss decides).
    if (!watching() || m_dragDuringPress || QGuiApplication::applicationState() == Qt::ApplicationActive)
        return;
    if (m_panel->geometry().contains(QCursor::pos()))
        return;
    qCDebug(lcOutsideClickMonitor) << "a click ended in another application";
    Q_EMIT clickedElsewhere();
}
