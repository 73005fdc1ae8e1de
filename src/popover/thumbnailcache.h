#pragma once

#include <QCache>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QUrl>

#include <functional>

class QNetworkAccessManager;

// The process-wide cache of thumbnails (50 pictures, the least recently used
// dropped first). A picture is fetched once however many rows ask for it; the
// answer is decoded off the GUI thread, so a slow or broken thumbnail never
// holds up the list. Answers that are not pictures, too large or never come
// (a 15-second idle time-out) deliver a null image; one that came and is no
// picture is remembered as such.
class ThumbnailCache : public QObject
{
    Q_OBJECT
public:
    static constexpr int kCapacity = 50;
    static ThumbnailCache &instance();

    using Callback = std::function<void(const QImage &image)>;
    // Calls back on the GUI thread, at once when cached; nothing when
    // `context` is gone by then. Pictures are scaled to fit `side` pixels.
    void load(const QUrl &url, int side, QObject *context, Callback callback);
    bool contains(const QUrl &url, int side) const;
    int count() const { return m_cache.count(); }

private:
    ThumbnailCache();
    struct Waiter
    {
        QPointer<QObject> context;
        Callback callback;
    };
    // `lasting`: the answer stands (a picture, or an answer that is none).
    void finish(const QString &key, const QImage &image, bool lasting);

    QNetworkAccessManager *m_network = nullptr;
    QCache<QString, QImage> m_cache;
    QHash<QString, QList<Waiter>> m_waiting;
};
