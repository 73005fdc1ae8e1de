#include "filemenuitemviewcontroller.h"

#include "sharelink.h"

#include <QMimeDatabase>

FileMenuItemViewController::FileMenuItemViewController(const QVariantMap &file, QObject *parent)
    : RemoteItemMenuAction(file, file.value(QStringLiteral("name")).toString(), QUrl(ShareLink::forItem(file)), parent)
{
    setThemeIcon(iconNameForMimeType(file.value(QStringLiteral("mimeType")).toString()));
}

QString FileMenuItemViewController::iconNameForMimeType(const QString &mimeType)
{
    if (mimeType == QLatin1String("tessly/folder"))
        return QStringLiteral("folder");
    const QMimeType type = QMimeDatabase().mimeTypeForName(mimeType);
    if (type.isValid()) {
        // The generic names ("image-x-generic") are the ones every theme has.
        const QString generic = type.genericIconName();
        if (QIcon::hasThemeIcon(type.iconName()))
            return type.iconName();
        if (!generic.isEmpty())
            return generic;
    }
    return QStringLiteral("text-x-generic");
}
