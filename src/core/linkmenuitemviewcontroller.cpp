#include "linkmenuitemviewcontroller.h"

#include "sharelink.h"

LinkMenuItemViewController::LinkMenuItemViewController(const QVariantMap &link, QObject *parent)
    : RemoteItemMenuAction(link, ShareLink::readableAddress(link.value(QStringLiteral("content")).toString()),
        QUrl(ShareLink::forShortLink(link)), parent)
{
    setThemeIcon(QStringLiteral("insert-link"));
}
