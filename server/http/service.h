// The running service: one HTTP(S) server carrying the API, the embedded
// object store, the web pages and the admin endpoint.
#pragma once

#include "http/serviceconfig.h"

#include <memory>
#include <string>

namespace httplib {
class Server;
}

namespace tessly::server {

struct ServiceContext;

class Service
{
public:
    explicit Service(ServiceConfig config);
    ~Service();

    // Binds, prints "listening on URL" as the first line on stdout, and serves
    // until stop(). Returns the process exit code.
    int run();
    void stop();

private:
    std::unique_ptr<httplib::Server> makeServer();
    void installHandlers(httplib::Server &server);
    bool bind(httplib::Server &server);

    ServiceConfig m_config;
    std::unique_ptr<ServiceContext> m_ctx;
    std::unique_ptr<httplib::Server> m_server;
};

} // namespace tessly::server
