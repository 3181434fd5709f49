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

namespace
{

void readHistory(services::ConfigTable& table, Config& config)
{
    constexpr int fewest = 1000;
    constexpr int most = 1'000'000;
    constexpr int smallest = 4;
    constexpr int largest = 1024;
    constexpr uint64_t mebibyte = 1UL << 20;
    auto& [records, bytes] = config.historyLimits;
    config.keepsHistory = table.flag("history", config.keepsHistory);
    records =
        table.whole("history-records", fewest, most, static_cast<int>(records));
    bytes = mebibyte * table.whole("history-mebibytes", smallest, largest,
                                   static_cast<int>(bytes / mebibyte));
}

} // namespace

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
    readHistory(table, config);
    table.finish();
    return config;
}

Config loadConfig(const fs::path& file, const fs::path& usual)
{
    const auto [text, name] = services::readConfig(file, usual);
    return parseConfig(text, name);
}

} // namespace healthintf::logmgr
