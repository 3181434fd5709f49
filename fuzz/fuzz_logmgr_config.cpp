/** @file What anybody may write into the configuration of logmgr. */

#include "../services/common/config_table.hpp"
#include "config.hpp"
#include "fuzz_input.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    try
    {
        healthintf::test::FuzzInput input(data, size);
        healthintf::logmgr::parseConfig(input.rest(), "logmgr.toml");
    }
    catch (const healthintf::services::ConfigError&)
    {}
    return 0;
}
