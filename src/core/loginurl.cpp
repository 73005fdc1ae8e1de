#include "loginurl.h"

#include <QUrlQuery>

namespace LoginURL {

QString getQueryStringParameter(const QUrl &url, const QString &key)
{
    const QUrlQuery query(url);
    const auto items = query.queryItems(QUrl::FullyDecoded);
    if (items.isEmpty())
        return QStringLiteral("");
    for (const auto &item : items) {
        if (item.first == key)
            return item.second.isNull() ? QStringLiteral("") : item.second;
    }
    return {};
}

bool isShareClipboard(const QUrl &url)
{
    return url.host().compare(QLatin1String("shareClipboard"), Qt::CaseInsensitive) == 0;
}

bool isFileURL(const QUrl &url)
{
    return url.isLocalFile();
}

} // namespace LoginURL
