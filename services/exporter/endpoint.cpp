// SPDX-License-Identifier: Apache-2.0
#include "endpoint.hpp"

#include "../common/service_log.hpp"
#include "line_limit.hpp"
#include "open_metrics.hpp"

#include <sys/socket.h>

#include <fcntl.h>
#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

namespace healthintf::exporter
{
namespace
{

/** Limits the lines about scrapes that fail, which anybody may ask for. */
constinit host::LineLimit failureLines;

constexpr const char* metricsUrl = "/metrics";
constexpr const char* plainText = "text/plain; charset=utf-8";

/** The path of a URL; a client may send the whole one, as proxies are sent. */
std::string_view cutQuery(std::string_view url)
{
    constexpr std::string_view scheme = "http://";
    if (url.size() < scheme.size() ||
        strncasecmp(url.data(), scheme.data(), scheme.size()) != 0)
    {
        return url;
    }
    const std::size_t path = url.find('/', scheme.size());
    return path == std::string_view::npos ? "/" : url.substr(path);
}

/** How many connections the server may have beside those that are served: it
 *  takes several at once, and notices one after the other that it was ended. */
constexpr unsigned int connectionsInPassing = 16;

/** The descriptor of a connection, negative without one. */
int getDescriptor(MHD_Connection* connection)
{
    const auto* info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    return info == nullptr ? -1 : info->connect_fd;
}

/** The server closes what it is given. */
int duplicate(int fd)
{
    const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (copy < 0)
    {
        throw std::system_error(errno, std::generic_category(), "fcntl");
    }
    return copy;
}

MHD_Result reply(MHD_Connection* connection, unsigned int status,
                 const char* type, const std::string& text)
{
    MHD_Response* response = MHD_create_response_from_buffer(
        text.size(), const_cast<char*>(text.data()), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr)
    {
        return MHD_NO;
    }
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, type);
    // A scraper that keeps its connection would hold a place of few.
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONNECTION, "close");
    if (status == MHD_HTTP_METHOD_NOT_ALLOWED)
    {
        MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD");
    }
    const MHD_Result result = MHD_queue_response(connection, status, response);
    MHD_destroy_response(response);
    return result;
}

} // namespace

Endpoint::Endpoint(services::EventLoop& loop, const Listener& listener,
                   Scrape scrape) :
    scrape(std::move(scrape))
{
    start(listener);
    const auto* info =
        MHD_get_daemon_info(daemon.get(), MHD_DAEMON_INFO_EPOLL_FD);
    if (info == nullptr)
    {
        throw std::runtime_error("the HTTP server has no epoll");
    }
    more = loop.onRequest([this] {
        work();
    });
    readable = loop.onReadable(info->epoll_fd, [this] {
        work();
    });
    clock = loop.every(std::chrono::seconds(1), [this] {
        endOldConnections();
        work();
    });
}

void Endpoint::start(const Listener& listener)
{
    const int fd = duplicate(listener.fd());
    daemon.reset(MHD_start_daemon(
        MHD_USE_EPOLL, 0, nullptr, nullptr, takeRequest, this,
        MHD_OPTION_LISTEN_SOCKET, fd, MHD_OPTION_CONNECTION_LIMIT,
        mostConnections + connectionsInPassing,
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, largestRequest,
        MHD_OPTION_CONNECTION_TIMEOUT,
        static_cast<unsigned int>(longest.count()),
        MHD_OPTION_NOTIFY_CONNECTION, takeConnection, this, MHD_OPTION_END));
    if (daemon == nullptr)
    {
        close(fd);
        throw std::runtime_error("unable to start the HTTP server");
    }
}

void Endpoint::work()
{
    MHD_run(daemon.get());
    // It may have work left that no descriptor tells of.
    MHD_UNSIGNED_LONG_LONG wait = 0;
    if (MHD_get_timeout(daemon.get(), &wait) == MHD_YES && wait == 0)
    {
        services::EventLoop::request(more);
    }
}

void Endpoint::endOldConnections()
{
    // The server's own limit begins anew with each byte that comes in.
    const auto before = Clock::now() - longest;
    for (const auto& [fd, connection] : connections)
    {
        if (connection.since < before)
        {
            shutdown(fd, SHUT_RDWR);
        }
    }
}

void Endpoint::makeRoom()
{
    const auto order = [](const auto& each) {
        const Connection& connection = each.second;
        return std::tuple(connection.ended, connection.asked, connection.since);
    };
    const auto served =
        std::ranges::count_if(connections, [](const auto& each) {
            return !each.second.ended;
        });
    if (served > mostConnections)
    {
        auto& [fd, first] =
            *std::ranges::min_element(connections, std::less(), order);
        first.ended = true;
        shutdown(fd, SHUT_RDWR);
    }
}

void Endpoint::takeConnection(void* context, MHD_Connection* connection,
                              void** /*state*/,
                              MHD_ConnectionNotificationCode code)
{
    auto* self = static_cast<Endpoint*>(context);
    const int fd = getDescriptor(connection);
    if (code != MHD_CONNECTION_NOTIFY_STARTED)
    {
        self->connections.erase(fd);
    }
    else if (fd >= 0)
    {
        self->connections.insert_or_assign(fd, Connection{Clock::now()});
        self->makeRoom();
    }
}

MHD_Result Endpoint::takeRequest(void* context, MHD_Connection* connection,
                                 const char* url, const char* method,
                                 const char* /*version*/,
                                 const char* /*upload*/,
                                 std::size_t* /*uploadSize*/, void** /*state*/)
{
    auto* self = static_cast<Endpoint*>(context);
    if (const auto found = self->connections.find(getDescriptor(connection));
        found != self->connections.end())
    {
        found->second.asked = true;
    }
    try
    {
        return self->answer(connection, url, method);
    }
    catch (const std::exception& e)
    {
        if (failureLines.admits())
        {
            SERVICE_LOG(services::log::warning, "EXCEPTION %s.%d.%s: %s",
                        e.what());
        }
        return MHD_NO;
    }
}

MHD_Result Endpoint::answer(MHD_Connection* connection, const std::string& url,
                            const std::string& method)
{
    if (method != MHD_HTTP_METHOD_GET && method != MHD_HTTP_METHOD_HEAD)
    {
        return reply(connection, MHD_HTTP_METHOD_NOT_ALLOWED, plainText,
                     "Only GET and HEAD.\n");
    }
    if (cutQuery(url) != metricsUrl)
    {
        return reply(connection, MHD_HTTP_NOT_FOUND, plainText,
                     std::string("The metrics are at ") + metricsUrl + ".\n");
    }
    return reply(connection, MHD_HTTP_OK, openMetricsType, scrape());
}

} // namespace healthintf::exporter
