#include "remoteitemmenuaction.h"

#include "menuicons.h"
#include "statusmenumodel.h"

#include <QApplication>
#include <QDateTime>
#include <QDesktopServices>
#include <QFontMetrics>
#include <QMenu>

RemoteItemMenuAction::RemoteItemMenuAction(
    const QVariantMap &item, const QString &name, const QUrl &url, QObject *parent)
    : QAction(parent)
    , m_item(item)
    , m_name(name)
    , m_detail(StatusMenuModel::detailText(item, QDateTime::currentDateTimeUtc()))
    , m_url(url)
{
    const QFontMetrics metrics(QApplication::font("QMenu"));
    QString shown = metrics.elidedText(name, Qt::ElideMiddle, kMaxNameWidth);
    // A menu reads "&" as the mark of a keyboard accelerator.
    shown.replace(QLatin1Char('&'), QStringLiteral("&&"));
    setText(m_detail.isEmpty() ? shown : shown + QLatin1Char('\t') + m_detail);
    setToolTip(name);
    setData(1);
    connect(this, &QAction::triggered, this, [this] {
        if (m_url.isValid())
            QDesktopServices::openUrl(m_url);
    });
}

void RemoteItemMenuAction::setThemeIcon(const QString &name)
{
    setIcon(MenuIcons::themed(name, QApplication::palette("QMenu").color(QPalette::Text)));
}
