// SPDX-License-Identifier: Apache-2.0
#include "unix_socket.hpp"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <string>

namespace healthintf::test
{

Descriptor bindSocket(const std::filesystem::path& path, int type)
{
    const std::string name = path;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (name.size() >= sizeof(address.sun_path))
    {
        throw std::system_error(ENAMETOOLONG, std::generic_category(), name);
    }
    name.copy(address.sun_path, name.size());
    Descriptor made(
        checkErrno(socket(AF_UNIX, type | SOCK_CLOEXEC, 0), "socket"));
    checkErrno(bind(made.get(), reinterpret_cast<const sockaddr*>(&address),
                    sizeof(address)),
               name);
    checkErrno(chmod(name.c_str(), 0777), name);
    if (type == SOCK_STREAM)
    {
        checkErrno(listen(made.get(), SOMAXCONN), name);
    }
    return made;
}

} // namespace healthintf::test
