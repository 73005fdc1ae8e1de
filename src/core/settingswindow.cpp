#include "settingswindow.h"

#include "settingswindowcontroller.h"
#include "shortcutrecorder.h"

#include <QActionGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QStyle>
#include <QToolBar>
#include <QVBoxLayout>

namespace {

QIcon themeIcon(const QStringList &names, QStyle::StandardPixmap fallback, const QWidget *widget)
{
    for (const QString &name : names) {
        if (QIcon::hasThemeIcon(name))
            return QIcon::fromTheme(name);
    }
    return widget->style()->standardIcon(fallback);
}

QLabel *secondaryLabel(const QString &text = {}, bool wrap = false)
{
    auto *label = new QLabel(text);
    label->setWordWrap(wrap);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

void setItems(QComboBox *box, const QStringList &items, int selected)
{
    const QSignalBlocker blocker(box);
    QStringList current;
    for (int i = 0; i < box->count(); ++i)
        current << box->itemText(i);
    if (current != items) {
        box->clear();
        box->addItems(items);
    }
    box->setCurrentIndex(selected);
}

void setChecked(QCheckBox *box, bool checked)
{
    const QSignalBlocker blocker(box);
    box->setChecked(checked);
}

} // namespace

SettingsWindow::SettingsWindow(SettingsWindowController *controller, QWidget *parent)
    : QMainWindow(parent)
    , m_controller(controller)
{
    setWindowTitle(QStringLiteral("Tessly Cloud Settings"));
    setAttribute(Qt::WA_DeleteOnClose);
    m_contentContainerView = new QStackedWidget;
    m_contentContainerView->addWidget(buildGeneralPane());
    m_contentContainerView->addWidget(buildShortcutsPane());
    setCentralWidget(m_contentContainerView);
    setupToolbar();
    connect(m_controller, &SettingsWindowController::changed, this, &SettingsWindow::refresh);
    connect(m_controller, &SettingsWindowController::closeRequested, this, &QWidget::close);
    m_controller->windowDidLoad();
    refresh();
    // Nothing looks like it is recording until the user picks a field.
    m_contentContainerView->setFocusPolicy(Qt::StrongFocus);
    m_contentContainerView->setFocus();
}

void SettingsWindow::setupToolbar()
{
    auto *toolbar = new QToolBar(QStringLiteral("SettingsToolbar"));
    toolbar->setObjectName(QStringLiteral("SettingsToolbar"));
    toolbar->setMovable(false);
    toolbar->setFloatable(false);
    toolbar->setContextMenuPolicy(Qt::PreventContextMenu);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    toolbar->setIconSize(QSize(24, 24));
    m_toolbarItems = new QActionGroup(this);
    const QList<QIcon> icons {
        themeIcon({ QStringLiteral("preferences-system"), QStringLiteral("preferences-other") },
            QStyle::SP_FileDialogDetailedView, this),
        themeIcon({ QStringLiteral("input-keyboard"), QStringLiteral("preferences-desktop-keyboard") },
            QStyle::SP_ComputerIcon, this),
    };
    auto *leading = new QWidget;
    leading->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(leading);
    const QStringList &identifiers = SettingsWindowController::toolbarAllowedItemIdentifiers();
    for (int i = 0; i < identifiers.size(); ++i) {
        const QString identifier = identifiers[i];
        QAction *item = toolbar->addAction(icons[i], SettingsWindowController::toolbarItemLabel(identifier));
        item->setObjectName(identifier);
        item->setCheckable(true);
        m_toolbarItems->addAction(item);
        connect(item, &QAction::triggered, this,
            [this, identifier] { m_controller->switchToPanelWithIdentifier(identifier); });
    }
    auto *trailing = new QWidget;
    trailing->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(trailing);
    addToolBar(Qt::TopToolBarArea, toolbar);
}

QWidget *SettingsWindow::buildGeneralPane()
{
    auto *pane = new QWidget;
    auto *form = new QFormLayout(pane);
    form->setContentsMargins(24, 18, 24, 18);
    form->setHorizontalSpacing(12);
    form->setVerticalSpacing(8);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);

