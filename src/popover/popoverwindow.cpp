#include "popoverwindow.h"

#include "menuicons.h"
#include "popoveractiongridview.h"
#include "popoverfilerowview.h"
#include "popoveruploadstripview.h"
#include "popoverwindowcontroller.h"
#include "qrcode.h"
#include "settingsstore.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QHash>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QStackedWidget>
#include <QTabBar>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

constexpr Qt::WindowFlags kPanelFlags = Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint;
// The room beside the avatar and the web button for the profile name.
constexpr int kProfileTextWidth = 260;
// More rows than the list shows without scrolling.
constexpr int kRowsBeforePaint = 8;
constexpr int kFrameMs = 16;

QLabel *label(const QString &text, QWidget *parent, qreal scale = 1.0, bool bold = false)
{
    auto *l = new QLabel(text, parent);
    l->setTextFormat(Qt::PlainText);
    QFont font = l->font();
    font.setPointSizeF(font.pointSizeF() * scale);
    font.setBold(bold);
    l->setFont(font);
    return l;
}

QToolButton *iconButton(const QString &icon, const QString &tip, QWidget *parent)
{
    auto *button = new QToolButton(parent);
    button->setProperty("themeIcon", icon);
    button->setToolTip(tip);
    button->setAccessibleName(tip);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::NoFocus);
    button->setIconSize(QSize(16, 16));
    return button;
}

// A hairline between sections.
QFrame *separator(QWidget *parent)
{
    auto *line = new QFrame(parent);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Plain);
    line->setForegroundRole(QPalette::Mid);
    line->setFixedHeight(1);
    return line;
}

// The dashed drop pad behind the empty state; accent-coloured under a drag.
class DropPad : public QWidget
{
public:
    using QWidget::QWidget;
    bool dragOver = false;

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        const QColor accent = palette().color(QPalette::Highlight);
        QColor line = dragOver ? accent : palette().color(QPalette::PlaceholderText);
        line.setAlphaF(dragOver ? 1.0 : 0.45);
        QPen pen(line, dragOver ? 2.0 : 1.5, Qt::DashLine);
        pen.setDashPattern({ 4, 3 });
        painter.setPen(pen);
        QColor fill = accent;
        fill.setAlphaF(dragOver ? 0.12 : 0.0);
        painter.setBrush(fill);
        painter.drawRoundedRect(QRectF(rect()).adjusted(16, 12, -16, -12), 14, 14);
    }
};

} // namespace

