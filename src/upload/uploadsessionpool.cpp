#include "uploadsessionpool.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <algorithm>

UploadSessionPool::UploadSessionPool(QNetworkAccessManager *first, int connectionsPerHost, QObject *parent)
    : QObject(parent)
{
    const int wanted = std::max(1, (connectionsPerHost + kConnectionsPerManager - 1) / kConnectionsPerManager);
    m_managers.push_back({ first, 0 });
    while (int(m_managers.size()) < wanted)
        m_managers.push_back({ new QNetworkAccessManager(this), 0 });
}

QNetworkReply *UploadSessionPool::put(const QNetworkRequest &request, QIODevice *body)
{
    const auto least = std::min_element(m_managers.begin(), m_managers.end(),
        [](const Manager &a, const Manager &b) { return a.inFlight < b.inFlight; });
    const std::size_t index = std::size_t(least - m_managers.begin());
    QNetworkReply *reply = least->manager->put(request, body);
    ++least->inFlight;
    m_replies.append(reply);
    connect(reply, &QNetworkReply::finished, this, [this, index, reply] {
        --m_managers[index].inFlight;
        m_replies.removeAll(QPointer<QNetworkReply>(reply));
    });
    return reply;
}

QList<QNetworkReply *> UploadSessionPool::replies() const
{
    QList<QNetworkReply *> live;
    for (const QPointer<QNetworkReply> &reply : m_replies) {
        if (reply)
            live.append(reply.data());
    }
    return live;
}
