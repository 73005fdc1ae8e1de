#include "popoverfilelistmodel.h"

#include "popoverfilerowview.h"
#include "thumbnailcache.h"

#include <QHash>
#include <QIcon>
#include <QLoggingCategory>
#include <QMimeDatabase>
#include <QPainter>
#include <QPainterPath>
#include <QTimer>

#include <cmath>

Q_LOGGING_CATEGORY(lcPopoverFileListModel, "tessly.popover.popoverfilelistmodel")

namespace {

const QString kFolderMimeType = QStringLiteral("tessly/folder");
// Thumbnails are fetched at twice the row's 36 points: sharp at 2x as well.
constexpr int kThumbnailPixels = 72;
constexpr qreal kThumbnailRadius = 12;

QString iconNameFor(const QVariantMap &file, bool isLink)
{
    if (isLink)
        return QStringLiteral("insert-link");
    const QString mimeType = file.value(QStringLiteral("mimeType")).toString();
    if (mimeType == kFolderMimeType)
        return QStringLiteral("folder");
    const QMimeType type = QMimeDatabase().mimeTypeForName(mimeType);
    if (type.isValid()) {
        if (QIcon::hasThemeIcon(type.iconName()))
            return type.iconName();
        if (!type.genericIconName().isEmpty())
            return type.genericIconName();
    }
    return QStringLiteral("text-x-generic");
}

// The type icons, looked up once per type (GUI thread only).
QIcon typeIcon(const QVariantMap &file, bool isLink)
{
    static QHash<QString, QIcon> icons;
    const QString key = isLink ? QString() : file.value(QStringLiteral("mimeType")).toString();
    auto icon = icons.constFind(key);
    if (icon == icons.constEnd())
        icon = icons.insert(key, QIcon::fromTheme(iconNameFor(file, isLink)));
    return *icon;
}

QString viewsText(const QVariantMap &file)
{
    const QVariant v = file.value(QStringLiteral("viewCount"));
    bool ok = false;
    const double views = v.typeId() == QMetaType::Bool ? 0 : v.toDouble(&ok);
    if (!ok || !std::isfinite(views))
        return QStringLiteral("0");
    return QString::number(qint64(qBound(0.0, views, 9.2e18)));
}

} // namespace

PopoverFileListModel::PopoverFileListModel(QObject *parent)
    : QAbstractListModel(parent)
{
}

void PopoverFileListModel::setItems(const QVariantList &items, bool links)
{
    beginResetModel();
    ++m_generation;
    m_toFetch.clear();
    m_links = links;
    m_rows.clear();
    m_rows.reserve(items.size());
    for (const QVariant &item : items)
        m_rows.append(Row { item.toMap() });
    endResetModel();
}

QUrl PopoverFileListModel::link(int row) const
{
    return row >= 0 && row < m_rows.size() ? rowWithTexts(row).link : QUrl();
}

QVariantMap PopoverFileListModel::file(int row) const
{
    return row >= 0 && row < m_rows.size() ? m_rows[row].file : QVariantMap();
}

int PopoverFileListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

const PopoverFileListModel::Row &PopoverFileListModel::rowWithTexts(int row) const
{
    Row &r = m_rows[row];
    if (!r.textsMade) {
        r.textsMade = true;
        r.title = PopoverFileRowView::displayTitle(r.file, m_links);
        r.metadata = PopoverFileRowView::metadataLine(r.file);
        r.views = viewsText(r.file);
        r.link = PopoverFileRowView::linkForRecord(r.file, m_links);
    }
    return r;
}

QVariant PopoverFileListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const int row = index.row();
    const Row &r = rowWithTexts(row);
    switch (role) {
    case Qt::DisplayRole:
    case Qt::AccessibleTextRole:
    case Qt::ToolTipRole:
        // Without the isolates, which screen readers and tooltips show as boxes.
        return QString(r.title).remove(QChar(0x2068)).remove(QChar(0x2069)).left(300);
    case TitleRole:
        return r.title;
    case MetadataRole:
        return r.metadata;
    case ViewsRole:
        return r.views;
    case LinkRole:
        return r.link;
    case FileRole:
        return r.file;
    case ThumbnailRole:
        askForThumbnail(row);
        return m_rows[row].thumbnail;
    case TypeIconRole:
        return typeIcon(r.file, m_links);
    default:
        return {};
    }
}

void PopoverFileListModel::askForThumbnail(int row) const
{
    Row &r = m_rows[row];
    if (r.thumbnailAsked)
        return;
    r.thumbnailAsked = true;
    const QUrl url(r.file.value(QStringLiteral("thumbnailUrl")).toString());
    if (m_links || !url.isValid() || url.isEmpty())
        return;
    auto *self = const_cast<PopoverFileListModel *>(this);
    if (ThumbnailCache::instance().contains(url, kThumbnailPixels)) {
        // A cached picture comes back at once, inside this call: it is
        // taken without a change signal, as the row is being drawn with it.
        self->m_inData = true;
        self->load(row, url);
        self->m_inData = false;
        return;
    }
    // Fetches start after the rows are drawn, not while they are: starting
    // a request costs more than drawing a row.
    if (m_toFetch.isEmpty())
        QTimer::singleShot(0, self, [self] {
            // A new list empties the queue: what is left is this list's.
            const QList<std::pair<int, QUrl>> rows = std::exchange(self->m_toFetch, {});
            for (const auto &[row, url] : rows)
                self->load(row, url);
        });
    self->m_toFetch.append({ row, url });
}

void PopoverFileListModel::load(int row, const QUrl &url)
{
    const quint64 generation = m_generation;
    ThumbnailCache::instance().load(url, kThumbnailPixels, this, [this, row, generation](const QImage &image) {
        if (generation == m_generation)
            setThumbnail(row, image);
    });
}

void PopoverFileListModel::setThumbnail(int row, const QImage &image)
{
    if (image.isNull() || row >= m_rows.size()) {
        qCDebug(lcPopoverFileListModel) << "row" << row << "keeps its type icon";
        return;
    }
    QPixmap pixmap(kThumbnailPixels, kThumbnailPixels);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath clip;
    clip.addRoundedRect(QRectF(0, 0, kThumbnailPixels, kThumbnailPixels), kThumbnailRadius, kThumbnailRadius);
    painter.setClipPath(clip);
    const QImage scaled
        = image.scaled(kThumbnailPixels, kThumbnailPixels, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    painter.drawImage(
        QPoint((kThumbnailPixels - scaled.width()) / 2, (kThumbnailPixels - scaled.height()) / 2), scaled);
    painter.end();
    m_rows[row].thumbnail = pixmap;
    if (!m_inData) {
        const QModelIndex changed = index(row);
        Q_EMIT dataChanged(changed, changed, { ThumbnailRole });
    }
}
