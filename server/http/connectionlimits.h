// Keeps slow or greedy clients from taking the service away from others.
//
// httplib's own pool has a fixed number of threads, each held by one
// connection until it ends, so a few dozen sockets that send half a request
// stop everyone else. Here every connection gets its own thread up to
// `maxConnections` (more wait for a free place), and one client address may
// hold at most `maxPerAddress` open connections; further ones from it are
// closed as soon as they are accepted.
//
// httplib 0.11 accepts connections itself and hides their sockets from the
// task it queues, so the peer address is taken where the connection is
// accepted: this file defines accept(), which the httplib library calls
// through the dynamic linker, and hands the admitted address to the next
// enqueue() on the same thread, which httplib calls right after accept().
//
// A subclass of httplib::Server that overrides process_and_close_socket()
// would see each socket without this, but it cannot serve the connections it
// admits: Debian's httplib 0.11 declares that function private in Server and
// in SSLServer, so an override cannot call the library's own version.
#pragma once

#include <httplib.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace tessly::server {

class ConnectionLimits
{
public:
    // Until this is called every connection is admitted. A peer at
    // `unlimitedAddress` (the trusted proxy) has no per-address limit.
    static void configure(int maxPerAddress, const std::string &unlimitedAddress);

    // Called from accept(): false when the peer already holds its share.
    static bool admit(const std::string &peer);
    // The address admitted last on this thread (empty when none).
    static std::string takeAdmitted();
    static void release(const std::string &peer);
};

// httplib's task queue: a thread per connection, at most `maxConnections`.
class ConnectionQueue : public httplib::TaskQueue
{
public:
    explicit ConnectionQueue(int maxConnections);
    ~ConnectionQueue() override;

    void enqueue(std::function<void()> fn) override;
    void shutdown() override;

private:
    struct Task
    {
        std::function<void()> fn;
        std::string peer;
    };
    void start(Task task);
    void finished();

    const int m_max;
    std::mutex m_mutex;
    std::condition_variable m_idle;
    std::deque<Task> m_waiting;
    int m_running = 0;
};

} // namespace tessly::server
