#include "popoverfilerowview.h"

#include "menuicons.h"
#include "qrcode.h"
#include "sharelink.h"
#include "thumbnailcache.h"

#include <QEnterEvent>
#include <QEvent>
#include <QHash>
#include <QHelpEvent>
#include <QLocale>
#include <QMimeDatabase>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRegularExpression>
#include <QTextOption>
#include <QTimer>
#include <QToolButton>
#include <QToolTip>

#include <cmath>

namespace {

// A line of text laid out once for `font`, left to right whatever its
// characters (a name with right-to-left marks keeps its place).
QStaticText preparedText(const QString &text, const QFont &font)
{
    QStaticText prepared(text);
    prepared.setTextFormat(Qt::PlainText);
    QTextOption option;
    option.setWrapMode(QTextOption::NoWrap);
    option.setTextDirection(Qt::LeftToRight);
    prepared.setTextOption(option);
    prepared.prepare(QTransform(), font);
    return prepared;
}

const QString kFolderMimeType = QStringLiteral("tessly/folder");
const QString kSeparator = QStringLiteral(" \u00b7 ");
constexpr int kThumbnailSide = 36;
constexpr int kTypeIconSide = 28;
constexpr int kRowHeight = 52;
constexpr int kLeftMargin = 10;
constexpr int kRightMargin = 8;
constexpr int kSpacing = 10;
constexpr int kButtonGap = 6;
// A thumbnail not in the cache yet is asked for this long after the row is
// built: the panel is painted first, with the type's icon.
constexpr int kThumbnailDelayMs = 16;
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
    static const QRegularExpression lineBreaks(QStringLiteral("[\\r\\n\\t\\x{2028}\\x{2029}]+"));
    title.replace(lineBreaks, QStringLiteral(" "));
    if (title.size() > 512)
        title = title.left(512);
    return title.isEmpty() ? QStringLiteral("Untitled") : QStringLiteral("\u2068%1\u2069").arg(title);
}

QUrl PopoverFileRowView::linkForRecord(const QVariantMap &file, bool isLink)
{
    return QUrl(isLink ? ShareLink::forShortLink(file) : ShareLink::forItem(file));
}

PopoverFileRowView::PopoverFileRowView(const QVariantMap &file, bool isLink, QWidget *parent)
    : QWidget(parent)
    , m_file(file)
    , m_isLink(isLink)
    , m_link(linkForRecord(file, isLink))
    , m_title(displayTitle(file, isLink))
    , m_meta(metadataLine(file))
{
    // The row draws its texts and icon itself: the panel builds a screenful
    // of rows at every opening, and a row of labels and laid-out buttons
    // costs several times as much to build, polish and lay out. The buttons
    // are made when the row is first hovered or selected.
    setAttribute(Qt::WA_Hover);
    setCursor(Qt::PointingHandCursor);
    setFixedHeight(kRowHeight);
    const QString plainTitle = QString(m_title).remove(QChar(0x2068)).remove(QChar(0x2069));
    setToolTip(plainTitle.left(300));
    setAccessibleName(plainTitle.left(300));
    setAccessibleDescription(m_meta);
    double views = 0;
    numberIn(file, QStringLiteral("viewCount"), &views);
    m_views = QString::number(qint64(qBound(0.0, views, 9.2e18)));
    updateIcons();

    const QUrl thumbnail(file.value(QStringLiteral("thumbnailUrl")).toString());
    if (!isLink && thumbnail.isValid() && !thumbnail.isEmpty()) {
        const int side = kThumbnailSide * 2; // sharp at 2x as well
        const auto show = [this](const QImage &image) { setThumbnail(image); };
        if (ThumbnailCache::instance().contains(thumbnail, side))
            ThumbnailCache::instance().load(thumbnail, side, this, show);
        else
            QTimer::singleShot(kThumbnailDelayMs, this,
                [this, thumbnail, side, show] { ThumbnailCache::instance().load(thumbnail, side, this, show); });
    }
}