    m_userEmailTextField = new QLabel;
    m_userEmailTextField->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *logout = new QPushButton(QStringLiteral("Log Out"));
    connect(logout, &QPushButton::clicked, m_controller, &SettingsWindowController::logout);
    auto *account = new QHBoxLayout;
    account->addWidget(m_userEmailTextField);
    account->addSpacing(12);
    account->addWidget(logout);
    account->addStretch();
    form->addRow(QStringLiteral("Account:"), account);

    m_userDomainsPopupButton = new QComboBox;
    m_userDomainsPopupButton->setMinimumContentsLength(18);
    m_userDomainsPopupButton->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    connect(m_userDomainsPopupButton, &QComboBox::textActivated, m_controller,
        &SettingsWindowController::setSelectedDomain);
    auto *newProfile = new QPushButton(QStringLiteral("New Profile…"));
    connect(newProfile, &QPushButton::clicked, m_controller, &SettingsWindowController::newProfile);
    auto *profile = new QHBoxLayout;
    profile->setSpacing(8);
    profile->addWidget(m_userDomainsPopupButton);
    profile->addWidget(newProfile);
    profile->addStretch();
    form->addRow(QStringLiteral("Profile:"), profile);

    form->addItem(new QSpacerItem(0, 4));
    m_startAtLoginButton = new QCheckBox(QStringLiteral("Start Tessly Cloud when you log in"));
    connect(m_startAtLoginButton, &QCheckBox::toggled, m_controller, &SettingsWindowController::setLaunchAtLogin);
    form->addRow(QStringLiteral("Startup:"), m_startAtLoginButton);
    m_showDockButton = new QCheckBox(QStringLiteral("Show in the taskbar"));
    connect(m_showDockButton, &QCheckBox::clicked, m_controller, &SettingsWindowController::toggleDockIcon);
    form->addRow(QString(), m_showDockButton);
    m_hideDesktopIcons = new QCheckBox(QStringLiteral("Hide desktop icons while capturing"));
    connect(m_hideDesktopIcons, &QCheckBox::toggled, m_controller, &SettingsWindowController::setHideIcons);
    form->addRow(QString(), m_hideDesktopIcons);

    form->addItem(new QSpacerItem(0, 4));
    m_notificationSoundPopupButton = new QComboBox;
    m_notificationSoundPopupButton->setMaxVisibleItems(14);
    m_notificationSoundPopupButton->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_notificationSoundPopupButton->setMinimumContentsLength(18);
    connect(m_notificationSoundPopupButton, &QComboBox::textActivated, m_controller,
        &SettingsWindowController::setNotificationSound);
    form->addRow(QStringLiteral("Link copied sound:"), m_notificationSoundPopupButton);
    m_multiFileUploadPopupButton = new QComboBox;
    connect(m_multiFileUploadPopupButton, &QComboBox::activated, m_controller,
        &SettingsWindowController::setMultiFileUploadMode);
    m_multiFileUploadPopupButton->setToolTip(
        QStringLiteral("Several files uploaded at once go into a new folder, or into one ZIP archive"));
    form->addRow(QStringLiteral("Several files as:"), m_multiFileUploadPopupButton);

    form->addItem(new QSpacerItem(0, 4));
    m_bundleVersionTextField = new QLabel;
    m_checkForUpdatesButton = new QPushButton;
    connect(m_checkForUpdatesButton, &QPushButton::clicked, m_controller, &SettingsWindowController::checkForUpdates);
    auto *version = new QHBoxLayout;
    version->addWidget(m_bundleVersionTextField);
    version->addSpacing(12);
    version->addWidget(m_checkForUpdatesButton);
    version->addStretch();
    form->addRow(QStringLiteral("Version:"), version);
    m_updateStatus = secondaryLabel();
    form->addRow(QString(), m_updateStatus);
    return pane;
}

