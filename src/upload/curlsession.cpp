#include "curlsession.h"

#include "curllibrary.h"

#include <QSocketNotifier>
#include <QTimer>

#include <vector>

CurlSession::CurlSession(int maxConnectionsPerHost, QObject *parent)
    : QObject(parent)
    , m_maxConnectionsPerHost(maxConnectionsPerHost)
    , m_timer(new QTimer(this))
{
    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, [this] { drive(int(CURL_SOCKET_TIMEOUT), 0); });
}

CurlSession::~CurlSession()
{
    for (const QPointer<ObjectPut> &put : std::as_const(m_transfers)) {
        if (put && put->handle())
            m_curl->multiRemoveHandle(m_multi, put->handle());
        if (put)
            put->m_session = nullptr;
    }
    m_transfers.clear();
    if (m_multi)
        m_curl->multiCleanup(m_multi);
}

bool CurlSession::ensureMulti()
{
    if (m_multi)
        return true;
    m_curl = CurlLibrary::load();
    if (!m_curl)
        return false;
    m_multi = m_curl->multiInit();
    if (!m_multi)
        return false;
    m_curl->multiSetopt(m_multi, CURLMOPT_SOCKETFUNCTION, &CurlSession::socketCallback);
    m_curl->multiSetopt(m_multi, CURLMOPT_SOCKETDATA, this);
    m_curl->multiSetopt(m_multi, CURLMOPT_TIMERFUNCTION, &CurlSession::timerCallback);
    m_curl->multiSetopt(m_multi, CURLMOPT_TIMERDATA, this);
    m_curl->multiSetopt(m_multi, CURLMOPT_MAX_HOST_CONNECTIONS, long(m_maxConnectionsPerHost));
    return true;
}

ObjectPut *CurlSession::put(ObjectPut::Request request)
{
    // The multi handle, and libcurl with it, comes with the first PUT.
    const bool ready = ensureMulti();
    auto *put = new ObjectPut(this, std::move(request));
    m_transfers.append(put);
    if (!ready || !put->handle() || m_curl->multiAddHandle(m_multi, put->handle()) != CURLM_OK) {
        m_transfers.removeAll(QPointer<ObjectPut>(put));
        QMetaObject::invokeMethod(
            put, [put] { put->finish(put->errorFor(CURLE_FAILED_INIT)); }, Qt::QueuedConnection);
    }
    // libcurl asks for a time-out of 0 to start the transfer: nothing runs
    // before the caller has connected to the signals.
    return put;
}

QList<ObjectPut *> CurlSession::transfers() const
{
    QList<ObjectPut *> live;
    for (const QPointer<ObjectPut> &put : m_transfers) {
        if (put && !put->isFinished())
            live.append(put.data());
    }
    return live;
}

void CurlSession::detach(ObjectPut *put)
{
    m_transfers.removeAll(QPointer<ObjectPut>(put));
    if (put->handle())
        m_curl->multiRemoveHandle(m_multi, put->handle());
}

int CurlSession::socketCallback(void *, int socket, int what, void *self, void *)
{
    auto *session = static_cast<CurlSession *>(self);
    if (what == CURL_POLL_REMOVE)
        session->unwatchSocket(socket);
    else
        session->watchSocket(socket, what);
    return 0;
}

int CurlSession::timerCallback(void *, long timeoutMs, void *self)
{
    auto *session = static_cast<CurlSession *>(self);
    if (timeoutMs < 0)
        session->m_timer->stop();
    else
        session->m_timer->start(int(std::min<long>(timeoutMs, 24L * 3600 * 1000)));
    return 0;
}

void CurlSession::watchSocket(int socket, int what)
{
    Watch &watch = m_watches[socket];
    const auto ensure = [this, socket](QSocketNotifier *&notifier, QSocketNotifier::Type type, int events, bool on) {
        if (!on) {
            if (notifier)
                notifier->setEnabled(false);
            return;
        }
        if (!notifier) {
            notifier = new QSocketNotifier(qintptr(socket), type, this);
            connect(notifier, &QSocketNotifier::activated, this, [this, socket, events] { drive(socket, events); });
        }
        notifier->setEnabled(true);
    };
    ensure(watch.read, QSocketNotifier::Read, CURL_CSELECT_IN, what & CURL_POLL_IN);
    ensure(watch.write, QSocketNotifier::Write, CURL_CSELECT_OUT, what & CURL_POLL_OUT);
}

void CurlSession::unwatchSocket(int socket)
{
    const Watch watch = m_watches.take(socket);
    // The notifier may be the one whose signal is being handled right now.
    for (QSocketNotifier *notifier : { watch.read, watch.write }) {
        if (notifier) {
            notifier->setEnabled(false);
            notifier->deleteLater();
        }
    }
}

void CurlSession::drive(int socket, int events)
{
    if (!m_multi)
        return;
    int running = 0;
    ++m_driving;
    m_curl->multiSocketAction(m_multi, curl_socket_t(socket), events, &running);
    --m_driving;
    reportAfterDrive();
}

void CurlSession::reportAfterDrive()
{
    // The slots may start, abort or delete transfers: work on a snapshot.
    const QList<QPointer<ObjectPut>> snapshot = m_transfers;
    for (const QPointer<ObjectPut> &put : snapshot) {
        if (put)
            put->reportProgress();
    }

    std::vector<std::pair<QPointer<ObjectPut>, CURLcode>> ended;
    int queued = 0;
    while (CURLMsg *message = m_curl->multiInfoRead(m_multi, &queued)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        ObjectPut *put = nullptr;
        m_curl->easyGetinfo(message->easy_handle, CURLINFO_PRIVATE, reinterpret_cast<char **>(&put));
        if (put)
            ended.emplace_back(put, message->data.result);
    }
    for (const auto &[put, result] : ended) {
        if (!put || put->isFinished())
            continue;
        long status = 0;
        m_curl->easyGetinfo(put->handle(), CURLINFO_RESPONSE_CODE, &status);
        detach(put);
        if (result == CURLE_OK && status > 0) {
            put->m_status = int(status);
            put->finish(Error());
        } else {
            put->finish(put->errorFor(result == CURLE_OK ? CURLE_GOT_NOTHING : result));
        }
    }
}
