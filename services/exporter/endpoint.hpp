// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The HTTP server. */

#include "../common/event_loop.hpp"
#include "listener.hpp"

#include <microhttpd.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace healthintf::exporter
{

/** Answers GET and HEAD of /metrics, whatever host is named before it, one
 *  request a connection, and refuses everything else. Works in an event loop,
 *  one connection after the other. */
class Endpoint
{
  public:
    /** Makes the text of a scrape. */
    using Scrape = std::function<std::string()>;

    /** How many connections there are at the same time. For one more the
     *  oldest goes, of those that have not asked for anything yet before any
     *  other: whoever says nothing keeps nobody waiting. */
    static constexpr unsigned int mostConnections = 32;
    /** How much of a request is looked at, in bytes. */
    static constexpr std::size_t largestRequest = 16UL << 10;
    /** How long a connection may last. */
    static constexpr std::chrono::seconds longest{5};

    /** @param[in] loop must outlive this object
     *  @param[in] listener where connections come in; must outlive this object
     *  @throws std::runtime_error when there can be no server */
    Endpoint(services::EventLoop& loop, const Listener& listener,
             Scrape scrape);
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

  private:
    using Clock = std::chrono::steady_clock;

    struct Stop
    {
        void operator()(MHD_Daemon* daemon) const
        {
            MHD_stop_daemon(daemon);
        }
    };

    struct Connection
    {
        Clock::time_point since;
        /** There was a whole request. */
        bool asked = false;
        /** It was shut down, and the server has not noticed yet. */
        bool ended = false;
    };

    static MHD_Result takeRequest(void* context, MHD_Connection* connection,
                                  const char* url, const char* method,
                                  const char* version, const char* upload,
                                  std::size_t* uploadSize, void** state);
    static void takeConnection(void* context, MHD_Connection* connection,
                               void** state,
                               MHD_ConnectionNotificationCode code);

    void start(const Listener& listener);
    MHD_Result answer(MHD_Connection* connection, const std::string& url,
                      const std::string& method);
    void work();
    void endOldConnections();
    void makeRoom();

    Scrape scrape;
    /** By descriptor. */
    std::map<int, Connection> connections;
    std::unique_ptr<MHD_Daemon, Stop> daemon;
    services::EventSource readable;
    services::EventSource more;
    services::EventSource clock;
};

} // namespace healthintf::exporter
