// SPDX-License-Identifier: Apache-2.0
/** @file An example: a daemon with a boost::asio loop that reports what one
 *  component's temperature sensor reads.
 *
 *  Usage: asio-daemon KEY
 *
 *  Each line of standard input is a reading, in degrees. The daemon ends with
 *  its input and after SIGTERM. */

#include "asio_bus.hpp"
#include "reading_fault.hpp"

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/streambuf.hpp>

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <istream>
#include <string>

namespace
{

/** Takes the lines of standard input. */
class Readings
{
  public:
    Readings(boost::asio::io_context& loop, ReadingFault& fault) :
        loop(loop), fault(fault), input(loop, dup(STDIN_FILENO))
    {
        awaitLine();
    }

  private:
    void awaitLine()
    {
        boost::asio::async_read_until(input, buffer, '\n',
                                      [this](auto error, auto /*bytes*/) {
                                          if (error)
                                          {
                                              loop.stop();
                                              return;
                                          }
                                          std::istream lines(&buffer);
                                          std::string line;
                                          std::getline(lines, line);
                                          fault.take(line);
                                          awaitLine();
                                      });
    }

    boost::asio::io_context& loop;
    ReadingFault& fault;
    boost::asio::posix::stream_descriptor input;
    boost::asio::streambuf buffer;
};

void serve(const std::string& key)
{
    boost::asio::io_context loop;
    boost::asio::signal_set signals(loop, SIGTERM);
    signals.async_wait([&](auto /*error*/, int /*number*/) {
        loop.stop();
    });
    AsioBus bus(loop);
    // Made after the bus, it is deleted before it.
    health_namespace::Component component(bus.connection(), key);
    ReadingFault fault(component);
    const Readings readings(loop, fault);
    bus.run();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: asio-daemon KEY\n");
        return EXIT_FAILURE;
    }
    try
    {
        serve(argv[1]);
        return EXIT_SUCCESS;
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "asio-daemon: %s\n", e.what());
        return EXIT_FAILURE;
    }
}