PopoverWindow::PopoverWindow(PopoverWindowController *controller)
    : QWidget(nullptr, kPanelFlags)
    , m_controller(controller)
    , m_pages(new QStackedWidget(this))
    , m_topSlot(new QStackedWidget(this))
    , m_actionGrid(new PopoverActionGridView(controller, this))
    , m_strip(new PopoverUploadStripView(controller, this))
    , m_tabBar(new QTabBar(this))
    , m_listPages(new QStackedWidget(this))
    , m_scrollArea(new QScrollArea(this))
    , m_toast(new QLabel(this))
{
    setWindowTitle(QStringLiteral("Tessly Cloud"));
    setObjectName(QStringLiteral("TesslyDashboard"));
    setAcceptDrops(true);
    setFocusPolicy(Qt::StrongFocus);
    setFixedSize(PopoverWindowController::kWidth, PopoverWindowController::kHeight);

    m_topSlot->addWidget(buildHeader());
    m_topSlot->addWidget(m_strip);
    m_topSlot->setFixedHeight(68);

    for (const char *title : { "Files", "Folders", "Documents", "Links" })
        m_tabBar->addTab(QString::fromLatin1(title));
    m_tabBar->setExpanding(true);
    m_tabBar->setDocumentMode(true);
    m_tabBar->setDrawBase(false);
    m_tabBar->setFocusPolicy(Qt::NoFocus);
    connect(m_tabBar, &QTabBar::currentChanged, this, [this](int index) {
        if (!m_settingTab)
            m_controller->tabChanged(index);
    });

    auto *listWidget = new QWidget;
    m_fileListStack = new QVBoxLayout(listWidget);
    m_fileListStack->setContentsMargins(4, 4, 4, 4);
    m_fileListStack->setSpacing(0);
    m_fileListStack->addStretch();
    m_scrollArea->setWidget(listWidget);
    m_scrollArea->setWidgetResizable(true);
    m_scrollArea->setFrameShape(QFrame::NoFrame);
    m_scrollArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_scrollArea->setFocusPolicy(Qt::NoFocus);
    m_scrollArea->viewport()->setAutoFillBackground(false);
    listWidget->setAutoFillBackground(false);
    m_listPages->addWidget(m_scrollArea);
    m_listPages->addWidget(buildEmptyState());

    auto *signedIn = new QWidget;
    auto *column = new QVBoxLayout(signedIn);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(m_topSlot);
    column->addWidget(m_actionGrid);
    column->addSpacing(4);
    column->addWidget(buildPromoCard());
    column->addWidget(m_tabBar);
    column->addWidget(separator(signedIn));
    column->addWidget(m_listPages, 1);
    m_pages->addWidget(signedIn);
    m_pages->addWidget(buildLoggedOut());

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->setSpacing(0);
    layout->addWidget(m_pages, 1);
    layout->addWidget(separator(this));
    layout->addWidget(buildFooter());

    m_toast->setAlignment(Qt::AlignCenter);
    m_toast->setTextFormat(Qt::PlainText);
    m_toast->setAutoFillBackground(false);
    m_toast->hide();

    connect(controller, &PopoverWindowController::itemsChanged, this, &PopoverWindow::rebuildRows);
    connect(controller, &PopoverWindowController::loginStateChanged, this, &PopoverWindow::updateLoginState);
    connect(controller, &PopoverWindowController::meDataChanged, this, &PopoverWindow::updateMeData);
    connect(controller, &PopoverWindowController::uploadStripChanged, this, &PopoverWindow::updateUploadStrip);
    connect(controller, &PopoverWindowController::dragOverChanged, this, &PopoverWindow::updateEmptyState);
    connect(controller, &PopoverWindowController::toastChanged, this, &PopoverWindow::updateToast);
    // A reopened panel keeps its rows (an unchanged answer rebuilds none)
    // but not the last selection.
    connect(controller, &PopoverWindowController::visibilityChanged, this, [this](bool visible) {
        if (!visible || m_selected < 0 || m_selected >= m_rows.size())
            return;
        m_rows[m_selected]->setSelected(false);
        m_selected = -1;
    });
    connect(controller, &PopoverWindowController::segmentChanged, this, [this](int segment) {
        m_settingTab = true;
        m_tabBar->setCurrentIndex(segment);
        m_settingTab = false;
        updateMeData();
        updateEmptyState();
    });
    updateIcons();
    updateLoginState();
    updateUploadStrip();
    rebuildRows();
}

// ---- Sections ----------------------------------------------------------------------

QWidget *PopoverWindow::buildHeader()
{
    m_header = new QWidget(this);
    m_avatar = new QLabel(m_header);
    m_avatar->setFixedSize(36, 36);
    m_profileButton = new QToolButton(m_header);
    m_profileButton->setObjectName(QStringLiteral("profileButton"));
    m_profileButton->setPopupMode(QToolButton::InstantPopup);
    m_profileButton->setToolButtonStyle(Qt::ToolButtonTextOnly);
    m_profileButton->setAutoRaise(true);
    m_profileButton->setFocusPolicy(Qt::NoFocus);
    m_profileButton->setToolTip(QStringLiteral("Switch profile"));
    QFont bold = m_profileButton->font();
    bold.setBold(true);
    m_profileButton->setFont(bold);
    m_email = label(QString(), m_header, 0.88);
    m_email->setForegroundRole(QPalette::PlaceholderText);
    m_email->setMinimumWidth(1);

    auto *texts = new QVBoxLayout;
    texts->setSpacing(0);
    texts->addStretch();
    texts->addWidget(m_profileButton, 0, Qt::AlignLeft);
    texts->addWidget(m_email);
    texts->addStretch();
    QToolButton *web = iconButton(QStringLiteral("go-home"), QStringLiteral("Open Dashboard in Browser"), m_header);
    connect(
        web, &QToolButton::clicked, m_controller, [this] { m_controller->performApplicationAction("openDashboard"); });
    m_iconButtons << web;
    auto *row = new QHBoxLayout(m_header);
    row->setContentsMargins(16, 10, 12, 8);
    row->setSpacing(10);
    row->addWidget(m_avatar);
    row->addLayout(texts, 1);
    row->addWidget(web);
    return m_header;
}