QString PopoverFileRowView::title() const
{
    return m_title;
}

void PopoverFileRowView::setSelected(bool selected)
{
    if (m_selected == selected)
        return;
    m_selected = selected;
    updateButtons();
    update();
}

bool PopoverFileRowView::showsButtons() const
{
    return (m_hovered || m_selected) && !m_link.isEmpty();
}

QRect PopoverFileRowView::iconRect() const
{
    return QRect(kLeftMargin, (height() - kThumbnailSide) / 2, kThumbnailSide, kThumbnailSide);
}

QRect PopoverFileRowView::badgeRect() const
{
    return QRect(width() - kRightMargin - m_viewsWidth, 0, m_viewsWidth, height());
}

QRect PopoverFileRowView::titleRect() const
{
    // The texts take what the icon and the badge or the buttons leave.
    const int left = iconRect().right() + 1 + kSpacing;
    const int right = (showsButtons() && m_copy ? m_copy->geometry().left() : badgeRect().left()) - kSpacing;
    const int nameHeight = fontMetrics().height();
    const int blockHeight = nameHeight + 1 + QFontMetrics(m_smallFont).height();
    return QRect(left, (height() - blockHeight) / 2, qMax(1, right - left), nameHeight);
}

void PopoverFileRowView::updateButtons()
{
    const bool active = showsButtons();
    if (active && !m_copy) {
        m_copy = new QToolButton(this);
        m_qr = new QToolButton(this);
        for (QToolButton *button : { m_copy, m_qr }) {
            button->setAutoRaise(true);
            button->setFocusPolicy(Qt::NoFocus);
            button->setIconSize(QSize(16, 16));
            button->setCursor(Qt::ArrowCursor);
        }
        m_copy->setToolTip(QStringLiteral("Copy Link"));
        m_copy->setAccessibleName(QStringLiteral("Copy Link"));
        m_qr->setToolTip(QStringLiteral("QR Code"));
        m_qr->setAccessibleName(QStringLiteral("QR Code"));
        connect(m_copy, &QToolButton::clicked, this, [this] { Q_EMIT copyRequested(m_link); });
        connect(m_qr, &QToolButton::clicked, this, [this] { Q_EMIT qrCodeRequested(m_link, m_qr); });
        updateIcons();
        placeButtons();
    }
    if (m_copy) {
        m_copy->setVisible(active);
        m_qr->setVisible(active);
    }
    layoutTexts();
}

void PopoverFileRowView::placeButtons()
{
    if (!m_copy)
        return;
    const QSize size = m_qr->sizeHint();
    const int top = (height() - size.height()) / 2;
    m_qr->setGeometry(QRect(QPoint(width() - kRightMargin - size.width(), top), size));
    m_copy->setGeometry(QRect(QPoint(m_qr->x() - kButtonGap - size.width(), top), size));
}

void PopoverFileRowView::updateIcons()
{
    const QColor color = palette().color(QPalette::WindowText);
    if (m_copy) {
        m_copy->setIcon(MenuIcons::themed(QStringLiteral("edit-copy"), color));
        m_qr->setIcon(MenuIcons::themed(QStringLiteral("view-barcode-qr"), color));
        if (m_qr->icon().isNull())
            m_qr->setIcon(QrCode::glyph(color));
    }
    if (m_icon.isNull() || m_iconIsThemed) {
        // The type icons, looked up and drawn once per type (GUI thread only).
        static QHash<QString, QPixmap> typeIcons;
        const QString key = m_isLink ? QString() : m_file.value(QStringLiteral("mimeType")).toString();
        auto icon = typeIcons.constFind(key);
        if (icon == typeIcons.constEnd())
            icon = typeIcons.insert(
                key, QIcon::fromTheme(iconNameFor(m_file, m_isLink)).pixmap(kTypeIconSide, kTypeIconSide));
        m_icon = *icon;
        m_iconIsThemed = true;
    }
    update();
}

