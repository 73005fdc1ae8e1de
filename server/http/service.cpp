#include "http/service.h"

#include "common/text.h"
#include "http/apisupport.h"
#include "http/bodylimits.h"
#include "http/connectionlimits.h"
#include "http/requestlog.h"
#include "http/routes.h"
#include "http/servicecontext.h"
#include "tls/selfsigned.h"
#include "web/html.h"
#include "web/webpages.h"
#include "web/websession.h"

#include <httplib.h>

#include <iostream>

namespace tessly::server {

namespace {

bool isWildcardAddress(const std::string &host)
{
    return host == "0.0.0.0" || host == "::" || host.empty();
}

std::string urlHost(const std::string &host)
{
    return host.find(':') != std::string::npos ? "[" + host + "]" : host;
}

} // namespace

Service::Service(ServiceConfig config)
    : m_config(std::move(config))
{
}

Service::~Service() = default;

std::unique_ptr<httplib::Server> Service::makeServer()
{
    if (!m_config.tls)
        return std::make_unique<httplib::Server>();
    std::string cert = m_config.tlsCert, key = m_config.tlsKey;
    if (cert.empty()) {
        std::vector<std::string> hosts;
        if (!m_config.webDomain.empty())
            hosts = { hostOfAuthority(m_config.webDomain), "*." + hostOfAuthority(m_config.webDomain) };
        auto paths = ensureSelfSignedCertificate(m_config.dataDir + "/tls", hosts);
        cert = paths.certificate;
        key = paths.privateKey;
    }
    auto server = std::make_unique<httplib::SSLServer>(cert.c_str(), key.c_str());
    if (!server->is_valid())
        throw std::runtime_error("cannot use the TLS certificate " + cert + " with the key " + key);
    return server;
}

void Service::installHandlers(httplib::Server &server)
{
    ServiceContext &ctx = *m_ctx;
    server.set_pre_routing_handler([&ctx](const httplib::Request &req, httplib::Response &res) {
        if (handleShareHost(ctx, req, res))
            return httplib::Server::HandlerResponse::Handled;
        if (refuseUnacceptableBody(req, res))
            return httplib::Server::HandlerResponse::Handled;
        if (req.method != "GET" && req.method != "HEAD" && !startsWith(req.path, "/v1/")
            && !startsWith(req.path, "/admin/") && !startsWith(req.path, "/store/") && isCrossSiteForm(req)) {
            sendMessagePage(res, 403, "Not allowed", "This form was sent from another site.");
            return httplib::Server::HandlerResponse::Handled;
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });

    registerAccountRoutes(server, ctx);
    registerClientRoutes(server, ctx);
    registerMultipartRoutes(server, ctx);
    registerFileRoutes(server, ctx);
    registerFolderAndLinkRoutes(server, ctx);
    registerStoreRoutes(server, ctx);
    registerAdminRoutes(server, ctx);
    registerWebRoutes(server, ctx);

    server.set_error_handler(
        httplib::Server::HandlerWithResponse([](const httplib::Request &req, httplib::Response &res) {
            if (!res.body.empty())
                return httplib::Server::HandlerResponse::Unhandled;
            if (startsWith(req.path, "/v1/") || startsWith(req.path, "/admin/"))
                sendError(res,
                    ServiceError(res.status, res.status == 404 ? "NotFound" : "BadRequest",
                        res.status == 404 ? "No such endpoint" : "The request was not understood"));
            else if (res.status == 404)
                sendMessagePage(res, 404, "Not found", "There is nothing at this address.");
            else
                return httplib::Server::HandlerResponse::Unhandled;
            return httplib::Server::HandlerResponse::Handled;
        }));
    server.set_exception_handler([](const httplib::Request &req, httplib::Response &res, std::exception_ptr error) {
        try {
            std::rethrow_exception(error);
        } catch (const std::exception &e) {
            std::cerr << "unhandled error on " << req.method << " " << req.path << ": " << e.what() << std::endl;
        } catch (...) {
        }
        res.status = 500;
        res.set_content("Internal error", "text/plain");
    });
    server.set_logger([](const httplib::Request &req, const httplib::Response &res) {
        std::cerr << requestLogLine(req, res) << std::endl;
    });
}

bool Service::bind(httplib::Server &server)
{
    int port = m_config.listenPort;
    if (port == 0) {
        port = server.bind_to_any_port(m_config.listenHost);
        if (port <= 0)
            return false;
    } else if (!server.bind_to_port(m_config.listenHost, port)) {
        return false;
    }
    const std::string scheme = m_config.tls ? "https" : "http";
    const std::string reachableHost = isWildcardAddress(m_config.listenHost) ? "127.0.0.1" : m_config.listenHost;
    const std::string origin = scheme + "://" + urlHost(reachableHost) + ":" + std::to_string(port);
    const std::string webDomain = m_config.webDomain.empty() ? "localhost:" + std::to_string(port) : m_config.webDomain;
    m_ctx->urls = Urls(scheme, origin, webDomain);
    if (m_ctx->localStore)
        m_ctx->localStore->setOrigin(m_config.publicUrl.empty() ? origin : m_config.publicUrl);
    std::cout << "listening on " << origin << std::endl;
    return true;
}

int Service::run()
{
    m_ctx = std::make_unique<ServiceContext>(m_config);
    if (auto *s3 = dynamic_cast<S3ObjectStore *>(m_ctx->store.get()))
        s3->ensureBucket();
    m_server = makeServer();
    const int maxConnections = m_config.maxConnections;
    m_server->new_task_queue = [maxConnections] { return new ConnectionQueue(maxConnections); };
    ConnectionLimits::configure(m_config.maxConnectionsPerAddress, m_config.trustedProxy);
    // Idle connections hold a thread each, and stop() waits for them; a
    // request that stalls is dropped after the read time-out.
    m_server->set_keep_alive_timeout(2);
    m_server->set_read_timeout(static_cast<time_t>(m_config.readTimeoutSeconds));
    m_server->set_write_timeout(60);
    installHandlers(*m_server);
    if (!bind(*m_server)) {
        std::cerr << "tessly-server: cannot listen on " << m_config.listenHost << ":" << m_config.listenPort
                  << std::endl;
        return 1;
    }
    const bool ok = m_server->listen_after_bind();
    return ok || m_ctx->stopping ? 0 : 1;
}

void Service::stop()
{
    if (m_ctx)
        m_ctx->stopping = true;
    if (m_server)
        m_server->stop();
}

} // namespace tessly::server