QWidget *PopoverWindow::buildPromoCard()
{
    m_promoCard = new QWidget(this);
    auto *icon = new QLabel(m_promoCard);
    icon->setObjectName(QStringLiteral("promoIcon"));
    icon->setFixedSize(24, 24);
    auto *title = label(QStringLiteral("Tessly Cloud on your phone"), m_promoCard, 0.92, true);
    auto *text = label(QStringLiteral("Share from anywhere."), m_promoCard, 0.88);
    text->setForegroundRole(QPalette::PlaceholderText);
    auto *get = new QPushButton(QStringLiteral("Get the App"), m_promoCard);
    get->setFocusPolicy(Qt::NoFocus);
    connect(get, &QPushButton::clicked, m_controller, &PopoverWindowController::openPhoneAppPage);
    QToolButton *close = iconButton(QStringLiteral("window-close"), QStringLiteral("Dismiss"), m_promoCard);
    m_iconButtons << close;
    connect(close, &QToolButton::clicked, m_controller, &PopoverWindowController::dismissPromo);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(0);
    texts->addWidget(title);
    texts->addWidget(text);
    auto *row = new QHBoxLayout(m_promoCard);
    row->setContentsMargins(18, 6, 10, 8);
    row->setSpacing(10);
    row->addWidget(icon);
    row->addLayout(texts, 1);
    row->addWidget(get);
    row->addWidget(close);
    return m_promoCard;
}

QWidget *PopoverWindow::buildEmptyState()
{
    auto *pad = new DropPad(this);
    m_emptyState = pad;
    m_emptyIcon = new QLabel(pad);
    m_emptyIcon->setAlignment(Qt::AlignCenter);
    m_emptyHeading = label(QString(), pad, 1.1, true);
    m_emptyHeading->setAlignment(Qt::AlignCenter);
    m_emptyText = label(QString(), pad, 0.92);
    m_emptyText->setAlignment(Qt::AlignCenter);
    m_emptyText->setForegroundRole(QPalette::PlaceholderText);
    m_emptyChoose = new QPushButton(pad);
    m_emptyChoose->setObjectName(QStringLiteral("emptyStateButton"));
    m_emptyChoose->setFocusPolicy(Qt::NoFocus);
    // Files and folders come from the disk; documents and links are made on
    // the web.
    connect(m_emptyChoose, &QPushButton::clicked, m_controller, [this] {
        const QString noun = m_controller->nounForCurrentSegment();
        if (noun == QLatin1String("document"))
            m_controller->createDocument();
        else if (noun == QLatin1String("link"))
            m_controller->createLink();
        else
            m_controller->emptyStateChooseFile();
    });
    auto *column = new QVBoxLayout(pad);
    column->setContentsMargins(32, 24, 32, 24);
    column->setSpacing(8);
    column->addStretch();
    column->addWidget(m_emptyIcon);
    column->addSpacing(4);
    column->addWidget(m_emptyHeading);
    column->addWidget(m_emptyText);
    column->addSpacing(8);
    column->addWidget(m_emptyChoose, 0, Qt::AlignHCenter);
    column->addStretch();
    return pad;
}

