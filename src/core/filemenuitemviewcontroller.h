#pragma once

#include "remoteitemmenuaction.h"

// A file or folder of the status menu's list, shown with its type's icon.
class FileMenuItemViewController : public RemoteItemMenuAction
{
    Q_OBJECT
public:
    FileMenuItemViewController(const QVariantMap &file, QObject *parent = nullptr);

    // The icon theme's name for a MIME type ("tessly/folder" is a folder).
    static QString iconNameForMimeType(const QString &mimeType);
};
