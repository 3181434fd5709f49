// SPDX-License-Identifier: Apache-2.0
#include "node_search.hpp"

#include <com/vexa/olvar/healthmgr/HealthStatus/common.hpp>
#include <com/vexa/olvar/healthmgr/names.hpp>

#include <cerrno>
#include <cstdint>
#include <string_view>
#include <utility>

namespace healthintf::healthmgr
{

using Interface = sdbusplus::common::com::vexa::olvar::healthmgr::HealthStatus;

namespace
{

/** Counts the elements of an answer. */
class Budget
{
  public:
    /** @return whether one more element may be read */
    bool take()
    {
        return left != 0 && left-- != 0;
    }

  private:
    std::size_t left = NodeSearch::mostElements;
};

bool isNumber(const char* type)
{
    return std::string_view("ynqiuxtd").find(*type) != std::string_view::npos;
}

/** Skips the next element. sd_bus_message_skip() skips any number of elements
 *  in it, each byte of an array, too.
 *
 *  @return negative when it has another form or too many elements */
int skip(sd_bus_message* message, Budget& budget)
{
    char type = 0;
    const char* contents = nullptr;
    int result = sd_bus_message_peek_type(message, &type, &contents);
    if (result <= 0 || !budget.take())
    {
        return -EBADMSG;
    }
    if (contents == nullptr)
    {
        uint64_t ignored = 0;
        return sd_bus_message_read_basic(message, type, &ignored);
    }
    if (type == 'a' && isNumber(contents))
    {
        const void* numbers = nullptr;
        std::size_t size = 0;
        return sd_bus_message_read_array(message, *contents, &numbers, &size);
    }
    result = sd_bus_message_enter_container(message, type, contents);
    while (result >= 0 && sd_bus_message_at_end(message, 0) == 0)
    {
        result = skip(message, budget);
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

/** Reads the interfaces of the object that a message is at.
 *
 *  @return whether it is a node; negative when the message has another form or
 *          too many elements */
int readIsNode(sd_bus_message* message, Budget& budget)
{
    bool isNode = false;
    int more = sd_bus_message_enter_container(message, 'a', "{sa{sv}}");
    while (more >= 0 &&
           (more = sd_bus_message_enter_container(message, 'e', "sa{sv}")) > 0)
    {
        const char* interface = "";
        more = sd_bus_message_read(message, "s", &interface);
        isNode |= std::string_view(interface) == Interface::interface;
        if (more >= 0 && (more = skip(message, budget)) >= 0)
        {
            more = sd_bus_message_exit_container(message);
        }
    }
    if (more >= 0)
    {
        more = sd_bus_message_exit_container(message);
    }
    return more < 0 ? more : static_cast<int>(isNode);
}

/** Reads the nodes of an answer, as far as it has the right form. */
NodeSearch::Keys readNodes(sd_bus_message* reply)
{
    NodeSearch::Keys keys;
    if (sd_bus_message_is_method_error(reply, nullptr) != 0 ||
        sd_bus_message_enter_container(reply, 'a', "{oa{sa{sv}}}") < 0)
    {
        return keys;
    }
    Budget budget;
    for (std::size_t i = 0;
         i < NodeSearch::mostObjects &&
         sd_bus_message_enter_container(reply, 'e', "oa{sa{sv}}") > 0;
         ++i)
    {
        const char* path = "";
        if (sd_bus_message_read(reply, "o", &path) <= 0)
        {
            break;
        }
        const int isNode = readIsNode(reply, budget);
        if (isNode < 0 || sd_bus_message_exit_container(reply) < 0)
        {
            break;
        }
        if (isNode > 0)
        {
            keys.emplace(path);
        }
    }
    return keys;
}

} // namespace

NodeSearch::NodeSearch(services::Connection& connection,
                       services::EventLoop& loop,
                       std::function<void(const Keys& keys)> found,
                       std::chrono::milliseconds turn) :
    connection(connection),
    found(std::move(found)), turn(turn), turnEnd(loop.onceLater([this] {
        beginTurn();
    }))
{}

void NodeSearch::begin()
{
    connection.listNames(
        lifetime.guard([this](const std::vector<std::string>& names) {
            fill(names);
            beginTurn();
        }));
}

/** Notes which connections are to be asked. */
void NodeSearch::fill(const std::vector<std::string>& names)
{
    peers.clear();
    std::set<std::string> stillBarred;
    for (const std::string& name : names)
    {
        if (barred.contains(name))
        {
            stillBarred.insert(name);
        }
        else if (name.starts_with(':') && name != connection.uniqueName())
        {
            peers.push_back(name);
        }
    }
    barred = std::move(stillBarred);
}

/** Asks a few connections. Those that do not answer hold up only this turn. */
void NodeSearch::beginTurn()
{
    constexpr std::size_t atOnce = 8;
    for (std::size_t i = 0; i < atOnce; ++i)
    {
        askNext();
    }
    if (!peers.empty())
    {
        services::EventLoop::after(turnEnd, turn);
    }
}

void NodeSearch::ask(const std::string& peer)
{
    if (const auto waiting = asked.find(peer); waiting != asked.end())
    {
        waiting->second = true;
        return;
    }
    connection.listObjects(
        peer, names::root, lifetime.guard([this, peer](sd_bus_message* reply) {
            const bool again = asked.extract(peer).mapped();
            if (sd_bus_message_is_method_error(reply,
                                               SD_BUS_ERROR_ACCESS_DENIED) != 0)
            {
                barred.insert(peer);
            }
            take(reply);
            // When the connection is lost, the answer is an
            // error.
            if (again && sd_bus_is_open(connection.get()) > 0)
            {
                ask(peer);
            }
            askNext();
        }));
    asked.emplace(peer, false);
}

void NodeSearch::askNext()
{
    // When the connection is lost, all who were asked answer with an error.
    while (!peers.empty() && sd_bus_is_open(connection.get()) > 0)
    {
        const std::string peer = std::move(peers.back());
        peers.pop_back();
        const bool isSilent = asked.contains(peer);
        ask(peer);
        if (!isSilent)
        {
            return;
        }
    }
}

void NodeSearch::take(sd_bus_message* reply) const
{
    if (const Keys keys = readNodes(reply); !keys.empty())
    {
        found(keys);
    }
}

} // namespace healthintf::healthmgr