QWidget *PopoverWindow::buildLoggedOut()
{
    m_loggedOut = new QWidget(this);
    auto *logo = new QLabel(m_loggedOut);
    logo->setObjectName(QStringLiteral("logo"));
    logo->setAlignment(Qt::AlignCenter);
    auto *title = label(QStringLiteral("Get Started"), m_loggedOut, 1.5, true);
    title->setAlignment(Qt::AlignCenter);
    auto *text = label(QStringLiteral("Sign in to start uploading and sharing files"), m_loggedOut, 1.0);
    text->setAlignment(Qt::AlignCenter);
    text->setWordWrap(true);
    text->setForegroundRole(QPalette::PlaceholderText);
    auto *signIn = new QPushButton(QStringLiteral("Sign In"), m_loggedOut);
    signIn->setDefault(true);
    signIn->setMinimumWidth(160);
    connect(signIn, &QPushButton::clicked, m_controller, &PopoverWindowController::signIn);
    auto *column = new QVBoxLayout(m_loggedOut);
    column->setContentsMargins(40, 40, 40, 40);
    column->setSpacing(10);
    column->addStretch(2);
    column->addWidget(logo);
    column->addSpacing(8);
    column->addWidget(title);
    column->addWidget(text);
    column->addSpacing(14);
    column->addWidget(signIn, 0, Qt::AlignHCenter);
    column->addStretch(3);
    return m_loggedOut;
}

QWidget *PopoverWindow::buildFooter()
{
    m_footer = new QWidget(this);
    auto *row = new QHBoxLayout(m_footer);
    row->setContentsMargins(10, 4, 10, 4);
    row->setSpacing(2);
    QToolButton *settings = iconButton(QStringLiteral("emblem-system"), QStringLiteral("Settings"), m_footer);
    settings->setText(QStringLiteral("Settings"));
    settings->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    connect(settings, &QToolButton::clicked, m_controller,
        [this] { m_controller->performApplicationAction("showSettings"); });
    QToolButton *quit = iconButton(QStringLiteral("system-shutdown"), QStringLiteral("Quit Tessly Cloud"), m_footer);
    quit->setText(QStringLiteral("Quit"));
    quit->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    connect(quit, &QToolButton::clicked, qApp, &QApplication::quit, Qt::QueuedConnection);
    m_iconButtons << settings << quit;
    m_signedInFooter << settings;
    row->addWidget(settings);
    row->addStretch();
    row->addWidget(quit);
    return m_footer;
}

// ---- State -------------------------------------------------------------------------------

void PopoverWindow::updateLoginState()
{
    const bool loggedIn = m_controller->isLoggedIn();
    m_pages->setCurrentIndex(loggedIn ? 0 : 1);
    for (QWidget *w : std::as_const(m_signedInFooter))
        w->setVisible(loggedIn);
    if (m_promoCard)
        m_promoCard->setVisible(loggedIn && !m_controller->isPromoDismissed());
}

