#pragma once

#include <QList>
#include <QMainWindow>

class QActionGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;
class QStackedWidget;
class SettingsWindowController;
class ShortcutRecorder;

// The settings window: a toolbar with "General" and "Shortcuts" and the two
// panes. It only shows its controller's state and hands the user's input to
// the controller's actions.
class SettingsWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit SettingsWindow(SettingsWindowController *controller, QWidget *parent = nullptr);

    SettingsWindowController *controller() const { return m_controller; }
    // The recorder of ShortcutTable's row.
    ShortcutRecorder *recorder(int row) const { return m_recorders.value(row); }

private:
    QWidget *buildGeneralPane();
    QWidget *buildShortcutsPane();
    void setupToolbar();
    void refresh();

    SettingsWindowController *m_controller;
    QStackedWidget *m_contentContainerView = nullptr;
    QActionGroup *m_toolbarItems = nullptr;
    QLabel *m_bundleVersionTextField = nullptr;
    QLabel *m_userEmailTextField = nullptr;
    QCheckBox *m_startAtLoginButton = nullptr;
    QCheckBox *m_showDockButton = nullptr;
    QCheckBox *m_hideDesktopIcons = nullptr;
    QPushButton *m_checkForUpdatesButton = nullptr;
    QLabel *m_updateStatus = nullptr;
    QComboBox *m_userDomainsPopupButton = nullptr;
    QComboBox *m_notificationSoundPopupButton = nullptr;
    QComboBox *m_multiFileUploadPopupButton = nullptr;
    QLabel *m_shortcutsUnavailable = nullptr;
    QList<ShortcutRecorder *> m_recorders;
    QList<QLabel *> m_problems;
};
