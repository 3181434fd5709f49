// SPDX-License-Identifier: Apache-2.0
#include "journal.hpp"

#include "unix_socket.hpp"

#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace healthintf::test
{
namespace
{

/** Removes the first field from a message in the journal's protocol: a line
 *  `NAME=value`, or a line `NAME`, the value's size in eight bytes, the value
 *  and a newline.
 *
 *  @return the value if the field is called @p name, else nothing */
std::string_view takeField(std::string_view& message, std::string_view name)
{
    const std::string_view line = message.substr(0, message.find('\n'));
    const std::size_t equals = line.find('=');
    std::string_view value;
    message.remove_prefix(std::min(line.size() + 1, message.size()));
    if (equals != std::string_view::npos)
    {
        value = line.substr(equals + 1);
    }
    else
    {
        uint64_t size = 0;
        std::memcpy(&size, message.data(),
                    std::min(sizeof(size), message.size()));
        message.remove_prefix(std::min(sizeof(size), message.size()));
        value = message.substr(0, size);
        message.remove_prefix(std::min(value.size() + 1, message.size()));
    }
    return line.substr(0, equals) == name ? value : std::string_view();
}

void print(std::string_view message)
{
    while (!message.empty())
    {
        std::string_view text = takeField(message, "MESSAGE");
        while (text.ends_with('\n'))
        {
            text.remove_suffix(1);
        }
        if (!text.empty())
        {
            std::fprintf(stderr, "dbus-broker: %.*s\n",
                         static_cast<int>(text.size()), text.data());
        }
    }
}

int takeMessages(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/,
                 void* journal)
{
    static_cast<const BrokerJournal*>(journal)->drain();
    return 0;
}

} // namespace

BrokerJournal::BrokerJournal(const std::filesystem::path& folder) :
    messages(bindSocket(folder / "socket", SOCK_DGRAM)),
    streams(bindSocket(folder / "stdout", SOCK_STREAM))
{}

void BrokerJournal::attach(sd_event* loop)
{
    checkResult(sd_event_add_io(loop, nullptr, messages.get(), EPOLLIN,
                                takeMessages, this),
                "sd_event_add_io");
}

void BrokerJournal::drain() const
{
    std::array<char, 65536> message{};
    while (true)
    {
        const ssize_t size =
            recv(messages.get(), message.data(), message.size(), MSG_DONTWAIT);
        if (size <= 0)
        {
            return;
        }
        print({message.data(), static_cast<std::size_t>(size)});
    }
}

} // namespace healthintf::test
