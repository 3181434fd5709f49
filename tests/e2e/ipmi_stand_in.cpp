// SPDX-License-Identifier: Apache-2.0
#include "ipmi_stand_in.hpp"

#include <sys/socket.h>
#include <sys/un.h>

#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace healthintf::test
{
namespace
{

/** The header of each request and each answer on the socket, in the compiler's
 *  layout. The pointers are meaningless to the receiver. */
struct Request
{
    uint8_t netfn;
    uint8_t lun;
    uint8_t command;
    uint8_t target;
    uint16_t size;
    uint8_t* data;
};
struct Answer
{
    uint8_t netfn;
    uint8_t command;
    uint8_t sequence;
    uint8_t lun;
    uint8_t completion;
    int size;
    uint8_t* data;
};

constexpr uint8_t application = 0x06;
constexpr uint8_t getDeviceId = 0x01;
constexpr uint8_t farewell = 0x3F;
constexpr uint8_t invalidCommand = 0xC1;

/** A controller of IPMI 2.0 without a manufacturer. */
constexpr std::array<uint8_t, 15> deviceId{0x20, 0x01, 0x01, 0x00, 0x02};

bool readAll(int connection, void* data, std::size_t size)
{
    return size == 0 || recv(connection, data, size, MSG_WAITALL) ==
                            static_cast<ssize_t>(size);
}

void writeAll(int connection, const void* data, std::size_t size)
{
    if (send(connection, data, size, MSG_NOSIGNAL) !=
        static_cast<ssize_t>(size))
    {
        throw std::runtime_error("unable to answer ipmitool");
    }
}

void answer(int connection, const Request& request)
{
    const bool known =
        request.netfn == application && request.command == getDeviceId;
    Answer header{};
    header.netfn = request.netfn;
    header.command = request.command;
    header.completion = known ? 0 : invalidCommand;
    header.size = known ? static_cast<int>(deviceId.size()) : 0;
    writeAll(connection, &header, sizeof(header));
    writeAll(connection, deviceId.data(), header.size);
}

/** Answers requests until ipmitool closes the session. */
void serve(int connection)
{
    Request request{};
    while (readAll(connection, &request, sizeof(request)) &&
           request.netfn != farewell)
    {
        std::vector<uint8_t> data(request.size);
        if (!readAll(connection, data.data(), data.size()))
        {
            break;
        }
        answer(connection, request);
    }
    close(connection);
}

int listenAt(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address),
             sizeof(address)) != 0 ||
        listen(fd, 1) != 0)
    {
        throw std::runtime_error("unable to listen at " + path);
    }
    return fd;
}

} // namespace

IpmiStandIn::IpmiStandIn() :
    path(folder.path() / "controller"), listening(listenAt(path))
{
    controller.emplace([this](const Child::Parent&) -> int {
        for (int connection = accept(listening, nullptr, nullptr);
             connection >= 0; connection = accept(listening, nullptr, nullptr))
        {
            serve(connection);
        }
        return 1;
    });
}

IpmiStandIn::~IpmiStandIn()
{
    close(listening);
}

} // namespace healthintf::test
