#pragma once

namespace httplib {
struct Request;
}

namespace tessly::server {

// Cuts the connection that carries `req` in both directions, as a network
// failure would: the client sees the transfer break off inside the answer.
// Used only for injected faults. Returns false when the socket was not found.
bool dropConnection(const httplib::Request &req);

} // namespace tessly::server
