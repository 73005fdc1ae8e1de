#include "dashboardpanel.h"

#include "panelplacement.h"
#include "settingsstore.h"

#include <QLoggingCategory>
#include <QTimer>
#include <QVBoxLayout>

Q_LOGGING_CATEGORY(lcDashboardPanel, "tessly.core.dashboardpanel")

DashboardPanel::DashboardPanel(QWidget *parent)
    : QWidget(parent, Qt::Popup | Qt::FramelessWindowHint)
    , m_toast(new QLabel(this))
{
    setWindowTitle(QStringLiteral("Tessly Cloud"));
    setAttribute(Qt::WA_TranslucentBackground, false);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 14);
    layout->setSpacing(6);
    auto *title = new QLabel(QStringLiteral("<b>Tessly Cloud</b>"), this);
    auto *text = new QLabel(QStringLiteral("Your recent files, folders and links will show here.\n"
                                           "Right-click the tray icon for screenshots and uploads."),
        this);
    text->setWordWrap(true);
    text->setForegroundRole(QPalette::PlaceholderText);
    m_toast->setAlignment(Qt::AlignCenter);
    m_toast->hide();
    layout->addWidget(title);
    layout->addWidget(text);
    layout->addWidget(m_toast);
    setFixedWidth(320);
}

void DashboardPanel::showAnchoredTo(const QRect &anchor)
{
    adjustSize();
    move(panelPositionFor(anchor, size()));
    show();
    raise();
}

void DashboardPanel::toggleAnchoredTo(const QRect &anchor)
{
    if (isVisible())
        hide();
    else
        showAnchoredTo(anchor);
}

void DashboardPanel::showToast(const QString &text)
{
    m_toast->setText(text);
    m_toast->show();
    QTimer::singleShot(2000, m_toast, &QWidget::hide);
}

QString DashboardPanel::toastText() const
{
    return m_toast->isVisible() ? m_toast->text() : QString();
}

void DashboardPanel::switchToSegment(int segment)
{
    SettingsStore::instance().setSelectedMenuSegment(segment);
    loadFiles();
}

void DashboardPanel::loadFiles()
{
    qCDebug(lcDashboardPanel) << "reload of segment" << SettingsStore::instance().selectedMenuSegment();
}
