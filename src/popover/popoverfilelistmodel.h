#pragma once

#include <QAbstractListModel>
#include <QPixmap>
#include <QUrl>
#include <QVariantMap>

// The dashboard's list of remote items as rows: each record's shown title,
// metadata line, views badge and share link, and its thumbnail once loaded.
// Setting a list costs nothing per row: a row's texts are made the first
// time it is drawn, and its thumbnail is asked for then (through the
// process-wide ThumbnailCache), so only the rows on screen cost anything.
class PopoverFileListModel : public QAbstractListModel
{
    Q_OBJECT
public:
    enum Role {
        TitleRole = Qt::UserRole + 1, // one line, bidirectional isolates kept
        MetadataRole, // "PNG · 2 KB · 5 min ago"
        ViewsRole, // the badge's number as text
        LinkRole, // QUrl; empty when the record lacks its code or slug
        FileRole, // the record
        ThumbnailRole, // QPixmap with rounded corners, null until loaded
        TypeIconRole, // QIcon of the item's type (a link's for link records)
    };

    explicit PopoverFileListModel(QObject *parent = nullptr);

    // `links` for the records of the links tab. Non-records count as empty
    // records: the row still shows.
    void setItems(const QVariantList &items, bool links);
    bool showsLinks() const { return m_links; }
    QUrl link(int row) const;
    QVariantMap file(int row) const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

private:
    struct Row
    {
        QVariantMap file;
        bool textsMade = false;
        QString title;
        QString metadata;
        QString views;
        QUrl link;
        bool thumbnailAsked = false;
        QPixmap thumbnail;
    };
    const Row &rowWithTexts(int row) const;
    void askForThumbnail(int row) const;
    void load(int row, const QUrl &url);
    void setThumbnail(int row, const QImage &image);

    mutable QList<Row> m_rows;
    bool m_links = false;
    quint64 m_generation = 0;
    bool m_inData = false;
    mutable QList<std::pair<int, QUrl>> m_toFetch;
};
