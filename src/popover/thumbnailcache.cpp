#include "thumbnailcache.h"

#include "dispatch.h"
#include "replytimeout.h"

#include <QBuffer>
#include <QImageReader>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>

Q_LOGGING_CATEGORY(lcThumbnailCache, "tessly.popover.thumbnailcache")

namespace {

constexpr int kTimeoutMs = 15000;
constexpr qint64 kMaxBytes = 4 * 1024 * 1024;

QString keyFor(const QUrl &url, int side)
{
    return QString::number(side) + QLatin1Char(' ') + url.toString();
}

QImage decode(const QByteArray &data, int side)
{
    QBuffer buffer;
    buffer.setData(data);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    // Big pictures are decoded at a fraction of their size where the format can.
    if (size.isValid() && (size.width() > side * 2 || size.height() > side * 2))
        reader.setScaledSize(size.scaled(side * 2, side * 2, Qt::KeepAspectRatio));
    QImage image = reader.read();
    if (image.isNull())
        return {};
    return image.scaled(side, side, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
}

} // namespace

ThumbnailCache &ThumbnailCache::instance()
{
    static ThumbnailCache *cache = new ThumbnailCache;
    return *cache;
}

ThumbnailCache::ThumbnailCache()
    : m_network(new QNetworkAccessManager(this))
    , m_cache(kCapacity)
{
}

bool ThumbnailCache::contains(const QUrl &url, int side) const
{
    return m_cache.contains(keyFor(url, side));
}

void ThumbnailCache::load(const QUrl &url, int side, QObject *context, Callback callback)
{
    if (!url.isValid() || url.isRelative()
        || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https"))) {
        callback({});
        return;
    }
    const QString key = keyFor(url, side);
    if (const QImage *image = m_cache.object(key)) {
        callback(*image);
        return;
    }
    const bool running = m_waiting.contains(key);
    m_waiting[key].append({ context, std::move(callback) });
    if (running)
        return;

    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    QNetworkReply *reply = m_network->get(request);
    ReplyTimeout::watch(reply, kTimeoutMs, kMaxBytes);
    connect(reply, &QNetworkReply::finished, this, [this, reply, key, side] {
        reply->deleteLater();
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (reply->error() != QNetworkReply::NoError || status / 100 != 2) {
            qCInfo(lcThumbnailCache).noquote() << "no thumbnail:" << reply->errorString();
            // A refusal stands until the picture leaves the cache; a failed
            // connection or a server error is tried again next time.
            finish(key, {}, status / 100 == 4);
            return;
        }
        const QByteArray data = reply->readAll();
        QPointer<ThumbnailCache> self(this);
        Dispatch::background([self, key, side, data] {
            const QImage image = decode(data, side);
            Dispatch::main([self, key, image] {
                if (self)
                    self->finish(key, image, true);
            });
        });
    });
}

void ThumbnailCache::finish(const QString &key, const QImage &image, bool lasting)
{
    // An answer that is not a picture is kept as a null one, so that the
    // list does not fetch it again every time it opens.
    if (lasting)
        m_cache.insert(key, new QImage(image));
    const QList<Waiter> waiters = m_waiting.take(key);
    for (const Waiter &waiter : waiters) {
        if (waiter.context)
            waiter.callback(image);
    }
}
