#include "popoveractiongridview.h"

#include "menuicons.h"
#include "popoverwindowcontroller.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QMenu>

namespace {

struct Tile
{
    const char *title;
    const char *icon;
};

const Tile kTiles[] = { { "Region", "camera-photo" }, { "Markup", "document-edit" }, { "Record", "media-record" },
    { "Clipboard", "edit-paste" }, { "More", "view-more-horizontal" } };

} // namespace

PopoverActionGridView::PopoverActionGridView(PopoverWindowController *controller, QWidget *parent)
    : QWidget(parent)
    , m_controller(controller)
{
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(12, 4, 12, 4);
    row->setSpacing(6);
    for (const Tile &tile : kTiles) {
        auto *button = new QToolButton(this);
        const QString title = QString::fromLatin1(tile.title);
        button->setText(title);
        button->setAccessibleName(title);
        button->setProperty("themeIcon", QString::fromLatin1(tile.icon));
        button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
        button->setAutoRaise(true);
        button->setIconSize(QSize(22, 22));
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        button->setMinimumHeight(58);
        button->setFocusPolicy(Qt::NoFocus);
        button->setCursor(Qt::PointingHandCursor);
        row->addWidget(button);
        m_tiles << button;
        if (title == QLatin1String("More"))
            connect(button, &QToolButton::clicked, this, [this, button] { showMoreMenu(button); });
        else
            connect(button, &QToolButton::clicked, this, [this, title] { m_controller->performTile(title); });
    }
    m_recordTile = m_tiles[2];
    m_clipboardTile = m_tiles[3];
    m_clipboardTile->setEnabled(m_controller->isClipboardUsable());
    m_clipboardTile->setToolTip(QStringLiteral("Upload the file or picture on the clipboard"));
    connect(m_controller, &PopoverWindowController::clipboardUsableChanged, m_clipboardTile, &QWidget::setEnabled);
    connect(m_controller, &PopoverWindowController::recordingChanged, this, &PopoverActionGridView::setRecording);
    updateIcons();
}

void PopoverActionGridView::setRecording(bool recording)
{
    m_recording = recording;
    m_recordTile->setText(recording ? QStringLiteral("Stop") : QStringLiteral("Record"));
    m_recordTile->setAccessibleName(m_recordTile->text());
    m_recordTile->setProperty(
        "themeIcon", recording ? QStringLiteral("media-playback-stop") : QStringLiteral("media-record"));
    updateIcons();
}

void PopoverActionGridView::updateIcons()
{
    const QColor strong = palette().color(QPalette::WindowText);
    // The desktop's destructive red, readable on light and dark panels.
    const QColor red(0xe0, 0x1b, 0x24);
    for (QToolButton *tile : std::as_const(m_tiles)) {
        const bool stop = tile == m_recordTile && m_recording;
        tile->setIcon(MenuIcons::themed(tile->property("themeIcon").toString(), stop ? red : strong));
    }
}

void PopoverActionGridView::showMoreMenu(QToolButton *sender)
{
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const QColor color = palette().color(QPalette::WindowText);
    menu->addAction(MenuIcons::themed(QStringLiteral("document-new"), color), QStringLiteral("Create a Document"),
        m_controller, &PopoverWindowController::createDocument);
    menu->addAction(MenuIcons::themed(QStringLiteral("insert-link"), color), QStringLiteral("Create a Link"),
        m_controller, &PopoverWindowController::createLink);
    menu->addSeparator();
    QAction *file = menu->addAction(MenuIcons::themed(QStringLiteral("document-send"), color),
        QStringLiteral("Upload a File"), m_controller, &PopoverWindowController::chooseFileToUpload);
    file->setShortcut(m_controller->uploadFileShortcut());
    menu->addAction(MenuIcons::themed(QStringLiteral("folder"), color), QStringLiteral("Upload a Folder"), m_controller,
        &PopoverWindowController::chooseFolderToUpload);
    const QRect bounds = sender->rect();
    menu->popup(sender->mapToGlobal(QPoint(bounds.x() + bounds.width() / 2, bounds.y() + bounds.height() + 4)));
}

void PopoverActionGridView::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange)
        updateIcons();
    QWidget::changeEvent(event);
}
