#include "popoverfilerowview.h"

#include "menuicons.h"
#include "qrcode.h"
#include "sharelink.h"
#include "thumbnailcache.h"

#include <QEnterEvent>
#include <QEvent>
#include <QHash>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QMimeDatabase>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRegularExpression>
#include <QToolButton>
#include <QVBoxLayout>

#include <cmath>

namespace {

const QString kFolderMimeType = QStringLiteral("tessly/folder");
const QString kSeparator = QStringLiteral(" \u00b7 ");
constexpr int kThumbnailSide = 36;
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
    format.remove(QRegularExpression(QStringLiteral("d{4}[,.]?\\s*")));
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
    title.replace(QRegularExpression(QStringLiteral("[\\r\\n\\t\\x{2028}\\x{2029}]+")), QStringLiteral(" "));
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
    , m_icon(new QLabel(this))
    , m_name(new QLabel(this))
    , m_meta(new QLabel(this))
    , m_views(new QLabel(this))
    , m_copy(new QToolButton(this))
    , m_qr(new QToolButton(this))
{
    setAttribute(Qt::WA_Hover);
    setCursor(Qt::PointingHandCursor);
    setFixedHeight(52);
    setToolTip(QString(m_title).remove(QChar(0x2068)).remove(QChar(0x2069)).left(300));

    m_icon->setFixedSize(kThumbnailSide, kThumbnailSide);
    m_icon->setAlignment(Qt::AlignCenter);
    for (QLabel *label : { m_name, m_meta, m_views })
        label->setTextFormat(Qt::PlainText);
    m_name->setMinimumWidth(1);
    m_name->setObjectName(QStringLiteral("title"));
    // The name's room changes when the buttons take the badge's place.
    m_name->installEventFilter(this);
    m_name->setLayoutDirection(Qt::LeftToRight);
    m_meta->setMinimumWidth(1);
    m_meta->setText(metadataLine(file));
    QFont small = m_meta->font();
    small.setPointSizeF(small.pointSizeF() * 0.88);
    m_meta->setFont(small);
    m_meta->setForegroundRole(QPalette::PlaceholderText);
    m_views->setFont(small);
    m_views->setForegroundRole(QPalette::PlaceholderText);
    double views = 0;
    numberIn(file, QStringLiteral("viewCount"), &views);
    m_views->setText(QString::number(qint64(qBound(0.0, views, 9.2e18))));
    m_views->setToolTip(QStringLiteral("Views"));

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

    auto *texts = new QVBoxLayout;
    texts->setSpacing(1);
    texts->addStretch();
    texts->addWidget(m_name);
    texts->addWidget(m_meta);
    texts->addStretch();
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(10, 6, 8, 6);
    row->setSpacing(10);
    row->addWidget(m_icon);
    row->addLayout(texts, 1);
    row->addWidget(m_copy);
    row->addWidget(m_qr);
    row->addWidget(m_views);
    updateIcons();
    updateButtons();

    const QUrl thumbnail(file.value(QStringLiteral("thumbnailUrl")).toString());
    if (!isLink && thumbnail.isValid() && !thumbnail.isEmpty()) {
        const int side = kThumbnailSide * 2; // sharp at 2x as well
        ThumbnailCache::instance().load(thumbnail, side, this, [this](const QImage &image) { setThumbnail(image); });
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

void PopoverFileRowView::updateButtons()
{
    const bool active = m_hovered || m_selected;
    const bool hasLink = !m_link.isEmpty();
    m_copy->setVisible(active && hasLink);
    m_qr->setVisible(active && hasLink);
    // The badge yields its place to the buttons.
    m_views->setVisible(!(active && hasLink));
}

void PopoverFileRowView::updateIcons()
{
    const QColor color = palette().color(QPalette::WindowText);
    m_copy->setIcon(MenuIcons::themed(QStringLiteral("edit-copy"), color));
    m_qr->setIcon(MenuIcons::themed(QStringLiteral("view-barcode-qr"), color));
    if (m_qr->icon().isNull())
        m_qr->setIcon(QrCode::glyph(color));
    if (m_icon->pixmap().isNull() || m_icon->property("themeIcon").toBool()) {
        // The type icons, looked up and drawn once per type (GUI thread only).
        static QHash<QString, QPixmap> typeIcons;
        const QString key = m_isLink ? QString() : m_file.value(QStringLiteral("mimeType")).toString();
        auto icon = typeIcons.constFind(key);
        if (icon == typeIcons.constEnd())
            icon = typeIcons.insert(key, QIcon::fromTheme(iconNameFor(m_file, m_isLink)).pixmap(28, 28));
        m_icon->setPixmap(*icon);
        m_icon->setProperty("themeIcon", true);
    }
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
    m_icon->setPixmap(pixmap);
    m_icon->setProperty("themeIcon", false);
}

void PopoverFileRowView::elideTitle()
{
    m_name->setText(m_name->fontMetrics().elidedText(m_title, Qt::ElideMiddle, qMax(1, m_name->width())));
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
    if (!m_hovered && !m_selected)
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor fill = palette().color(QPalette::Highlight);
    fill.setAlphaF(m_selected ? 0.22 : 0.10);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    painter.drawRoundedRect(QRectF(rect()).adjusted(4, 1, -4, -1), 8, 8);
}

bool PopoverFileRowView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_name && event->type() == QEvent::Resize)
        elideTitle();
    return QWidget::eventFilter(watched, event);
}

void PopoverFileRowView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    elideTitle();
}

void PopoverFileRowView::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange)
        updateIcons();
    if (event->type() == QEvent::FontChange)
        elideTitle();
    QWidget::changeEvent(event);
}