void PopoverFileRowView::setThumbnail(const QImage &image)
{
    if (image.isNull())
        return; // the type's icon stays
    const qreal ratio = devicePixelRatioF();
    const int side = qRound(kThumbnailSide * ratio);
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath clip;
    clip.addRoundedRect(QRectF(0, 0, side, side), 6 * ratio, 6 * ratio);
    painter.setClipPath(clip);
    const QImage scaled = image.scaled(side, side, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    painter.drawImage(QPoint((side - scaled.width()) / 2, (side - scaled.height()) / 2), scaled);
    painter.end();
    pixmap.setDevicePixelRatio(ratio);
    m_icon = pixmap;
    m_iconIsThemed = false;
    update();
}

void PopoverFileRowView::layoutTexts()
{
    m_smallFont = font();
    m_smallFont.setPointSizeF(m_smallFont.pointSizeF() * 0.88);
    const QFontMetrics smallMetrics(m_smallFont);
    m_viewsWidth = smallMetrics.horizontalAdvance(m_views);
    const int room = titleRect().width();
    m_shownTitle = fontMetrics().elidedText(m_title, Qt::ElideMiddle, room);
    m_titleText = preparedText(m_shownTitle, font());
    m_metaText = preparedText(smallMetrics.elidedText(m_meta, Qt::ElideRight, room), m_smallFont);
    m_viewsText = preparedText(m_views, m_smallFont);
    update();
}

void PopoverFileRowView::enterEvent(QEnterEvent *event)
{
    m_hovered = true;
    updateButtons();
    update();
    QWidget::enterEvent(event);
}

void PopoverFileRowView::leaveEvent(QEvent *event)
{
    m_hovered = false;
    updateButtons();
    update();
    QWidget::leaveEvent(event);
}

void PopoverFileRowView::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()) && !m_link.isEmpty())
        Q_EMIT openRequested(m_link);
    QWidget::mouseReleaseEvent(event);
}

void PopoverFileRowView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    if (m_hovered || m_selected) {
        painter.setRenderHint(QPainter::Antialiasing);
        QColor fill = palette().color(QPalette::Highlight);
        fill.setAlphaF(m_selected ? 0.22 : 0.10);
        painter.setPen(Qt::NoPen);
        painter.setBrush(fill);
        painter.drawRoundedRect(QRectF(rect()).adjusted(4, 1, -4, -1), 8, 8);
    }
    // The icon, centred in its square at the device's resolution.
    const QRect square = iconRect();
    const QSizeF iconSize = m_icon.deviceIndependentSize();
    painter.drawPixmap(QPointF(square.x() + (square.width() - iconSize.width()) / 2,
                           square.y() + (square.height() - iconSize.height()) / 2),
        m_icon);

    const QRect name = titleRect();
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawStaticText(name.topLeft(), m_titleText);
    painter.setFont(m_smallFont);
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawStaticText(QPoint(name.left(), name.bottom() + 2), m_metaText);
    if (!showsButtons()) {
        const QRect badge = badgeRect();
        painter.drawStaticText(
            QPoint(badge.left(), (badge.height() - QFontMetrics(m_smallFont).height()) / 2), m_viewsText);
    }
}

bool PopoverFileRowView::event(QEvent *event)
{
    // The badge says what it counts.
    if (event->type() == QEvent::ToolTip && !showsButtons()
        && badgeRect().contains(static_cast<QHelpEvent *>(event)->pos())) {
        QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(), QStringLiteral("Views"), this);
        return true;
    }
    return QWidget::event(event);
}

void PopoverFileRowView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    placeButtons();
    layoutTexts();
}

void PopoverFileRowView::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange)
        updateIcons();
    if (event->type() == QEvent::FontChange)
        layoutTexts();
    QWidget::changeEvent(event);
}
