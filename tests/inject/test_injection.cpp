// SPDX-License-Identifier: Apache-2.0
/** @file Makes every call on each road fail, one in each run, until a run has
 *  no further call. After each failure the road must return a documented
 *  status, the bus and the data cache must agree, the operation must succeed
 *  when it is repeated, and neither the component nor memory may leak. */

#include "failer.hpp"
#include "leaks.hpp"
#include "library_memory.hpp"
#include "road.hpp"
#include "world.hpp"

#include <platform/data_abstraction/health_status.hpp>

#include <gtest/gtest.h>
#include <sdbusplus/exception.hpp>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>

namespace healthintf::test
{
namespace
{

constexpr uint32_t base = 2;

std::vector<Road> allRoads()
{
    std::vector<Road> all;
    for (const auto& part : {componentRoads(), visibilityRoads(), signalRoads(),
                             eventRoads(), queryRoads(), plainRoads()})
    {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/** The result of a run: a status or an exception. */
struct End
{
    std::optional<int> status;
    std::string thrown;
    bool documented = true;
};

End runRoad(const Road& road, Try& tried)
{
    End end;
    try
    {
        end.status = road.run(tried);
    }
    catch (const sdbusplus::exception::SdBusError& e)
    {
        end.thrown = e.what();
        end.documented = road.throwsBusErrors;
    }
    catch (const std::bad_alloc& e)
    {
        end.thrown = e.what();
        end.documented = road.throwsBadAlloc;
    }
    catch (const std::exception& e)
    {
        end.thrown = e.what();
        end.documented = false;
    }
    return end;
}

/** A key that is new and not a prefix of another key. */
std::string freshKey()
{
    static unsigned number = 100000;
    return "/com/vexa/olvar/health/n" + std::to_string(++number);
}

/** Whether the data cache matches the bus, except where it refused a change and
 *  has not made it since. */
bool agree(const View& cache, View bus)
{
    if (failer().refused(Refusal::newFault))
    {
        std::erase_if(bus.faults, [&](const auto& fault) {
            return !cache.faults.contains(fault.first);
        });
    }
    if (failer().refused(Refusal::newNode) && !cache.health)
    {
        bus.health.reset();
    }
    if (failer().refused(Refusal::removalOfNode) && !bus.health)
    {
        bus.health = cache.health;
    }
    return cache == bus;
}

class Injection : public testing::TestWithParam<std::tuple<Road, Seam>>
{
  public:
    static void SetUpTestSuite()
    {
        world();
        ASSERT_TRUE(watchLibraryMemory());
    }

  protected:
    const Road& road = std::get<0>(GetParam());
    const Seam seam = std::get<1>(GetParam());

    /** Runs the road with one failure and checks the result.
     *
     *  @return whether a call was made to fail */
    bool tryOnce(unsigned nth);

    /** Checks that bus and data cache agree on the component.
     *
     *  @return the component as the bus shows it */
    View look(const Try& tried) const;

    void judge(const End& end, const View& before, const View& after) const;
    void repeat(Try& tried);
    void finish(Try& tried);
};

View Injection::look(const Try& tried) const
{
    world().settle();
    const View bus = world().viewOfBus(tried.key);
    const View cache = viewOfCache(tried.key);
    EXPECT_TRUE(agree(cache, bus))
        << "on the bus: " << bus << "\nin the cache: " << cache;
    if (tried.component)
    {
        EXPECT_EQ(tried.component->computeHealthStatusFromFaultList(),
                  bus.worst(base))
            << "in the list, and on the bus: " << bus;
        // When the data cache refuses a health, both views keep the old one; a
        // node without a record has no health to write.
        if (!failer().refused(Refusal::health) &&
            !failer().refused(Refusal::newNode))
        {
            const uint32_t own = bus.worst(base);
            EXPECT_TRUE(bus.health == own ||
                        bus.health == std::max(own, tried.childsHealth))
                << bus;
        }
    }
    return bus;
}

void Injection::judge(const End& end, const View& before,
                      const View& after) const
{
    EXPECT_TRUE(end.documented) << "threw " << end.thrown;
    if (end.status && road.successes.contains(*end.status))
    {
        EXPECT_TRUE(road.keepsNoPromise || road.done(before, after))
            << "ended well, from " << before << "\nto " << after;
        return;
    }
    if (end.status)
    {
        EXPECT_TRUE(road.failures.contains(*end.status))
            << "status " << *end.status;
    }
    EXPECT_TRUE(road.undone(before, after))
        << "failed, from " << before << "\nto " << after;
}

void Injection::repeat(Try& tried)
{
    if (!tried.component && world().viewOfBus(tried.key).health)
    {
        // A node that could not be published keeps its key until the process
        // ends, and its record would appear in later tries.
        datacache_healthstatus_remove(tried.key);
        tried.key = freshKey();
    }
    const View before = world().viewOfBus(tried.key);
    failer().forget(Refusal::health);
    failer().forget(Refusal::newNode);
    const int status = road.again ? road.again(tried) : road.run(tried);
    EXPECT_TRUE(road.successes.contains(status)) << "again: " << status;
    const View after = look(tried);
    EXPECT_TRUE(road.done(before, after))
        << "again, from " << before << "\nto " << after;
}

/** Destroys the component and checks that nothing of it is left. */
void Injection::finish(Try& tried)
{
    tried.events.reset();
    tried.component.reset();
    look(tried);
    if (failer().refused(Refusal::removalOfNode))
    {
        // The next component with this key takes the record over.
        withFaults(tried);
        tried.component.reset();
    }
    EXPECT_EQ(viewOfCache(tried.key), View());
    EXPECT_EQ(world().viewOfBus(tried.key), View());
}

bool Injection::tryOnce(unsigned nth)
{
    Try tried;
    tried.key = freshKey();
    road.prepare(tried);
    const bool hadComponent = tried.component != nullptr;
    const View before = world().viewOfBus(tried.key);
    if (road.send)
    {
        world().settle();
        road.send(tried);
        world().deliver();
    }

    failer().arm(seam, nth);
    const End end = runRoad(road, tried);
    failer().disarm();
    const char* failed = failer().failed();
    SCOPED_TRACE("call " + std::to_string(nth) + ", " +
                 (failed == nullptr ? "none left" : failed));

    const View after = look(tried);
    judge(end, before, after);
    if (failed == nullptr)
    {
        EXPECT_TRUE(end.status && road.successes.contains(*end.status))
            << "without a failure";
        EXPECT_TRUE(road.done(before, after)) << after;
    }
    else if (!hadComponent || tried.component)
    {
        repeat(tried);
    }
    finish(tried);
    return failed != nullptr;
}

/** Which calls fail: every one by default, every n-th with INJECT_STRIDE=n,
 *  which takes less time. */
unsigned stride()
{
    const char* asked = std::getenv("INJECT_STRIDE");
    return asked == nullptr ? 1 : static_cast<unsigned>(std::stoul(asked));
}

TEST_P(Injection, KeepsThePromisesAtEveryFailure)
{
    unsigned failures = 0;
    while (tryOnce(1 + failures * stride()) && !HasFailure())
    {
        ++failures;
    }
    RecordProperty("injected", static_cast<int>(failures));
    if (road.send && seam != Seam::platform)
    {
        EXPECT_GT(failures, 0u) << "no message, or it was read before";
    }
    EXPECT_FALSE(leaked());
}

const char* readName(Seam seam)
{
    switch (seam)
    {
        case Seam::platform:
            return "platform";
        case Seam::bus:
            return "bus";
        case Seam::memory:
            return "memory";
        case Seam::libraryMemory:
            return "libraryMemory";
        default:
            return "none";
    }
}

/** Every road with every seam, except message roads with memory inside
 *  libsystemd: there, allocations belong to the daemon's own loop. */
std::vector<std::tuple<Road, Seam>> everyWay()
{
    std::vector<std::tuple<Road, Seam>> ways;
    for (const Road& road : allRoads())
    {
        for (const Seam seam : {Seam::platform, Seam::bus, Seam::memory})
        {
            ways.emplace_back(road, seam);
        }
        if (!road.send)
        {
            ways.emplace_back(road, Seam::libraryMemory);
        }
    }
    return ways;
}

INSTANTIATE_TEST_SUITE_P(Each, Injection, testing::ValuesIn(everyWay()),
                         [](const auto& each) {
                             return std::get<0>(each.param).name + "_" +
                                    readName(std::get<1>(each.param));
                         });

} // namespace
} // namespace healthintf::test
