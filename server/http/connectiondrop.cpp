#include "http/connectiondrop.h"

#include <httplib.h>

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <string_view>

namespace tessly::server {

namespace {

int portOf(const sockaddr_storage &address)
{
    if (address.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in &>(address).sin_port);
    if (address.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6 &>(address).sin6_port);
    return -1;
}

bool isConnectionOf(int fd, const httplib::Request &req)
{
    struct stat info
    {
    };
    if (fstat(fd, &info) != 0 || !S_ISSOCK(info.st_mode))
        return false;
    sockaddr_storage local {}, peer {};
    socklen_t localLength = sizeof local, peerLength = sizeof peer;
    if (getsockname(fd, reinterpret_cast<sockaddr *>(&local), &localLength) != 0
        || getpeername(fd, reinterpret_cast<sockaddr *>(&peer), &peerLength) != 0)
        return false;
    return portOf(local) == req.local_port && portOf(peer) == req.remote_port;
}

// The start of an answer that never finishes. Cutting the connection before
// any answer would let HTTP clients quietly send the request again, which
// hides the failure; a cut inside the answer cannot be retried that way.
constexpr std::string_view kTruncatedAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 65536\r\n\r\n";

// Only the sending side is closed: the peer gets the truncated answer and
// then the end of the stream. Closing the receiving side with body bytes
// still unread would reset the connection, and a reset can overtake the
// answer and make it look like a failure before any answer again.
bool cut(int fd)
{
    return ::shutdown(fd, SHUT_WR) == 0;
}

} // namespace

bool dropConnection(const httplib::Request &req)
{
#ifdef CPPHTTPLIB_OPENSSL_SUPPORT
    if (req.ssl) {
        SSL *ssl = const_cast<SSL *>(req.ssl); // this thread owns the connection
        SSL_write(ssl, kTruncatedAnswer.data(), static_cast<int>(kTruncatedAnswer.size()));
        int fd = SSL_get_fd(ssl);
        return fd >= 0 && cut(fd);
    }
#endif
    DIR *dir = opendir("/proc/self/fd");
    if (!dir)
        return false;
    bool dropped = false;
    while (dirent *entry = readdir(dir)) {
        char *end = nullptr;
        long fd = std::strtol(entry->d_name, &end, 10);
        if (*end != '\0' || fd < 0 || fd == dirfd(dir))
            continue;
        if (isConnectionOf(static_cast<int>(fd), req)) {
            ::send(static_cast<int>(fd), kTruncatedAnswer.data(), kTruncatedAnswer.size(), MSG_NOSIGNAL);
            dropped = cut(static_cast<int>(fd));
            break;
        }
    }
    closedir(dir);
    return dropped;
}

} // namespace tessly::server
