#include "replytimeout.h"

#include <QNetworkReply>

ReplyTimeout *ReplyTimeout::watch(QNetworkReply *reply, int ms)
{
    return new ReplyTimeout(reply, ms);
}

bool ReplyTimeout::firedOn(const QNetworkReply *reply)
{
    const auto *watcher = reply ? reply->findChild<ReplyTimeout *>(QString(), Qt::FindDirectChildrenOnly) : nullptr;
    return watcher && watcher->fired();
}

ReplyTimeout::ReplyTimeout(QNetworkReply *reply, int ms)
    : QObject(reply)
{
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
