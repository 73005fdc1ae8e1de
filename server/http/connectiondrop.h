#pragma once

namespace httplib {
struct Request;
}

namespace tessly::server {

// Breaks off the connection that carries `req` as a network failure would:
// the client sees the answer end early. The caller keeps reading (and
// discarding) the rest of the body so that the connection ends cleanly.
// Used only for injected faults. Returns false when the socket was not found.
bool dropConnection(const httplib::Request &req);

} // namespace tessly::server
