#include "popoverfilerowview.h"

#include "popoverfilelistmodel.h"
#include "sharelink.h"

#include <QAbstractItemView>
#include <QHash>
#include <QHelpEvent>
#include <QIcon>
#include <QLocale>
#include <QPainter>
#include <QRegularExpression>
#include <QToolTip>

#include <cmath>

namespace {

const QString kFolderMimeType = QStringLiteral("tessly/folder");
const QString kSeparator = QStringLiteral(" \u00b7 ");
constexpr int kThumbnailSide = 36;
constexpr int kTypeIconSide = 28;
// The list's own margin either side, then the row's inside its background.
constexpr int kListMargin = 4;
constexpr int kLeftPadding = 10;
constexpr int kRightPadding = 8;
constexpr int kSpacing = 10;
constexpr int kButtonSpacing = 6;
// QDateTime's range, in milliseconds either side of 1970.
constexpr double kMaxMsecs = 8.64e15;

bool isFolder(const QVariantMap &file)
{
    return file.value(QStringLiteral("mimeType")).toString() == kFolderMimeType;
}

// A number the record holds as a number (or as digits), else nothing; a
// boolean is not a number, though it converts to one.
bool numberIn(const QVariantMap &file, const QString &key, double *value)
{
    const QVariant v = file.value(key);
    if (!v.isValid() || v.isNull() || v.typeId() == QMetaType::Bool)
        return false;
    bool ok = false;
    const double number = v.toDouble(&ok);
    if (!ok || !std::isfinite(number))
        return false;
    *value = number;
    return true;
}

// The locale's long date without the weekday and with short month names:
// "Nov 3, 2026" in English, "3. Nov. 2026" in German.
QString mediumDate(const QDate &date)
{
    const QLocale locale;
    QString format = locale.dateFormat(QLocale::LongFormat);
    static const QRegularExpression weekday(QStringLiteral("d{4}[,.]?\\s*"));
    format.remove(weekday);
    format.replace(QLatin1String("MMMM"), QLatin1String("MMM"));
    return locale.toString(date, format.trimmed());
}

QFont smallFont(const QFont &font)
{
    QFont small = font;
    if (font.pointSizeF() > 0)
        small.setPointSizeF(font.pointSizeF() * 0.88);
    else
        small.setPixelSize(qMax(1, qRound(font.pixelSize() * 0.88)));
    return small;
}

} // namespace

QString PopoverFileRowView::extensionFromMimeType(const QString &mimeType)
{
    if (mimeType == kFolderMimeType)
        return QStringLiteral("Folder");
    const QStringList parts = mimeType.split(QLatin1Char('/'));
    if (parts.size() != 2)
        return {};
    static const QHash<QString, QString> kLabels { { QStringLiteral("JPEG"), QStringLiteral("JPG") },
        { QStringLiteral("QUICKTIME"), QStringLiteral("MOV") }, { QStringLiteral("X-MSVIDEO"), QStringLiteral("AVI") },
        { QStringLiteral("PLAIN"), QStringLiteral("TXT") }, { QStringLiteral("MARKDOWN"), QStringLiteral("MD") },
        { QStringLiteral("X-ZIP-COMPRESSED"), QStringLiteral("ZIP") } };
    QString subtype = parts[1].toUpper();
    const auto mapped = kLabels.constFind(subtype);
    if (mapped != kLabels.constEnd())
        return *mapped;
    if (subtype.startsWith(QLatin1String("X-")))
        subtype.remove(0, 2);
    return subtype;
}

QString PopoverFileRowView::formattedFileSize(qint64 bytes)
{
    if (bytes <= 1023)
        return QString::asprintf("%lld B", static_cast<long long>(bytes));
    const double k = double(bytes) / 1024.0;
    if (k < 1024)
        return QString::asprintf("%.0f KB", k);
    const double m = k / 1024.0;
    if (m < 10)
        return QString::asprintf("%.1f MB", m);
    if (m < 1024)
        return QString::asprintf("%.0f MB", m);
    return QString::asprintf("%.1f GB", m / 1024.0);
}

QString PopoverFileRowView::relativeTimeFromDate(const QDateTime &date, const QDateTime &now)
{
    if (!date.isValid())
        return {};
    const double d = double(now.msecsTo(date)) / 1000.0; // negative for the past
    if (d > -60)
        return QStringLiteral("just now");
    if (d > -3600)
        return QStringLiteral("%1 min ago").arg(qint64(-d / 60));
    if (d > -86400)
        return QStringLiteral("%1 hr ago").arg(qint64(-d / 3600));
    if (d > -604800)
        return QStringLiteral("%1 days ago").arg(qint64(-d / 86400));
    return mediumDate(date.toLocalTime().date());
}

QString PopoverFileRowView::metadataLine(const QVariantMap &file, const QDateTime &now)
{
    QStringList parts;
    const QString label = extensionFromMimeType(file.value(QStringLiteral("mimeType")).toString());
    if (!label.isEmpty())
        parts << label;
    double size = 0;
    if (!isFolder(file) && numberIn(file, QStringLiteral("size"), &size) && size >= 0)
        parts << formattedFileSize(qint64(qBound(-9.2e18, size, 9.2e18)));
    double created = 0;
    if (numberIn(file, QStringLiteral("item"), &created) && std::abs(created) < kMaxMsecs) {
        const QString age = relativeTimeFromDate(QDateTime::fromMSecsSinceEpoch(qint64(created), Qt::UTC), now);
        if (!age.isEmpty())
            parts << age;
    }
    return parts.join(kSeparator);
}

