#include "http/connectionlimits.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace tessly::server {

namespace {

struct Limits
{
    std::mutex mutex;
    int maxPerAddress = 0; // 0: not configured, every connection is admitted
    std::string unlimitedAddress;
    std::map<std::string, int> open;
};

Limits &limits()
{
    static Limits instance;
    return instance;
}

thread_local std::string t_admitted;

// With the mutex held.
void forgetOne(Limits &l, const std::string &peer)
{
    auto found = l.open.find(peer);
    if (found != l.open.end() && --found->second <= 0)
        l.open.erase(found);
}

std::string addressText(const sockaddr_storage &address)
{
    char text[INET6_ADDRSTRLEN] = {};
    if (address.ss_family == AF_INET)
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in &>(address).sin_addr, text, sizeof text);
    else if (address.ss_family == AF_INET6)
        inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6 &>(address).sin6_addr, text, sizeof text);
    return text;
}

} // namespace

void ConnectionLimits::configure(int maxPerAddress, const std::string &unlimitedAddress)
{
    Limits &l = limits();
    std::lock_guard guard(l.mutex);
    l.maxPerAddress = maxPerAddress;
    l.unlimitedAddress = unlimitedAddress;
}

bool ConnectionLimits::admit(const std::string &peer)
{
    Limits &l = limits();
    std::lock_guard guard(l.mutex);
    if (l.maxPerAddress <= 0)
        return true;
    // A connection admitted before but never handed on (httplib dropped it
    // between accept and enqueue) no longer counts.
    if (!t_admitted.empty())
        forgetOne(l, std::exchange(t_admitted, std::string()));
    int &count = l.open[peer];
    if (peer != l.unlimitedAddress && count >= l.maxPerAddress)
        return false;
    ++count;
    t_admitted = peer;
    return true;
}

std::string ConnectionLimits::takeAdmitted()
{
    return std::exchange(t_admitted, std::string());
}

void ConnectionLimits::release(const std::string &peer)
{
    if (peer.empty())
        return;
    Limits &l = limits();
    std::lock_guard guard(l.mutex);
    forgetOne(l, peer);
}

ConnectionQueue::ConnectionQueue(int maxConnections)
    : m_max(maxConnections)
{
}

ConnectionQueue::~ConnectionQueue()
{
    shutdown();
}

void ConnectionQueue::enqueue(std::function<void()> fn)
{
    Task task { std::move(fn), ConnectionLimits::takeAdmitted() };
    std::lock_guard guard(m_mutex);
    if (m_running >= m_max) {
        m_waiting.push_back(std::move(task));
        return;
    }
    ++m_running;
    start(std::move(task));
}

void ConnectionQueue::start(Task task)
{
    std::thread([this, task = std::move(task)] {
        task.fn();
        ConnectionLimits::release(task.peer);
        finished();
    }).detach();
}

void ConnectionQueue::finished()
{
    std::lock_guard guard(m_mutex);
    if (!m_waiting.empty()) {
        start(std::move(m_waiting.front())); // takes over this place
        m_waiting.pop_front();
        return;
    }
    --m_running;
    m_idle.notify_all();
}

void ConnectionQueue::shutdown()
{
    std::unique_lock lock(m_mutex);
    m_idle.wait(lock, [this] { return m_running == 0 && m_waiting.empty(); });
}

} // namespace tessly::server

// httplib accepts through here (see the header). Connections over a peer's
// share are closed at once and the wait goes on for the next one: returning
// an error would end httplib's accept loop.
extern "C" int accept(int listenSocket, sockaddr *address, socklen_t *length)
{
    for (;;) {
        sockaddr_storage peer {};
        socklen_t peerLength = sizeof peer;
        const int socket = ::accept4(listenSocket, reinterpret_cast<sockaddr *>(&peer), &peerLength, 0);
        if (socket < 0)
            return socket;
        if (tessly::server::ConnectionLimits::admit(tessly::server::addressText(peer))) {
            if (address && length) {
                const socklen_t copied = std::min(*length, peerLength);
                std::memcpy(address, &peer, copied);
                *length = peerLength;
            }
            return socket;
        }
        ::close(socket);
    }
}
