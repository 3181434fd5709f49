// SPDX-License-Identifier: Apache-2.0
#include "config.hpp"

#include "../common/config_file.hpp"
#include "../common/config_table.hpp"

namespace healthintf::logmgr
{

namespace fs = std::filesystem;

const char* overflowName(Overflow overflow)
{
    return overflow == Overflow::refuse ? "refuse" : "wrap";
}

Config parseConfig(std::string_view text, const std::string& name)
{
    const toml::table root = services::parseToml(text, name);
    services::ConfigTable table(root, name, "");
    Config config;
    config.capacity = static_cast<uint16_t>(
        table.whole("capacity", 1, identifiers, config.capacity));
    const char* wrap = overflowName(Overflow::wrap);
    const char* refuse = overflowName(Overflow::refuse);
    if (table.readChoice("overflow", {refuse, wrap},
                         overflowName(config.overflow)) == wrap)
    {
        config.overflow = Overflow::wrap;
    }
    table.finish();
    return config;
}

Config loadConfig(const fs::path& file, const fs::path& usual)
{
    const auto [text, name] = services::readConfig(file, usual);
    return parseConfig(text, name);
}

} // namespace healthintf::logmgr
