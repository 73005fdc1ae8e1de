#pragma once

#include <QDateTime>
#include <QStyledItemDelegate>
#include <QUrl>
#include <QVariantMap>

// Draws one remote item of the dashboard's list (a PopoverFileListModel
// row): thumbnail or type icon, name, the metadata line (type · size · age),
// and the views badge, which yields its place to the copy-link and QR-code
// buttons on a hovered or selected row (PopoverFileListView puts the real
// buttons there). Nothing is built per row: a list of any length costs the
// rows on screen.
//
// The texts are pure functions of the record so that every row reads the
// same and tests check them without a display.
class PopoverFileRowView : public QStyledItemDelegate
{
    Q_OBJECT
public:
    static constexpr int kRowHeight = 52;
    static constexpr int kButtonSide = 24;

    explicit PopoverFileRowView(QObject *parent = nullptr);

    // Where a row's parts go in `rowRect` (a full row of the list); `active`
    // when the buttons show in the badge's place.
    struct Layout
    {
        QRect background;
        QRect icon;
        QRect title;
        QRect metadata;
        QRect views;
        QRect copy;
        QRect qr;
    };
    static Layout layout(const QRect &rowRect, const QFont &font, const QString &views, bool active);
    // The name as drawn in `width` pixels: one line, shortened in the middle.
    static QString elidedTitle(const QString &title, const QFont &font, int width);

    // "Folder", "PNG", "ZIP" … or a null string when the MIME type has no
    // label.
    static QString extensionFromMimeType(const QString &mimeType);
    // "1023 B", "1 KB", "1.0 MB", "10 MB", "1.0 GB".
    static QString formattedFileSize(qint64 bytes);
    // "just now", "5 min ago", "3 hr ago", "6 days ago", or the date; null
    // for an invalid date.
    static QString relativeTimeFromDate(const QDateTime &date, const QDateTime &now = QDateTime::currentDateTime());
    // The type label, size and age joined with " · ".
    static QString metadataLine(const QVariantMap &file, const QDateTime &now = QDateTime::currentDateTime());
    // The name shown for a record: one line, bidirectional marks kept
    // inside it, a link's address without "https://www.".
    static QString displayTitle(const QVariantMap &file, bool isLink);
    static QUrl linkForRecord(const QVariantMap &file, bool isLink);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    bool helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
        const QModelIndex &index) override;
};