void PopoverWindow::updateMeData()
{
    const QString domain = SettingsStore::instance().domain();
    const QVariantMap me = m_controller->cachedMeData();
    const QVariantList drawnFrom { domain, me, palette().color(QPalette::Highlight), devicePixelRatioF(), font() };
    if (drawnFrom == m_headerDrawnFrom)
        return;
    m_headerDrawnFrom = drawnFrom;
    const QString email = me.value(QStringLiteral("email")).toString();
    // A long profile name is shortened; the header keeps its layout.
    const QString profile = domain.isEmpty() ? QStringLiteral("Tessly Cloud") : domain;
    m_profileButton->setText(m_profileButton->fontMetrics().elidedText(profile, Qt::ElideRight, kProfileTextWidth));
    m_profileButton->setToolTip(profile == m_profileButton->text()
            ? QStringLiteral("Switch profile")
            : QStringLiteral("%1 \u2013 Switch profile").arg(profile));
    m_email->setText(m_email->fontMetrics().elidedText(email, Qt::ElideRight, 260));
    m_email->setToolTip(email);

    // The avatar: the profile's initial on the accent colour.
    const qreal ratio = devicePixelRatioF();
    QPixmap avatar(qRound(36 * ratio), qRound(36 * ratio));
    avatar.setDevicePixelRatio(ratio);
    avatar.fill(Qt::transparent);
    QPainter painter(&avatar);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::Highlight));
    painter.drawEllipse(QRectF(0, 0, 36, 36));
    QFont font = this->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.2);
    painter.setFont(font);
    painter.setPen(palette().color(QPalette::HighlightedText));
    const QString initial = (domain.isEmpty() ? email : domain).left(1).toUpper();
    painter.drawText(QRectF(0, 0, 36, 36), Qt::AlignCenter, initial.isEmpty() ? QStringLiteral("T") : initial);
    painter.end();
    m_avatar->setPixmap(avatar);

    // The profile menu: every profile of the account.
    auto *menu = new QMenu(m_profileButton);
    for (const QVariant &profile : me.value(QStringLiteral("profiles")).toList()) {
        const QVariantMap map = profile.toMap();
        QString name = map.value(QStringLiteral("name")).toString();
        if (name.isEmpty())
            name = map.value(QStringLiteral("domain")).toString();
        if (name.isEmpty())
            continue;
        QAction *action = menu->addAction(name, m_controller, [this, name] { m_controller->selectProfile(name); });
        action->setCheckable(true);
        action->setChecked(name == domain);
    }
    delete m_profileButton->menu();
    m_profileButton->setMenu(menu->isEmpty() ? nullptr : menu);
    if (menu->isEmpty())
        delete menu;
}

void PopoverWindow::updateUploadStrip()
{
    const PopoverWindowController::UploadStrip strip = m_controller->uploadStrip();
    if (strip.visible)
        m_strip->updateWithProgress(strip.progress, strip.speed, strip.state, strip.multipart);
    // The strip takes the header's place while it shows.
    m_topSlot->setCurrentIndex(strip.visible ? 1 : 0);
}

void PopoverWindow::rebuildRows()
{
    for (PopoverFileRowView *row : std::as_const(m_rows)) {
        m_fileListStack->removeWidget(row);
        delete row;
    }
    m_rows.clear();
    m_selected = -1;
    ++m_rowsGeneration;
    // On a shown panel the rows a user sees first are built at once, and the
    // ones below the fold a frame later, after the panel is painted.
    appendRows(isVisible() ? kRowsBeforePaint : int(m_controller->items().size()));
    QTimer::singleShot(0, m_scrollArea, [this] { m_scrollArea->verticalScrollBar()->setValue(0); });
    updateEmptyState();
}

void PopoverWindow::appendRows(int count)
{
    const bool links = m_controller->showsLinks();
    const QVariantList items = m_controller->items();
    const qsizetype end = qMin(items.size(), m_rows.size() + count);
    for (qsizetype i = m_rows.size(); i < end; ++i) {
        auto *row = new PopoverFileRowView(items[i].toMap(), links);
        connect(row, &PopoverFileRowView::openRequested, m_controller, &PopoverWindowController::openLink);
        connect(row, &PopoverFileRowView::copyRequested, m_controller, &PopoverWindowController::copyLink);
        connect(row, &PopoverFileRowView::qrCodeRequested, this, &PopoverWindow::showQrCode);
        m_fileListStack->insertWidget(m_fileListStack->count() - 1, row);
        m_rows << row;
    }
    if (m_rows.size() < items.size()) {
        const quint64 generation = m_rowsGeneration;
        QTimer::singleShot(kFrameMs, this, [this, generation] {
            if (generation == m_rowsGeneration)
                appendRows(kRowsBeforePaint);
        });
    }
}

