#include "replytimeout.h"

#include <QNetworkReply>

ReplyTimeout *ReplyTimeout::watch(QNetworkReply *reply, int ms, qint64 maxBytes)
{
    return new ReplyTimeout(reply, ms, maxBytes);
}

const ReplyTimeout *ReplyTimeout::of(const QNetworkReply *reply)
{
    return reply ? reply->findChild<ReplyTimeout *>(QString(), Qt::FindDirectChildrenOnly) : nullptr;
}

bool ReplyTimeout::firedOn(const QNetworkReply *reply)
{
    const ReplyTimeout *watcher = of(reply);
    return watcher && watcher->fired();
}

bool ReplyTimeout::tooLargeOn(const QNetworkReply *reply, qint64 *maxBytes)
{
    const ReplyTimeout *watcher = of(reply);
    if (!watcher || !watcher->m_tooLarge)
        return false;
    if (maxBytes)
        *maxBytes = watcher->m_maxBytes;
    return true;
}

ReplyTimeout::ReplyTimeout(QNetworkReply *reply, int ms, qint64 maxBytes)
    : QObject(reply)
    , m_maxBytes(maxBytes)
{
    if (maxBytes > 0) {
        const auto check = [this, reply](qint64 received) {
            if (received > m_maxBytes && !m_tooLarge && !reply->isFinished()) {
                m_tooLarge = true;
                reply->abort();
            }
        };
        connect(reply, &QNetworkReply::downloadProgress, this, check);
        // An announced length past the bound is refused before any body.
        connect(reply, &QNetworkReply::metaDataChanged, this,
            [reply, check] { check(reply->header(QNetworkRequest::ContentLengthHeader).toLongLong()); });
    }
    if (ms <= 0)
        return;
    m_timer.setSingleShot(true);
    m_timer.setInterval(ms);
    connect(&m_timer, &QTimer::timeout, this, [this, reply] {
        m_fired = true;
        reply->abort();
    });
    const auto restart = [this] {
        if (!m_fired)
            m_timer.start();
    };
    connect(reply, &QNetworkReply::uploadProgress, this, restart);
    connect(reply, &QNetworkReply::downloadProgress, this, restart);
    connect(reply, &QNetworkReply::metaDataChanged, this, restart);
    connect(reply, &QNetworkReply::finished, &m_timer, &QTimer::stop);
    m_timer.start();
}
