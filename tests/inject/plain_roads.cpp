// SPDX-License-Identifier: Apache-2.0
/** @file Roads that call the plain functions. */

#include "road.hpp"
#include "world.hpp"

#include <healthmgrintf.h>

#include <array>
#include <iostream>
#include <streambuf>

namespace healthintf::test
{
namespace
{

/** Discards all output. */
class Nowhere : public std::streambuf
{
    int_type overflow(int_type character) override
    {
        return traits_type::not_eof(character);
    }
};
Nowhere nowhere;

int initialize(Try& tried)
{
    // A component that got no record must be replaced by a new one.
    tried.component.reset();
    tried.component.reset(
        FaultAndHealth_Initialization(world().connection(), tried.key.c_str()));
    return tried.component ? 0 : 1;
}

int add(Try& tried)
{
    const std::array<const char*, 1> arguments{"3"};
    return FaultAndHealth_AddFault(tried.component.get(), "Test.1.0.Failed",
                                   "/sensors/of/some/length/fan3",
                                   arguments.data(), 1, "Fan.3", "fans", 3, 4);
}

int remove(Try& tried)
{
    return FaultAndHealth_RemoveFault(tried.component.get(), critical.c_str(),
                                      firstSensor.c_str());
}

int destroy(Try& tried)
{
    FaultAndHealth_Destuctor(tried.component.release());
    return 0;
}

int count(Try& /*tried*/)
{
    int32_t visible = -1;
    int32_t hidden = -1;
    const int status =
        FaultAndHealth_GetVisibleHiddenMsgCount(&visible, &hidden);
    return visible == (status == 0 ? 3 : 0) && hidden == 0 ? status : -1;
}

int hide(Try& tried)
{
    return c_wrapper_hide_faults(true, tried.key.c_str(), nullptr, 0);
}

} // namespace

std::vector<Road> plainRoads()
{
    return {
        {.name = "FaultAndHealth_Initialization",
         .prepare = [](Try&) {},
         .run = initialize,
         .failures = {1},
         .done =
             [](const View&, const View& after) {
                 return after.health == 2u;
             },
         .undone =
             [](const View&, const View& after) {
                 return after.faults.empty();
             }},
        {.name = "FaultAndHealth_AddFault",
         .prepare = withFaults,
         .run = add,
         .failures = {4, 5},
         .done =
             [](const View& before, const View& after) {
                 return after.count("Test.1.0.Failed") ==
                        before.count("Test.1.0.Failed") + 1;
             }},
        {.name = "FaultAndHealth_RemoveFault",
         .prepare = withFaults,
         .run = remove,
         .failures = {4},
         .done =
             [](const View&, const View& after) {
                 return after.count(critical) == 0;
             }},
        {.name = "FaultAndHealth_Destuctor",
         .prepare = withFaults,
         .run = destroy,
         .failures = {},
         .done =
             [](const View&, const View& after) {
                 return after.empty();
             }},
        {.name = "FaultAndHealth_GetVisibleHiddenMsgCount",
         .prepare = withFaults,
         .run = count,
         .failures = {5},
         .done =
             [](const View&, const View&) {
                 return true;
             }},
        sentHideRoad("c_wrapper_hide_faults", hide),
    };
}

} // namespace healthintf::test
