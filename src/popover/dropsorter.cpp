#include "dropsorter.h"

#include <QMimeData>

#include <algorithm>

DropSorter::Result DropSorter::sort(const QMimeData *data, const HandOver &handOver)
{
    Result result;
    QList<QUrl> web;
    for (const QUrl &url : data ? data->urls() : QList<QUrl> {}) {
        const QString scheme = url.scheme().toLower();
        if (url.isLocalFile())
            result.files << url;
        else if (scheme == QLatin1String("http") || scheme == QLatin1String("https"))
            web << url;
        else
            result.unusable << url.toDisplayString(QUrl::RemoveUserInfo | QUrl::RemoveQuery);
    }
    if (result.files.isEmpty() && web.size() <= 1) {
        // A web address, a picture, a file offered by reference: the tray
        // application's drop rules take the drop as it is.
        if (data && (!web.isEmpty() || result.unusable.isEmpty()))
            handOver(*data);
        return result;
    }
    // A mixed drop: the files are uploaded by the panel, and every web
    // address and a picture carried beside them go their own way, one by one.
    for (const QUrl &url : std::as_const(web)) {
        QMimeData part;
        part.setUrls({ url });
        handOver(part);
    }
    // formats() builds a new list at each call (from the XDND types of
    // another application's drag): one list, walked once.
    const QStringList formats = data->formats();
    const auto isPicture = [](const QString &format) { return format.startsWith(QLatin1String("image/")); };
    if (data->hasImage() || std::any_of(formats.cbegin(), formats.cend(), isPicture)) {
        QMimeData picture;
        for (const QString &format : formats) {
            if (isPicture(format))
                picture.setData(format, data->data(format));
        }
        if (data->hasImage())
            picture.setImageData(data->imageData());
        handOver(picture);
    }
    return result;
}
