// SPDX-License-Identifier: Apache-2.0
/** @file Sends notifications of changed LCD attributes with any content. */

#include "component_harness.hpp"
#include "stranger.hpp"

#include <array>

namespace
{

using namespace healthintf::test;

constexpr const char* manager = "com.vexa.olvar.healthmgr";

const std::array<std::string, 3> names{
    "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#hideerrs",
    "CfgMgr/1/AttributeChange/system.embedded.1#lcd.1#oemLCDFlags",
    "CfgMgr/1/AttributeChange/other",
};

/** More bytes than a change record has. */
constexpr std::size_t maxRecord = 256;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    ComponentHarness daemon;
    daemon.component->RegisterForLCDAttributes();
    daemon.addFault();
    Stranger stranger(daemon.bus, [&daemon] {
        daemon.work();
    });
    stranger.own(manager);
    while (!input.empty())
    {
        const std::string& name = names.at(input.below(names.size()));
        stranger.sendRecord({SD_BUS_MESSAGE_SIGNAL,
                             "/com/vexa/olvar/notification",
                             "com.vexa.olvar.Notification", "Notified", "say"},
                            name, input.bytes(input.below(maxRecord)));
    }
    // The component asks the health manager to set attributes. Without an owner
    // of the name the call fails at once instead of waiting.
    stranger.release(manager);
    stranger.settle();
    return 0;
}
