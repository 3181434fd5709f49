// SPDX-License-Identifier: Apache-2.0
#include "listener.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <optional>
#include <stdexcept>

namespace healthintf::exporter
{
namespace
{

TEST(ParseAddress, TakesAddressAndPort)
{
    const TcpAddress v4 = parseAddress("127.0.0.1:9942");
    EXPECT_EQ(v4.host, "127.0.0.1");
    EXPECT_EQ(v4.port, 9942);
    const TcpAddress v6 = parseAddress("[::1]:0");
    EXPECT_EQ(v6.host, "::1");
    EXPECT_EQ(v6.port, 0);
}

TEST(ParseAddress, RefusesAnInvalidAddress)
{
    for (const char* text :
         {"", ":", "9942", "127.0.0.1", "127.0.0.1:", "127.0.0.1:x",
          "127.0.0.1:99421", "127.0.0.1:-1", "127.0.0.1:1x", "::1:9942",
          "[::1]", "localhost:9942", "300.1.1.1:1", "[]:1"})
    {
        EXPECT_THROW(parseAddress(text), std::invalid_argument) << text;
    }
}

TEST(IsLoopback, KnowsTheMachinesOwnAddresses)
{
    EXPECT_TRUE(isLoopback({"127.0.0.1", 1}));
    EXPECT_TRUE(isLoopback({"127.8.9.1", 1}));
    EXPECT_TRUE(isLoopback({"::1", 1}));
    EXPECT_FALSE(isLoopback({"0.0.0.0", 1}));
    EXPECT_FALSE(isLoopback({"10.0.0.1", 1}));
    EXPECT_FALSE(isLoopback({"::", 1}));
    EXPECT_FALSE(isLoopback({"fe80::1", 1}));
}

bool listens(int fd)
{
    int value = 0;
    socklen_t size = sizeof(value);
    return getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &value, &size) == 0 &&
           value == 1;
}

TEST(Listener, ListensOnAFreePort)
{
    const Listener listener(TcpAddress{"127.0.0.1", 0});
    EXPECT_TRUE(listens(listener.fd()));
    EXPECT_NE(listener.port(), 0);
}

TEST(Listener, IsRefusedAPortThatIsTaken)
{
    const Listener first(TcpAddress{"127.0.0.1", 0});
    EXPECT_THROW(Listener(TcpAddress{"127.0.0.1", first.port()}),
                 std::system_error);
}

class ListenerOnAPath : public testing::Test
{
  protected:
    test::TemporaryFolder folder;
    std::filesystem::path path = folder.path() / "metrics.sock";
};

TEST_F(ListenerOnAPath, ExistsAsLongAsItsObject)
{
    {
        const Listener listener(path);
        EXPECT_TRUE(listens(listener.fd()));
        EXPECT_EQ(listener.port(), 0);
        EXPECT_TRUE(std::filesystem::is_socket(path));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(ListenerOnAPath, ReplacesTheSocketOfADeadProgram)
{
    // Closing the descriptor alone leaves the socket file behind.
    const auto moved = folder.path() / "moved.sock";
    {
        const Listener dead(path);
        std::filesystem::rename(path, moved);
    }
    std::filesystem::rename(moved, path);
    const Listener listener(path);
    EXPECT_TRUE(listens(listener.fd()));
}

TEST_F(ListenerOnAPath, DoesNotReplaceALiveListener)
{
    const Listener first(path);
    EXPECT_THROW(Listener{path}, std::system_error);
    EXPECT_TRUE(std::filesystem::is_socket(path));
}

TEST_F(ListenerOnAPath, LeavesItsReplacementAtItsEnd)
{
    std::optional<Listener> first(path);
    std::filesystem::remove(path);
    const Listener second(path);
    first.reset();
    EXPECT_TRUE(std::filesystem::is_socket(path));
}

TEST_F(ListenerOnAPath, DoesNotReplaceAFile)
{
    folder.write("metrics.sock", "mine");
    EXPECT_THROW(Listener{path}, std::system_error);
    EXPECT_EQ(std::filesystem::file_size(path), 4u);
}

TEST_F(ListenerOnAPath, RefusesAPathThatIsTooLongOrEmpty)
{
    EXPECT_THROW(Listener(std::filesystem::path(std::string(108, 'x'))),
                 std::invalid_argument);
    EXPECT_THROW(Listener{std::filesystem::path()}, std::invalid_argument);
}

} // namespace
} // namespace healthintf::exporter
