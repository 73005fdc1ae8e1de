#include "uploadprogressmenuitem.h"

#include "menuicons.h"

#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QToolButton>

UploadProgressMenuItem::UploadProgressMenuItem(QWidget *parent)
    : QWidget(parent)
    , m_model(new UploadProgressModel(this))
    , m_statusText(new QLabel(this))
    , m_progress(new QProgressBar(this))
{
    m_statusText->setTextFormat(Qt::PlainText);
    m_statusText->setMinimumWidth(1); // long error texts elide, never widen the menu
    m_progress->setRange(0, 100);
    m_progress->setTextVisible(false);
    m_progress->setFixedHeight(6);

    m_pauseButton = addButton(QStringLiteral("Pause"));
    m_resumeButton = addButton(QStringLiteral("Resume"));
    m_retryButton = addButton(QStringLiteral("Retry"));
    m_cancelButton = addButton(QStringLiteral("Cancel"));
    connect(m_pauseButton, &QToolButton::clicked, m_model, &UploadProgressModel::pauseButtonClicked);
    connect(m_resumeButton, &QToolButton::clicked, m_model, &UploadProgressModel::resumeButtonClicked);
    connect(m_retryButton, &QToolButton::clicked, m_model, &UploadProgressModel::retryButtonClicked);
    connect(m_cancelButton, &QToolButton::clicked, m_model, &UploadProgressModel::cancelButtonClicked);

    auto *text = new QVBoxLayout;
    text->setSpacing(4);
    text->addWidget(m_statusText);
    text->addWidget(m_progress);
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(12, 4, 8, 4);
    row->setSpacing(2);
    row->addLayout(text, 1);
    row->addSpacing(6);
    for (QToolButton *button : { m_pauseButton, m_resumeButton, m_retryButton, m_cancelButton })
        row->addWidget(button);

    m_model->setConfirmCancel([this](const UploadProgressModel::CancelPrompt &prompt, std::function<void()> accept) {
        confirmCancel(prompt, std::move(accept));
    });
    connect(m_model, &UploadProgressModel::changed, this, &UploadProgressMenuItem::refresh);
    updateIcons();
    refresh();
}

QToolButton *UploadProgressMenuItem::addButton(const QString &toolTip)
{
    auto *button = new QToolButton(this);
    button->setToolTip(toolTip);
    button->setAccessibleName(toolTip);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::NoFocus);
    button->setIconSize(QSize(16, 16));
    return button;
}

void UploadProgressMenuItem::updateIcons()
{
    const QColor color = palette().color(QPalette::WindowText);
    m_pauseButton->setIcon(MenuIcons::themed(QStringLiteral("media-playback-pause"), color));
    m_resumeButton->setIcon(MenuIcons::themed(QStringLiteral("media-playback-start"), color));
    m_retryButton->setIcon(MenuIcons::themed(QStringLiteral("view-refresh"), color));
    m_cancelButton->setIcon(MenuIcons::themed(QStringLiteral("process-stop"), color));
    for (QToolButton *button : { m_pauseButton, m_resumeButton, m_retryButton, m_cancelButton }) {
        if (button->icon().isNull())
            button->setText(button->toolTip());
    }
}

void UploadProgressMenuItem::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange)
        updateIcons();
    QWidget::changeEvent(event);
}

void UploadProgressMenuItem::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    refresh(); // the status line elides to the new width
}

void UploadProgressMenuItem::refresh()
{
    const QString text = m_model->statusText();
    m_statusText->setText(m_statusText->fontMetrics().elidedText(text, Qt::ElideRight, qMax(1, m_statusText->width())));
    m_statusText->setToolTip(text);
    m_progress->setValue(m_model->progressValue());
    m_pauseButton->setVisible(m_model->isPauseVisible());
    m_resumeButton->setVisible(m_model->isResumeVisible());
    m_retryButton->setVisible(m_model->isRetryVisible());
    m_cancelButton->setVisible(m_model->isCancelVisible());
}

void UploadProgressMenuItem::confirmCancel(
    const UploadProgressModel::CancelPrompt &prompt, std::function<void()> accept)
{
    // A menu holds the pointer and keyboard while it is open: close it
    // before the dialog asks.
    for (QWidget *w = parentWidget(); w; w = w->parentWidget()) {
        if (auto *menu = qobject_cast<QMenu *>(w))
            menu->close();
    }
    auto *box = new QMessageBox(QMessageBox::Warning, prompt.message, prompt.message);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(prompt.informativeText);
    QPushButton *cancelAll = box->addButton(prompt.cancelButton, QMessageBox::DestructiveRole);
    QPushButton *keep = box->addButton(prompt.continueButton, QMessageBox::RejectRole);
    box->setDefaultButton(keep);
    connect(box, &QMessageBox::finished, box, [box, cancelAll, accept = std::move(accept)] {
        if (box->clickedButton() == cancelAll)
            accept();
    });
    box->open();
}