void PopoverWindow::updateEmptyState()
{
    const bool dragOver = m_controller->isDragOver();
    const bool empty = m_controller->showsEmptyState();
    static_cast<DropPad *>(m_emptyState)->dragOver = dragOver;
    const QString noun = m_controller->nounForCurrentSegment();
    if (dragOver) {
        m_emptyHeading->setText(QStringLiteral("Drop to upload"));
        m_emptyText->setText(QStringLiteral("Your link is copied when the upload finishes"));
    } else {
        m_emptyHeading->setText(QStringLiteral("No %1s yet").arg(noun));
        m_emptyText->setText(QStringLiteral("Drop a %1 to get started").arg(noun));
    }
    static const QHash<QString, QString> kButtons { { QStringLiteral("folder"),
                                                        QStringLiteral("Choose a Folder\u2026") },
        { QStringLiteral("document"), QStringLiteral("New Document\u2026") },
        { QStringLiteral("link"), QStringLiteral("New Link\u2026") } };
    m_emptyChoose->setText(kButtons.value(noun, QStringLiteral("Choose a File\u2026")));
    m_emptyChoose->setVisible(!dragOver);
    // The same upload sign, in the accent colour under a drag.
    const QColor color = dragOver ? palette().color(QPalette::Highlight) : palette().color(QPalette::PlaceholderText);
    const QVariantList drawnFrom { color, devicePixelRatioF(), QIcon::themeName() };
    if (drawnFrom != m_emptyIconDrawnFrom) {
        m_emptyIconDrawnFrom = drawnFrom;
        m_emptyIcon->setPixmap(MenuIcons::themed(QStringLiteral("document-send"), color).pixmap(48, 48));
    }
    m_listPages->setCurrentIndex(empty || dragOver ? 1 : 0);
    m_emptyState->update();
}

QString PopoverWindow::emptyHeading() const
{
    return m_listPages->currentIndex() == 1 ? m_emptyHeading->text() : QString();
}

void PopoverWindow::updateToast(const QString &text)
{
    if (text.isEmpty()) {
        m_toast->hide();
        return;
    }
    m_toast->setText(text);
    QPalette palette = m_toast->palette();
    palette.setColor(QPalette::Window, QColor(0x24, 0x24, 0x24, 235));
    palette.setColor(QPalette::WindowText, Qt::white);
    m_toast->setPalette(palette);
    m_toast->setAutoFillBackground(true);
    const QSize size = m_toast->fontMetrics().size(0, text) + QSize(32, 14);
    m_toast->resize(size);
    m_toast->move((width() - size.width()) / 2, height() - m_footer->height() - size.height() - 14);
    m_toast->show();
    m_toast->raise();
}

void PopoverWindow::updateIcons()
{
    const QColor color = palette().color(QPalette::WindowText);
    for (QToolButton *button : std::as_const(m_iconButtons))
        button->setIcon(MenuIcons::themed(button->property("themeIcon").toString(), color));
    if (auto *logo = m_loggedOut->findChild<QLabel *>(QStringLiteral("logo")))
        logo->setPixmap(
            MenuIcons::themed(QStringLiteral("folder-remote"), palette().color(QPalette::Highlight)).pixmap(64, 64));
    if (auto *icon = m_promoCard->findChild<QLabel *>(QStringLiteral("promoIcon")))
        icon->setPixmap(MenuIcons::themed(QStringLiteral("phone"), color).pixmap(24, 24));
    updateMeData();
    updateEmptyState();
}

// ---- Rows and keys ---------------------------------------------------------------------

void PopoverWindow::selectRow(int index)
{
    if (m_rows.isEmpty())
        return;
    index = qBound(0, index, int(m_rows.size()) - 1);
    if (m_selected >= 0 && m_selected < m_rows.size())
        m_rows[m_selected]->setSelected(false);
    m_selected = index;
    m_rows[index]->setSelected(true);
    m_scrollArea->ensureWidgetVisible(m_rows[index], 0, 8);
}

void PopoverWindow::keyPressEvent(QKeyEvent *event)
{
    PopoverFileRowView *selected = m_selected >= 0 && m_selected < m_rows.size() ? m_rows[m_selected] : nullptr;
    if (event->key() == Qt::Key_Escape) {
        m_controller->closePopover();
    } else if (event->key() == Qt::Key_Down) {
        selectRow(m_selected + 1);
    } else if (event->key() == Qt::Key_Up) {
        selectRow(m_selected < 0 ? 0 : m_selected - 1);
    } else if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && selected) {
        m_controller->openLink(selected->link());
    } else if (event->matches(QKeySequence::Copy) && selected) {
        m_controller->copyLink(selected->link());
    } else {
        QWidget::keyPressEvent(event);
    }
}

