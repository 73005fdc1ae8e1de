#pragma once

#include <QObject>
#include <QPointer>

#include <memory>

class PointerButtonMonitor;
class QWidget;

// Tells the panel when the user clicked elsewhere, so it can close.
//
// Losing the focus is not yet a click elsewhere: a press in a file manager
// that starts a drag towards the panel takes the focus too. With a button
// held when the application loses the focus, the decision waits for its
// release: the panel is clicked away then, unless a drag came over the panel
// during that press (its drop is taken, the panel stays). The focus going to
// another window with no button held (Alt+Tab, a click already released)
// closes at once. Once the application has lost the focus (after a drop), a
// release outside the panel closes it.
//
// Where the desktop tells nothing of other applications' buttons (the null
// pointer backend), every loss of focus closes the panel unless a drag is
// over it.
class OutsideClickMonitor : public QObject
{
    Q_OBJECT
public:
    explicit OutsideClickMonitor(QWidget *panel, QObject *parent = nullptr);
    ~OutsideClickMonitor() override;

    void install();
    void remove();
    bool isInstalled() const { return m_installed; }
    // While suspended (a drag over the panel, a file dialog, a popup of the
    // panel's), nothing closes it; suspensions nest.
    void suspend();
    void resume();
    // A drag came over the panel: the press that carries it is no click
    // elsewhere, also when its release is seen after the drop.
    void dragEntered();

Q_SIGNALS:
    void clickedElsewhere();

private:
    bool watching() const;
    void applicationStateChanged(Qt::ApplicationState state);
    void buttonPressed();
    void buttonReleased();

    QPointer<QWidget> m_panel;
    std::unique_ptr<PointerButtonMonitor> m_buttons;
    bool m_installed = false;
    int m_suspended = 0;
    bool m_dragDuringPress = false;
};
