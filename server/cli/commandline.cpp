#include "cli/commandline.h"

#include "common/text.h"
#include "http/faultinjector.h"

#include <cstdlib>
#include <map>
#include <set>
#include <stdexcept>

namespace tessly::server {

namespace {

using OptionMap = std::map<std::string, std::string>;

const std::set<std::string> kServeFlags = { "--tls", "--allow-remote", "--admin" };
const std::set<std::string> kServeValues = { "--data", "--listen", "--web-domain", "--url-scheme", "--public-url",
    "--tls-cert", "--tls-key", "--s3-endpoint", "--s3-bucket", "--s3-region", "--s3-access-key", "--s3-secret-key",
    "--part-size", "--presign-expiry", "--upload-ttl", "--faults", "--admin-token-file", "--trusted-proxy",
    "--read-timeout", "--max-connections", "--max-connections-per-address" };
const std::set<std::string> kAddUserValues = { "--data", "--email", "--password", "--profile", "--custom-domain" };

OptionMap collect(
    const std::vector<std::string> &args, const std::set<std::string> &values, const std::set<std::string> &flags)
{
    OptionMap options;
    for (std::size_t i = 1; i < args.size(); ++i) {
        std::string name = args[i], value;
        if (auto eq = name.find('='); eq != std::string::npos && startsWith(name, "--")) {
            value = name.substr(eq + 1);
            name = name.substr(0, eq);
            if (!values.count(name))
                throw std::invalid_argument("unknown option " + name);
        } else if (flags.count(name)) {
            value = "1";
        } else if (values.count(name)) {
            if (i + 1 >= args.size())
                throw std::invalid_argument("option " + name + " needs a value");
            value = args[++i];
        } else {
            throw std::invalid_argument("unknown option " + name);
        }
        options[name] = value;
    }
    return options;
}

std::string take(const OptionMap &options, const std::string &name, const std::string &fallback = {})
{
    auto found = options.find(name);
    return found == options.end() ? fallback : found->second;
}

std::string required(const OptionMap &options, const std::string &name)
{
    std::string value = take(options, name);
    if (value.empty())
        throw std::invalid_argument("option " + name + " is required");
    return value;
}

std::int64_t number(
    const OptionMap &options, const std::string &name, std::int64_t fallback, std::int64_t min, std::int64_t max)
{
    if (!options.count(name))
        return fallback;
    auto value = parseUnsigned(options.at(name));
    if (!value || static_cast<std::int64_t>(*value) < min || static_cast<std::int64_t>(*value) > max)
        throw std::invalid_argument(
            "option " + name + " needs a whole number from " + std::to_string(min) + " to " + std::to_string(max));
    return static_cast<std::int64_t>(*value);
}

bool isLoopbackHost(const std::string &host)
{
    return host == "localhost" || startsWith(host, "127.") || host == "::1";
}

void parseListen(const std::string &listen, ServiceConfig &config)
{
    auto colon = listen.rfind(':');
    if (colon == std::string::npos || colon == 0)
        throw std::invalid_argument("--listen takes HOST:PORT, for example 127.0.0.1:8080");
    std::string host = listen.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    auto port = parseUnsigned(listen.substr(colon + 1));
    if (!port || *port > 65535)
        throw std::invalid_argument("--listen needs a port from 0 to 65535");
    config.listenHost = host;
    config.listenPort = static_cast<int>(*port);
}

ServiceConfig parseServe(const std::vector<std::string> &args)
{
    const OptionMap options = collect(args, kServeValues, kServeFlags);
    ServiceConfig config;
    config.dataDir = required(options, "--data");
    parseListen(take(options, "--listen", "127.0.0.1:8080"), config);
    config.allowRemote = options.count("--allow-remote") > 0;
    if (!config.allowRemote && !isLoopbackHost(config.listenHost))
        throw std::invalid_argument(
            "--listen on " + config.listenHost + " reaches other machines; add --allow-remote to mean it");
    config.webDomain = toLower(take(options, "--web-domain"));
    config.urlScheme = take(options, "--url-scheme", "tessly");
    config.publicUrl = take(options, "--public-url");
    while (endsWith(config.publicUrl, "/"))
        config.publicUrl.pop_back();
    config.partSize = number(options, "--part-size", config.partSize, 1, 5LL * 1024 * 1024 * 1024);
    config.presignExpirySeconds = number(options, "--presign-expiry", config.presignExpirySeconds, 1, 7 * 24 * 3600);
    config.uploadTtlSeconds = number(options, "--upload-ttl", config.uploadTtlSeconds, 1, 365LL * 24 * 3600);
    config.readTimeoutSeconds = number(options, "--read-timeout", config.readTimeoutSeconds, 1, 3600);
    config.maxConnections = static_cast<int>(number(options, "--max-connections", config.maxConnections, 8, 65536));
    config.maxConnectionsPerAddress
        = static_cast<int>(number(options, "--max-connections-per-address", config.maxConnectionsPerAddress, 1, 65536));
    config.admin = options.count("--admin") > 0;
    config.adminTokenFile = take(options, "--admin-token-file");
    if (!config.adminTokenFile.empty() && !config.admin)
        throw std::invalid_argument("--admin-token-file needs --admin");
    config.trustedProxy = take(options, "--trusted-proxy");
    config.faults = take(options, "--faults");
    FaultInjector().configure(config.faults); // refuses a bad fault list before anything starts
    config.tlsCert = take(options, "--tls-cert");
    config.tlsKey = take(options, "--tls-key");
    if (config.tlsCert.empty() != config.tlsKey.empty())
        throw std::invalid_argument("--tls-cert and --tls-key go together");
    config.tls = options.count("--tls") > 0 || !config.tlsCert.empty();

    if (options.count("--s3-endpoint")) {
        S3Config s3;
        s3.endpoint = required(options, "--s3-endpoint");
        s3.bucket = required(options, "--s3-bucket");
        s3.region = take(options, "--s3-region", "us-east-1");
        const char *envAccess = std::getenv("TESSLY_S3_ACCESS_KEY");
        const char *envSecret = std::getenv("TESSLY_S3_SECRET_KEY");
        s3.accessKey = take(options, "--s3-access-key", envAccess ? envAccess : "");
        s3.secretKey = take(options, "--s3-secret-key", envSecret ? envSecret : "");
        if (s3.accessKey.empty() || s3.secretKey.empty())
            throw std::invalid_argument("an S3 store needs --s3-access-key and --s3-secret-key");
        if (!startsWith(s3.endpoint, "http://") && !startsWith(s3.endpoint, "https://"))
            throw std::invalid_argument("--s3-endpoint must be an http or https URL");
        config.s3 = s3;
    }
    return config;
}

AddUserOptions parseAddUser(const std::vector<std::string> &args)
{
    const OptionMap options = collect(args, kAddUserValues, {});
    AddUserOptions out;
    out.dataDir = required(options, "--data");
    out.email = required(options, "--email");
    out.password = required(options, "--password");
    out.profile = required(options, "--profile");
    if (options.count("--custom-domain"))
        out.customDomain = toLower(options.at("--custom-domain"));
    return out;
}

} // namespace

CommandLine parseCommandLine(const std::vector<std::string> &args)
{
    CommandLine line;
    if (args.empty() || args[0] == "help" || args[0] == "--help" || args[0] == "-h")
        return line;
    if (args[0] == "version" || args[0] == "--version") {
        line.command = CommandLine::Command::Version;
    } else if (args[0] == "serve") {
        line.command = CommandLine::Command::Serve;
        line.serve = parseServe(args);
    } else if (args[0] == "add-user") {
        line.command = CommandLine::Command::AddUser;
        line.addUser = parseAddUser(args);
    } else {
        throw std::invalid_argument("unknown command \"" + args[0] + "\"");
    }
    return line;
}

std::string usageText()
{
    return R"(Usage:
  tessly-server serve --data DIR --listen HOST:PORT [options]
      --web-domain DOMAIN      profiles' share pages answer on PROFILE.DOMAIN
                               (default localhost:PORT)
      --url-scheme SCHEME      the app's URL scheme for the login callback (default tessly)
      --public-url URL         origin put into presigned URLs (default: the listen address)
      --tls                    HTTPS with a self-signed certificate kept in DIR/tls
      --tls-cert FILE --tls-key FILE   HTTPS with this certificate
      --s3-endpoint URL --s3-bucket B [--s3-region R] --s3-access-key K --s3-secret-key S
                               keep file bytes in an S3-compatible store (keys may also come
                               from TESSLY_S3_ACCESS_KEY and TESSLY_S3_SECRET_KEY)
      --part-size BYTES        multipart part size (default 5242880)
      --presign-expiry SECONDS lifetime of presigned URLs (default 3600)
      --upload-ttl SECONDS     lifetime of unfinished multipart uploads (default 604800)
      --faults LIST            inject faults for tests (see /admin/faults)
      --allow-remote           allow a listen address other than loopback
      --read-timeout SECONDS   a request that sends nothing for this long is dropped (default 10)
      --max-connections N      connections served at once; more wait (default 1024)
      --max-connections-per-address N
                               open connections one client address may have (default 64)
      --admin                  serve /admin/ to loopback callers with the admin token
      --admin-token-file FILE  the admin token (mode 0600; default DIR/admin-token, made once)
      --trusted-proxy ADDRESS  a reverse proxy at ADDRESS names the client in X-Forwarded-For
    Port 0 picks a free port. The first line on stdout is "listening on URL".
  tessly-server add-user --data DIR --email E --password P --profile NAME [--custom-domain HOST]
    Prints the new account's bearer token alone on stdout.
  tessly-server --version
)";
}

} // namespace tessly::server