void PopoverWindow::showQrCode(const QUrl &link, QWidget *anchor)
{
    const QImage code = QrCode::imageForText(link.toString(), 4);
    if (code.isNull())
        return;
    auto *popup = new QFrame(this, Qt::Popup);
    popup->setAttribute(Qt::WA_DeleteOnClose);
    popup->setFrameShape(QFrame::StyledPanel);
    auto *image = new QLabel(popup);
    image->setPixmap(QPixmap::fromImage(code));
    auto *text = label(link.toString(), popup, 0.85);
    text->setAlignment(Qt::AlignCenter);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto *column = new QVBoxLayout(popup);
    column->setContentsMargins(12, 12, 12, 10);
    column->setSpacing(8);
    column->addWidget(image, 0, Qt::AlignHCenter);
    column->addWidget(text);
    popup->adjustSize();
    const QPoint below = anchor->mapToGlobal(QPoint(anchor->width() - popup->width(), anchor->height() + 4));
    popup->move(below);
    m_controller->suspendEventMonitor();
    connect(popup, &QObject::destroyed, m_controller, &PopoverWindowController::resumeEventMonitor);
    popup->show();
}

// ---- Drops -----------------------------------------------------------------------------------

void PopoverWindow::dragEnterEvent(QDragEnterEvent *event)
{
    const QMimeData *data = event->mimeData();
    if (!m_controller->isLoggedIn() || !data || !(data->hasUrls() || data->hasImage() || data->hasText()))
        return;
    event->acceptProposedAction();
    m_controller->draggingEntered();
}

void PopoverWindow::dragLeaveEvent(QDragLeaveEvent *event)
{
    m_controller->draggingExited();
    QWidget::dragLeaveEvent(event);
}

void PopoverWindow::dropEvent(QDropEvent *event)
{
    event->acceptProposedAction();
    m_controller->performDrop(event->mimeData());
    // The drag came from another application, which holds the focus: the
    // panel takes it back once the drop is over, so that its keys work and
    // switching away closes it.
    QTimer::singleShot(0, this, [this] {
        if (isVisible())
            activateWindow();
    });
}

// ---- Window ------------------------------------------------------------------------------------

void PopoverWindow::placeAt(const QPoint &topLeft)
{
    move(topLeft);
}

void PopoverWindow::setShowsInTaskbar(bool shows)
{
    const bool visible = isVisible();
    setWindowFlags(shows ? Qt::Window | Qt::FramelessWindowHint : kPanelFlags);
    if (visible)
        show();
}

void PopoverWindow::chooseFile(bool directories, std::function<void(const QString &path)> chosen)
{
    auto *dialog = new QFileDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(directories ? QStringLiteral("Upload a Folder") : QStringLiteral("Upload a File"));
    dialog->setFileMode(directories ? QFileDialog::Directory : QFileDialog::ExistingFile);
    if (directories)
        dialog->setOption(QFileDialog::ShowDirsOnly);
    connect(dialog, &QFileDialog::finished, this, [dialog, chosen = std::move(chosen)](int result) {
        const QStringList files = dialog->selectedFiles();
        chosen(result == QDialog::Accepted && !files.isEmpty() ? files.first() : QString());
    });
    dialog->open();
}

void PopoverWindow::paintEvent(QPaintEvent *)
{
    if (m_paintAfterShowPending) {
        m_paintAfterShowPending = false;
        // After this paint's flush.
        QTimer::singleShot(0, this, &PopoverWindow::paintedAfterShow);
    }
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window));
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void PopoverWindow::showEvent(QShowEvent *event)
{
    m_paintAfterShowPending = true;
    QWidget::showEvent(event);
}

void PopoverWindow::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    if (m_toast->isVisible())
        updateToast(m_toast->text());
}

void PopoverWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange)
        updateIcons();
    QWidget::changeEvent(event);
}
