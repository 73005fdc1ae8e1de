#pragma once

#include <QAction>
#include <QUrl>
#include <QVariantMap>

// A row of the status menu's list: one remote item (file, folder or link) as
// a native menu entry. Its text is the item's name, elided in the middle to a
// menu's width; after a tab, in the column where menus show shortcuts, comes
// the item's size and age. Choosing it opens the item's link in the browser.
class RemoteItemMenuAction : public QAction
{
    Q_OBJECT
public:
    // The widest a name may be drawn, in the menu's font.
    static constexpr int kMaxNameWidth = 260;

    QVariantMap item() const { return m_item; }
    QUrl url() const { return m_url; }
    QString name() const { return m_name; }
    QString detail() const { return m_detail; }

protected:
    RemoteItemMenuAction(const QVariantMap &item, const QString &name, const QUrl &url, QObject *parent);
    void setThemeIcon(const QString &name);

private:
    QVariantMap m_item;
    QString m_name;
    QString m_detail;
    QUrl m_url;
};