QString PopoverFileRowView::displayTitle(const QVariantMap &file, bool isLink)
{
    QString title = isLink ? ShareLink::readableAddress(file.value(QStringLiteral("content")).toString())
                           : file.value(QStringLiteral("name")).toString();
    if (title.isEmpty())
        title = file.value(QStringLiteral("name")).toString();
    // One line, however the name was written; a right-to-left name stays
    // inside its own isolate so the row keeps its direction.
    static const QRegularExpression breaks(QStringLiteral("[\\r\\n\\t\\x{2028}\\x{2029}]+"));
    title.replace(breaks, QStringLiteral(" "));
    if (title.size() > 512)
        title = title.left(512);
    return title.isEmpty() ? QStringLiteral("Untitled") : QStringLiteral("\u2068%1\u2069").arg(title);
}

QUrl PopoverFileRowView::linkForRecord(const QVariantMap &file, bool isLink)
{
    return QUrl(isLink ? ShareLink::forShortLink(file) : ShareLink::forItem(file));
}

PopoverFileRowView::PopoverFileRowView(QObject *parent)
    : QStyledItemDelegate(parent)
{
}

PopoverFileRowView::Layout PopoverFileRowView::layout(
    const QRect &rowRect, const QFont &font, const QString &views, bool active)
{
    Layout l;
    const QRect row = rowRect.adjusted(kListMargin, 0, -kListMargin, 0);
    l.background = row.adjusted(4, 1, -4, -1);
    const QRect inner = row.adjusted(kLeftPadding, 6, -kRightPadding, -6);
    l.icon = QRect(inner.left(), inner.center().y() - kThumbnailSide / 2 + 1, kThumbnailSide, kThumbnailSide);
    int right = inner.right() + 1;
    const int buttonTop = inner.center().y() - kButtonSide / 2 + 1;
    if (active) {
        l.qr = QRect(right - kButtonSide, buttonTop, kButtonSide, kButtonSide);
        l.copy = l.qr.translated(-kButtonSide - kButtonSpacing, 0);
        right = l.copy.left();
    } else {
        const QFontMetrics small(smallFont(font));
        const int width = small.horizontalAdvance(views);
        l.views = QRect(right - width, inner.top(), width, inner.height());
        right = l.views.left();
    }
    const int textLeft = l.icon.right() + 1 + kSpacing;
    const int textWidth = qMax(1, right - kSpacing - textLeft);
    const int titleHeight = QFontMetrics(font).height();
    const int metaHeight = QFontMetrics(smallFont(font)).height();
    const int top = inner.center().y() + 1 - (titleHeight + 1 + metaHeight) / 2;
    l.title = QRect(textLeft, top, textWidth, titleHeight);
    l.metadata = QRect(textLeft, top + titleHeight + 1, textWidth, metaHeight);
    return l;
}

QString PopoverFileRowView::elidedTitle(const QString &title, const QFont &font, int width)
{
    return QFontMetrics(font).elidedText(title, Qt::ElideMiddle, qMax(1, width));
}

QSize PopoverFileRowView::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const
{
    return QSize(option.rect.width(), kRowHeight);
}

void PopoverFileRowView::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    const bool selected = option.state & QStyle::State_Selected;
    const bool hovered = option.state & QStyle::State_MouseOver;
    const bool hasLink = !index.data(PopoverFileListModel::LinkRole).toUrl().isEmpty();
    const QString views = index.data(PopoverFileListModel::ViewsRole).toString();
    const Layout l = layout(option.rect, option.font, views, (selected || hovered) && hasLink);
    const QPalette &palette = option.palette;

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->setLayoutDirection(Qt::LeftToRight);
    if (selected || hovered) {
        QColor fill = palette.color(QPalette::Highlight);
        fill.setAlphaF(selected ? 0.22 : 0.10);
        painter->setPen(Qt::NoPen);
        painter->setBrush(fill);
        painter->drawRoundedRect(QRectF(l.background), 8, 8);
    }

    const QPixmap thumbnail = index.data(PopoverFileListModel::ThumbnailRole).value<QPixmap>();
    if (!thumbnail.isNull()) {
        painter->drawPixmap(l.icon, thumbnail);
    } else {
        const QRect iconRect(l.icon.center() - QPoint(kTypeIconSide / 2 - 1, kTypeIconSide / 2 - 1),
            QSize(kTypeIconSide, kTypeIconSide));
        index.data(PopoverFileListModel::TypeIconRole).value<QIcon>().paint(painter, iconRect);
    }

    painter->setFont(option.font);
    painter->setPen(palette.color(QPalette::WindowText));
    const QString title = index.data(PopoverFileListModel::TitleRole).toString();
    painter->drawText(l.title, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
        elidedTitle(title, option.font, l.title.width()));

    const QFont small = smallFont(option.font);
    const QFontMetrics smallMetrics(small);
    painter->setFont(small);
    painter->setPen(palette.color(QPalette::PlaceholderText));
    painter->drawText(l.metadata, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
        smallMetrics.elidedText(
            index.data(PopoverFileListModel::MetadataRole).toString(), Qt::ElideRight, l.metadata.width()));
    if (!l.views.isNull())
        painter->drawText(l.views, Qt::AlignRight | Qt::AlignVCenter | Qt::TextSingleLine, views);
    painter->restore();
}

bool PopoverFileRowView::helpEvent(
    QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option, const QModelIndex &index)
{
    if (event->type() == QEvent::ToolTip && index.isValid()) {
        const Layout l
            = layout(option.rect, option.font, index.data(PopoverFileListModel::ViewsRole).toString(), false);
        const bool active = option.state & (QStyle::State_Selected | QStyle::State_MouseOver);
        if (!active && l.views.contains(event->pos())) {
            QToolTip::showText(event->globalPos(), QStringLiteral("Views"), view->viewport(), l.views);
            return true;
        }
    }
    return QStyledItemDelegate::helpEvent(event, view, option, index);
}
