// SPDX-License-Identifier: Apache-2.0
/** @file Reads any text as the configuration of logmgr. */

#include "../services/common/config_table.hpp"
#include "config.hpp"
#include "fuzz_input.hpp"

#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    return healthintf::test::tryToRead<healthintf::services::ConfigError>(
        data, size, [](std::string_view text) {
            healthintf::logmgr::parseConfig(text, "logmgr.toml");
        });
}
