#pragma once

#include "remoteitemmenuaction.h"

// A short link of the status menu's list: the address it leads to, and its
// age. Choosing it opens the short link.
class LinkMenuItemViewController : public RemoteItemMenuAction
{
    Q_OBJECT
public:
    LinkMenuItemViewController(const QVariantMap &link, QObject *parent = nullptr);
};