QWidget *SettingsWindow::buildShortcutsPane()
{
    auto *pane = new QWidget;
    auto *layout = new QVBoxLayout(pane);
    layout->setContentsMargins(24, 18, 24, 18);
    layout->setSpacing(12);
    m_shortcutsUnavailable = new QLabel;
    m_shortcutsUnavailable->setWordWrap(true);
    m_shortcutsUnavailable->setFrameShape(QFrame::StyledPanel);
    m_shortcutsUnavailable->setMargin(8);
    layout->addWidget(m_shortcutsUnavailable);
    auto *form = new QFormLayout;
    form->setHorizontalSpacing(12);
    form->setVerticalSpacing(4);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    const QList<SettingsWindowController::Shortcut> shortcuts = m_controller->shortcuts();
    for (int row = 0; row < shortcuts.size(); ++row) {
        auto *recorder = new ShortcutRecorder;
        recorder->setObjectName(QString::fromLatin1(ShortcutTable::rows()[std::size_t(row)].recorder));
        connect(recorder, &ShortcutRecorder::recorded, this, [this, row](const KeyEquivalent &shortcut) {
            m_controller->recorderControlDidEndRecording(row, shortcut);
        });
        auto *problem = secondaryLabel();
        QPalette warning = problem->palette();
        // The desktops' error red, lighter on a dark window.
        const bool dark = warning.color(QPalette::Window).lightness() < 128;
        warning.setColor(QPalette::WindowText, dark ? QColor(0xff, 0x7b, 0x63) : QColor(0xc0, 0x1c, 0x28));
        problem->setPalette(warning);
        problem->setForegroundRole(QPalette::WindowText);
        auto *field = new QVBoxLayout;
        field->setSpacing(2);
        field->addWidget(recorder);
        field->addWidget(problem);
        form->addRow(shortcuts[row].title + QLatin1Char(':'), field);
        m_recorders << recorder;
        m_problems << problem;
    }
    layout->addLayout(form);
    layout->addWidget(secondaryLabel(
        QStringLiteral(
            "Click a field and type the new shortcut; Backspace clears it. The screen recording shortcut is shown in "
            "the tray menu."),
        true));
    layout->addStretch();
    return pane;
}

void SettingsWindow::refresh()
{
    const bool shortcutsPane = m_controller->currentPane() == QLatin1String("toolbar.shortcuts");
    m_contentContainerView->setCurrentIndex(shortcutsPane ? 1 : 0);
    for (QAction *item : m_toolbarItems->actions())
        item->setChecked(item->objectName() == m_controller->currentPane());

    m_userEmailTextField->setText(
        m_controller->userEmail().isEmpty() ? QStringLiteral("Not signed in") : m_controller->userEmail());
    setItems(m_userDomainsPopupButton, m_controller->profiles(), m_controller->selectedProfile());
    m_userDomainsPopupButton->setEnabled(!m_controller->profiles().isEmpty());
    setChecked(m_startAtLoginButton, m_controller->startAtLogin());
    setChecked(m_showDockButton, m_controller->showDock());
    setChecked(m_hideDesktopIcons, m_controller->hideDesktopIcons());
    setItems(m_notificationSoundPopupButton, m_controller->sounds(),
        m_controller->sounds().indexOf(m_controller->selectedSound()));
    setItems(m_multiFileUploadPopupButton, m_controller->multiFileUploadModes(), m_controller->multiFileUploadMode());
    m_bundleVersionTextField->setText(m_controller->bundleVersion());
    m_checkForUpdatesButton->setText(m_controller->updateButtonTitle());
    m_checkForUpdatesButton->setEnabled(!m_controller->isCheckingForUpdates());
    m_updateStatus->setText(m_controller->updateStatus());
    m_updateStatus->setVisible(!m_controller->updateStatus().isEmpty());

    m_shortcutsUnavailable->setText(m_controller->shortcutsUnavailableText());
    m_shortcutsUnavailable->setVisible(!m_controller->shortcutsUnavailableText().isEmpty());
    const QList<SettingsWindowController::Shortcut> shortcuts = m_controller->shortcuts();
    for (int row = 0; row < shortcuts.size() && row < m_recorders.size(); ++row) {
        if (!m_recorders[row]->isRecording())
            m_recorders[row]->setShortcut(shortcuts[row].key);
        m_recorders[row]->setProblem(!shortcuts[row].problem.isEmpty());
        m_problems[row]->setText(shortcuts[row].problem);
        m_problems[row]->setVisible(!shortcuts[row].problem.isEmpty());
    }
}
