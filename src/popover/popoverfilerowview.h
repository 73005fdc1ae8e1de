#pragma once

#include <QDateTime>
#include <QFont>
#include <QPixmap>
#include <QStaticText>
#include <QUrl>
#include <QVariantMap>
#include <QWidget>

class QEnterEvent;
class QToolButton;

// One remote item of the dashboard's list: thumbnail or type icon, name, the
// metadata line (type · size · age), the views badge, and on hover or
// selection the copy-link and QR-code buttons. A click opens the item's link.
//
// The texts are pure functions of the record so that every row reads the
// same and tests check them without a display.
class PopoverFileRowView : public QWidget
{
    Q_OBJECT
public:
    // `initWithFile:`; `isLink` for the records of the links tab.
    PopoverFileRowView(const QVariantMap &file, bool isLink, QWidget *parent = nullptr);

    QVariantMap file() const { return m_file; }
    // The item's share link (a short link for link records); empty when the
    // record lacks its code or slug.
    QUrl link() const { return m_link; }
    QString title() const;
    // The name as drawn (shortened to its room) and that room.
    QString shownTitle() const { return m_shownTitle; }
    QRect titleRect() const;

    void setSelected(bool selected);
    bool isSelected() const { return m_selected; }

    // "Folder", "PNG", "ZIP" … or a null string when the MIME type has no
    // label.
    static QString extensionFromMimeType(const QString &mimeType);
    // "1023 B", "1 KB", "1.0 MB", "10 MB", "1.0 GB".
    static QString formattedFileSize(qint64 bytes);
    // "just now", "5 min ago", "3 hr ago", "6 days ago", or the date; null
    // for an invalid date.
    static QString relativeTimeFromDate(const QDateTime &date, const QDateTime &now = QDateTime::currentDateTimeUtc());
    // The type label, size and age joined with " · ".
    static QString metadataLine(const QVariantMap &file, const QDateTime &now = QDateTime::currentDateTimeUtc());
    // The name shown for a record: one line, bidirectional marks kept
    // inside it, a link's address without "https://www.".
    static QString displayTitle(const QVariantMap &file, bool isLink);
    static QUrl linkForRecord(const QVariantMap &file, bool isLink);

Q_SIGNALS:
    void openRequested(const QUrl &link);
    void copyRequested(const QUrl &link);
    void qrCodeRequested(const QUrl &link, QWidget *anchor);

protected:
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;
    bool event(QEvent *event) override;

private:
    bool showsButtons() const;
    QRect iconRect() const;
    QRect badgeRect() const;
    void updateButtons();
    void placeButtons();
    void updateIcons();
    void setThumbnail(const QImage &image);
    void layoutTexts();

    QVariantMap m_file;
    bool m_isLink;
    QUrl m_link;
    QString m_title;
    QString m_shownTitle;
    QString m_meta;
    QString m_views;
    // The texts as drawn, laid out for the row's width and font when either
    // changes, so that a paint only places glyphs.
    QFont m_smallFont;
    QStaticText m_titleText;
    QStaticText m_metaText;
    QStaticText m_viewsText;
    int m_viewsWidth = 0;
    QPixmap m_icon;
    bool m_iconIsThemed = false;
    bool m_selected = false;
    bool m_hovered = false;
    QToolButton *m_copy = nullptr;
    QToolButton *m_qr = nullptr;
};
