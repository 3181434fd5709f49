// SPDX-License-Identifier: Apache-2.0
/** @file Reads any text as the configuration of healthmgr, and as the files
 * that it keeps. What such a file holds is the same when it is written and read
 *  again. */

#include "../services/common/config_table.hpp"
#include "acknowledgement_file.hpp"
#include "config.hpp"
#include "fuzz_input.hpp"
#include "lost_monitor_file.hpp"
#include "raised_fault_file.hpp"
#include "silence_file.hpp"

#include <cstdlib>
#include <string>
#include <string_view>

using namespace healthintf;

namespace
{

/** Reads a text as a file of healthmgr, and what it held again. */
template <typename Parse, typename Format>
void readTwice(const uint8_t* data, std::size_t size, Parse&& parse,
               Format&& format)
{
    test::tryToRead<services::ConfigError>(
        data, size, [&](std::string_view text) {
            const auto content = parse(std::string(text), "file");
            if (parse(format(content), "again") != content)
            {
                std::abort();
            }
        });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    readTwice(data, size, healthmgr::parseLostMonitors,
              healthmgr::formatLostMonitors);
    readTwice(data, size, healthmgr::parseRaisedFaults,
              healthmgr::formatRaisedFaults);
    readTwice(data, size, healthmgr::parseSilences, healthmgr::formatSilences);
    readTwice(data, size, healthmgr::parseAcknowledgements,
              healthmgr::formatAcknowledgements);
    return test::tryToRead<services::ConfigError>(
        data, size, [](std::string_view text) {
            healthmgr::parseConfig(text, "healthmgr.toml");
        });
}
