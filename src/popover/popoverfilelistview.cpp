#include "popoverfilelistview.h"

#include "menuicons.h"
#include "popoverfilelistmodel.h"
#include "popoverfilerowview.h"
#include "qrcode.h"

#include <QEvent>
#include <QHoverEvent>
#include <QLoggingCategory>
#include <QScrollBar>
#include <QToolButton>

Q_LOGGING_CATEGORY(lcPopoverFileListView, "tessly.popover.popoverfilelistview")

PopoverFileListView::PopoverFileListView(PopoverFileListModel *model, QWidget *parent)
    : QListView(parent)
    , m_model(model)
    , m_delegate(new PopoverFileRowView(this))
{
    setModel(model);
    setItemDelegate(m_delegate);
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::NoSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setViewportMargins(0, 4, 0, 4);
    setMouseTracking(true);
    viewport()->setAttribute(Qt::WA_Hover);
    viewport()->setAutoFillBackground(false);
    viewport()->setCursor(Qt::PointingHandCursor);
    verticalScrollBar()->setSingleStep(PopoverFileRowView::kRowHeight / 2);

    m_hoverButtons = makeButtons();
    m_selectionButtons = makeButtons();
    updateIcons();

    connect(this, &QListView::clicked, this, [this](const QModelIndex &index) {
        const QUrl link = m_model->link(index.row());
        if (!link.isEmpty())
            Q_EMIT openRequested(link);
    });
    connect(model, &QAbstractItemModel::modelReset, this, &PopoverFileListView::rowsChanged);
}

PopoverFileListView::Buttons PopoverFileListView::makeButtons()
{
    Buttons buttons { new QToolButton(viewport()), new QToolButton(viewport()) };
    for (QToolButton *button : { buttons.copy, buttons.qr }) {
        button->setAutoRaise(true);
        button->setFocusPolicy(Qt::NoFocus);
        button->setIconSize(QSize(16, 16));
        button->setFixedSize(PopoverFileRowView::kButtonSide, PopoverFileRowView::kButtonSide);
        button->setCursor(Qt::ArrowCursor);
        button->hide();
    }
    buttons.copy->setToolTip(QStringLiteral("Copy Link"));
    buttons.copy->setAccessibleName(QStringLiteral("Copy Link"));
    buttons.qr->setToolTip(QStringLiteral("QR Code"));
    buttons.qr->setAccessibleName(QStringLiteral("QR Code"));
    // The row a pair serves is read when clicked: the pair moves between rows.
    QToolButton *copy = buttons.copy;
    QToolButton *qr = buttons.qr;
    connect(copy, &QToolButton::clicked, this, [this, copy] {
        const int row = copy == m_hoverButtons.copy ? m_hoverButtons.row : m_selectionButtons.row;
        Q_EMIT copyRequested(m_model->link(row));
    });
    connect(qr, &QToolButton::clicked, this, [this, qr] {
        const int row = qr == m_hoverButtons.qr ? m_hoverButtons.row : m_selectionButtons.row;
        Q_EMIT qrCodeRequested(m_model->link(row), qr);
    });
    return buttons;
}

void PopoverFileListView::rowsChanged()
{
    qCDebug(lcPopoverFileListView) << "rows:" << m_model->rowCount();
    m_selected = -1;
    m_hovered = -1;
    verticalScrollBar()->setValue(0);
    hoverAtCursor();
}

void PopoverFileListView::selectRow(int row)
{
    const int count = m_model->rowCount();
    row = row < 0 || count == 0 ? -1 : qMin(row, count - 1);
    const QModelIndex index = row >= 0 ? m_model->index(row) : QModelIndex();
    m_selected = row;
    if (index.isValid()) {
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        scrollTo(index);
    } else {
        selectionModel()->clear();
    }
    placeButtons();
}

QRect PopoverFileListView::titleRect(int row) const
{
    const QModelIndex index = m_model->index(row);
    const QString views = index.data(PopoverFileListModel::ViewsRole).toString();
    return PopoverFileRowView::layout(visualRect(index), font(), views, rowIsActive(row)).title;
}

QString PopoverFileListView::shownTitle(int row) const
{
    return PopoverFileRowView::elidedTitle(
        m_model->index(row).data(PopoverFileListModel::TitleRole).toString(), font(), titleRect(row).width());
}

QToolButton *PopoverFileListView::copyButton(int row) const
{
    for (const Buttons *buttons : { &m_hoverButtons, &m_selectionButtons }) {
        if (buttons->row == row && row >= 0 && buttons->copy->isVisible())
            return buttons->copy;
    }
    return nullptr;
}

bool PopoverFileListView::rowIsActive(int row) const
{
    return row >= 0 && (row == m_hovered || row == m_selected) && !m_model->link(row).isEmpty();
}

bool PopoverFileListView::viewportEvent(QEvent *event)
{
    switch (event->type()) {
    case QEvent::HoverEnter:
    case QEvent::HoverMove:
        setHoveredRow(indexAt(static_cast<QHoverEvent *>(event)->position().toPoint()).row());
        break;
    case QEvent::HoverLeave:
        setHoveredRow(-1);
        break;
    default:
        break;
    }
    return QListView::viewportEvent(event);
}

void PopoverFileListView::setHoveredRow(int row)
{
    if (row == m_hovered)
        return;
    m_hovered = row;
    placeButtons();
}

void PopoverFileListView::hoverAtCursor()
{
    const QPoint pos = viewport()->mapFromGlobal(QCursor::pos());
    setHoveredRow(viewport()->underMouse() && viewport()->rect().contains(pos) ? indexAt(pos).row() : -1);
    placeButtons();
}

void PopoverFileListView::placeButtons()
{
    // The selected row keeps its pair; the hovered row, when another, has
    // the other.
    placeButtons(m_selectionButtons, m_selected);
    placeButtons(m_hoverButtons, m_hovered == m_selected ? -1 : m_hovered);
}

void PopoverFileListView::placeButtons(Buttons &buttons, int row)
{
    buttons.row = row;
    const bool shows = rowIsActive(row);
    if (shows) {
        const QModelIndex index = m_model->index(row);
        const PopoverFileRowView::Layout l = PopoverFileRowView::layout(
            visualRect(index), font(), index.data(PopoverFileListModel::ViewsRole).toString(), true);
        buttons.copy->move(l.copy.topLeft());
        buttons.qr->move(l.qr.topLeft());
    }
    buttons.copy->setVisible(shows);
    buttons.qr->setVisible(shows);
}

void PopoverFileListView::scrollContentsBy(int dx, int dy)
{
    QListView::scrollContentsBy(dx, dy);
    // The row under the pointer changed under it.
    hoverAtCursor();
}

void PopoverFileListView::resizeEvent(QResizeEvent *event)
{
    QListView::resizeEvent(event);
    placeButtons();
}

void PopoverFileListView::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange)
        updateIcons();
    QListView::changeEvent(event);
}

void PopoverFileListView::updateIcons()
{
    const QColor color = palette().color(QPalette::WindowText);
    const QIcon copy = MenuIcons::themed(QStringLiteral("edit-copy"), color);
    QIcon qr = MenuIcons::themed(QStringLiteral("view-barcode-qr"), color);
    if (qr.isNull())
        qr = QrCode::glyph(color);
    for (const Buttons *buttons : { &m_hoverButtons, &m_selectionButtons }) {
        buttons->copy->setIcon(copy);
        buttons->qr->setIcon(qr);
    }
}
