// SPDX-License-Identifier: Apache-2.0
/** @file Roads that hide and show faults by calls. */

#include "road.hpp"
#include "world.hpp"

namespace healthintf::test
{
namespace
{

/** Hiding returns a health or the flags; a failure is only logged. */
const std::set<int> anyNumber{0, 1, 2, 3, 4, 8, 10};

using Operation = std::function<int(FaultAndHealth&)>;
using Hidden = std::function<std::size_t(const View&)>;

std::size_t none(const View& /*view*/)
{
    return 0;
}

std::size_t all(const View& view)
{
    return view.faults.size();
}

std::size_t ofFirstSensor(const View& view)
{
    return view.count(critical);
}

/** A road that hides or shows faults.
 *
 *  @param[in] before runs before the operation
 *  @param[in] hidden the number of hidden faults after it */
Road visibilityRoad(const std::string& name, const Operation& before,
                    const Operation& operation, const Hidden& hidden)
{
    return {.name = name,
            .prepare =
                [before](Try& tried) {
                    withFaults(tried);
                    before(*tried.component);
                },
            .run =
                [operation](Try& tried) {
                    return operation(*tried.component);
                },
            .failures = anyNumber,
            .successes = anyNumber,
            .done =
                [hidden](const View&, const View& after) {
                    return after.hidden() == hidden(after);
                },
            .keepsNoPromise = true};
}

int nothing(FaultAndHealth& /*component*/)
{
    return 0;
}

int hideFirstNumber(FaultAndHealth& component)
{
    component.hideFaults(1U);
    return 0;
}

int hideFirstPath(FaultAndHealth& component)
{
    component.hideFaults(firstSensor);
    return 0;
}

int hideEach(FaultAndHealth& component)
{
    return component.hideFaults();
}

int showEach(FaultAndHealth& component)
{
    return component.unhideFaults();
}

int showFirstNumber(FaultAndHealth& component)
{
    return component.unhideFaults(1U);
}

int showFirstPath(FaultAndHealth& component)
{
    return component.unhideFaults(firstSensor);
}

int hideByLcd(FaultAndHealth& component)
{
    return component.HideAllFaults(true);
}

int showByLcd(FaultAndHealth& component)
{
    return component.HideAllFaults(false);
}

int disable(FaultAndHealth& component)
{
    return component.Disable();
}

int enable(FaultAndHealth& component)
{
    return component.Enable();
}

/** A road whose operation does nothing when repeated, and works again after its
 *  opposite.
 *
 *  @param[in] road the road of @p operation */
Road onceRoad(Road road, const Operation& opposite, const Operation& operation)
{
    road.again = [=](Try& tried) {
        opposite(*tried.component);
        return operation(*tried.component);
    };
    return road;
}

int sendHide(Try& tried)
{
    return FaultAndHealth::SendHideFaultsSignal(true, tried.key, "", 0);
}

} // namespace

std::vector<Road> visibilityRoads()
{
    return {
        visibilityRoad("hideAll", nothing, hideEach, all),
        visibilityRoad("hideBySensorNumber", nothing, hideFirstNumber,
                       ofFirstSensor),
        visibilityRoad("hideBySensorPath", nothing, hideFirstPath,
                       ofFirstSensor),
        visibilityRoad("unhideAll", hideEach, showEach, none),
        visibilityRoad("unhideBySensorNumber", hideFirstNumber, showFirstNumber,
                       none),
        visibilityRoad("unhideBySensorPath", hideFirstPath, showFirstPath,
                       none),
        visibilityRoad("HideAllFaults", nothing, hideByLcd, all),
        visibilityRoad("HideAllFaultsOff", hideByLcd, showByLcd, none),
        onceRoad(visibilityRoad("Disable", nothing, disable, all), enable,
                 disable),
        onceRoad(visibilityRoad("Enable", disable, enable, none), disable,
                 enable),
        sentHideRoad("SendHideFaultsSignal", sendHide),
    };
}

} // namespace healthintf::test
