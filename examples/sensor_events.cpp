// SPDX-License-Identifier: Apache-2.0
/** @file An example: a daemon of one component that reports what the
 *  component's sensors tell as events.
 *
 *  Usage: sensor-events KEY
 *
 *  Writes "ready". Then each line of standard input is an event: the path of
 *  the sensor, and the 16 bytes of the record in hexadecimal digits. It is
 *  answered with a line that holds the status. The daemon ends with its
 *  input. */

#include <hmi_fault_health.hpp>
#include <hmi_health_value.hpp>
#include <lmi_sel_fault.hpp>

#include <sdbusplus/bus.hpp>
#include <systemd/sd-event.h>

#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using health_namespace::FaultAndHealth;
using logmgr_interface::SELAndFault;

std::vector<unsigned char> bytesOf(const std::string& digits)
{
    constexpr int hexadecimal = 16;

    std::vector<unsigned char> bytes(digits.size() / 2);
    const char* at = digits.data();
    for (unsigned char& byte : bytes)
    {
        const char* end = at + 2;
        if (std::from_chars(at, end, byte, hexadecimal).ptr != end)
        {
            throw std::invalid_argument("no hexadecimal digits");
        }
        at = end;
    }
    return bytes;
}

/** Reports one event.
 *
 *  @return the status, in words for a person when the line is none */
std::string report(SELAndFault& events, const std::string& line)
{
    std::istringstream words(line);
    SELInterface::SensorInfo sensor;
    std::string digits;
    words >> sensor.path >> digits;
    sensor.name = sensor.path.substr(sensor.path.rfind('/') + 1);
    try
    {
        std::vector<unsigned char> record = bytesOf(digits);
        return std::to_string(events.addSELAndFault(sensor, record));
    }
    catch (const std::exception& e)
    {
        return e.what();
    }
}

void say(const std::string& line)
{
    std::puts(line.c_str());
    std::fflush(stdout);
}

/** Takes what has arrived on standard input. */
class Input
{
  public:
    Input(sd_event* loop, SELAndFault& events) : events(events)
    {
        sd_event_add_io(loop, nullptr, STDIN_FILENO, EPOLLIN, take, this);
    }

  private:
    static int take(sd_event_source* source, int fd, uint32_t /*happened*/,
                    void* context)
    {
        auto* input = static_cast<Input*>(context);
        std::array<char, 4096> part{};
        const ssize_t got = read(fd, part.data(), part.size());
        if (got <= 0)
        {
            return sd_event_exit(sd_event_source_get_event(source), 0);
        }
        input->pending.append(part.data(), got);
        input->reportLines();
        return 0;
    }

    void reportLines()
    {
        std::size_t begin = 0;
        for (auto end = pending.find('\n'); end != std::string::npos;
             end = pending.find('\n', begin))
        {
            say(report(events, pending.substr(begin, end - begin)));
            begin = end + 1;
        }
        pending.erase(0, begin);
    }

    SELAndFault& events;
    std::string pending;
};

/** Holds the component until the input ends. */
int serve(const std::string& key)
{
    sd_event* loop = nullptr;
    sd_event_default(&loop);
    auto bus = sdbusplus::bus::new_default();
    const std::unique_ptr<FaultAndHealth> component(
        FaultAndHealth::Init(bus, key, health_namespace::healthOk, false));
    if (!component)
    {
        std::fprintf(stderr, "sensor-events: unable to hold %s\n", key.c_str());
        return EXIT_FAILURE;
    }
    bus.attach_event(loop, SD_EVENT_PRIORITY_NORMAL);
    SELAndFault events(component.get(), "sensor-events");
    const Input input(loop, events);
    say("ready");
    const int result = sd_event_loop(loop);
    bus.detach_event();
    sd_event_unref(loop);
    return result < 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: sensor-events KEY\n");
        return EXIT_FAILURE;
    }
    try
    {
        return serve(argv[1]);
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "sensor-events: %s\n", e.what());
        return EXIT_FAILURE;
    }
}
