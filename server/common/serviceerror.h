// An error that carries the HTTP status and a short machine-readable code,
// thrown by any layer and turned into an answer at the HTTP boundary.
#pragma once

#include <stdexcept>
#include <string>

namespace tessly::server {

class ServiceError : public std::runtime_error
{
public:
    ServiceError(int status, std::string code, const std::string &message)
        : std::runtime_error(message)
        , m_status(status)
        , m_code(std::move(code))
    {
    }

    int status() const { return m_status; }
    const std::string &code() const { return m_code; }

private:
    int m_status;
    std::string m_code;
};

inline ServiceError badRequest(const std::string &message)
{
    return { 400, "BadRequest", message };
}
inline ServiceError notFound(const std::string &message)
{
    return { 404, "NotFound", message };
}
inline ServiceError forbidden(const std::string &message)
{
    return { 403, "Forbidden", message };
}
inline ServiceError conflict(const std::string &message)
{
    return { 409, "Conflict", message };
}

} // namespace tessly::server
