// SPDX-License-Identifier: Apache-2.0
/** @file Reads any text as the configuration of healthmgr and as its file of
 *  lost monitors. What the file holds is the same when it is written and read
 *  again. */

#include "../services/common/config_table.hpp"
#include "config.hpp"
#include "fuzz_input.hpp"
#include "lost_monitor_file.hpp"

#include <cstdlib>
#include <string_view>

using namespace healthintf;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    test::tryToRead<services::ConfigError>(
        data, size, [](std::string_view text) {
            healthmgr::parseConfig(text, "healthmgr.toml");
        });
    return test::tryToRead<services::ConfigError>(
        data, size, [](std::string_view text) {
            const auto monitors =
                healthmgr::parseLostMonitors(text, "lost-monitors.toml");
            if (healthmgr::parseLostMonitors(
                    healthmgr::formatLostMonitors(monitors), "again") !=
                monitors)
            {
                std::abort();
            }
        });
}
