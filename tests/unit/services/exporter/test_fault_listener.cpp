// SPDX-License-Identifier: Apache-2.0
#include "bus_client.hpp"
#include "fault_listener.hpp"
#include "private_bus.hpp"

#include <gtest/gtest.h>

namespace healthintf::exporter
{
namespace
{

using test::BusClient;
using test::PrivateBus;

using Counted = std::map<std::string, uint64_t>;

const std::string fan = "/com/vexa/olvar/health/fan";

std::string entry(int number)
{
    return fan + "/entry/Fault_04D20" + std::to_string(100 + number) + "_3";
}

class FaultListenerTest : public testing::Test
{
  protected:
    FaultListenerTest() :
        listener([this] {
            return present;
        })
    {}

    /** Starts listening and waits until evictions count. */
    void listen()
    {
        listener.listen(client.get());
        client.waitUntil("counting", [this] {
            return listener.count().isCounting();
        });
    }

    static void emit(const BusClient& sender, const std::string& path,
                     const char* member)
    {
        sd_bus_emit_signal(sender.get(), path.c_str(),
                           "com.vexa.olvar.healthmgr.FaultEntry", member, "");
        sd_bus_flush(sender.get());
    }

    void add(int first, int last)
    {
        for (int number = first; number <= last; ++number)
        {
            emit(daemon, entry(number), "FaultEntryAdded");
        }
    }

    void remove(int number)
    {
        emit(daemon, entry(number), "FaultEntryRemoved");
    }

    /** The counts after all signals sent so far have arrived. */
    const Counted& evictions()
    {
        // The bus delivers messages in order.
        daemon.catchUp();
        client.catchUp();
        return listener.count().evictions();
    }

    PrivateBus bus;
    std::vector<std::string> present;
    FaultListener listener;
    BusClient daemon;
    BusClient client;
};

TEST_F(FaultListenerTest, CountsAnAnnouncedEviction)
{
    listen();
    add(1, 11);
    remove(3);
    EXPECT_EQ(evictions(), (Counted{{fan, 1}}));
}

TEST_F(FaultListenerTest, CountsNoRemoval)
{
    listen();
    add(1, 10);
    remove(3);
    EXPECT_EQ(evictions(), Counted());
}

TEST_F(FaultListenerTest, KnowsTheEntriesFromBefore)
{
    for (int number = 1; number <= 10; ++number)
    {
        present.push_back(entry(number));
    }
    listen();
    add(11, 11);
    remove(1);
    EXPECT_EQ(evictions(), (Counted{{fan, 1}}));
}

TEST_F(FaultListenerTest, ForgetsTheEntriesOfAProcessThatIsGone)
{
    listen();
    std::string name;
    {
        const BusClient other;
        const char* unique = "";
        sd_bus_get_unique_name(other.get(), &unique);
        name = unique;
        for (int number = 1; number <= 10; ++number)
        {
            emit(other, entry(number), "FaultEntryAdded");
        }
        EXPECT_EQ(evictions(), Counted());
    }
    daemon.waitUntil("end of the other", [&] {
        daemon.catchUp();
        return daemon.findOwner(name).empty();
    });
    add(11, 11);
    remove(11);
    EXPECT_EQ(evictions(), Counted());
}

TEST_F(FaultListenerTest, DoesNotCountUntilItKnowsTheEntriesFromBefore)
{
    listener.listen(client.get());
    EXPECT_FALSE(listener.count().isCounting());
}

} // namespace
} // namespace healthintf::exporter
