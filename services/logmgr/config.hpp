#pragma once

/** @file The configuration of logmgr: a TOML file. */

#include "sel_store.hpp"

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace healthintf::logmgr
{

/** What happens to an event that a full log has no place for. */
enum class Overflow
{
    /** It is refused, and what came first stays. */
    refuse,
    /** It is stored, and the oldest goes. */
    wrap,
};

/** An overflow behaviour as users write it. */
const char* nameOf(Overflow overflow);

struct Config
{
    /** How many entries the log may hold, 1 to as many as there are
     *  identifiers. */
    uint16_t capacity = 4096;
    Overflow overflow = Overflow::refuse;
};

/** Reads a configuration; what it leaves out is as usual.
 *
 *  @param[in] text the file's content
 *  @param[in] name the file's name, for errors
 *  @throws services::ConfigError */
Config parseConfig(std::string_view text, const std::string& name);

/** Reads a configuration file.
 *
 *  @param[in] file empty for the usual one, which need not be there
 *  @param[in] usual the usual one
 *  @throws services::ConfigError */
Config loadConfig(const std::filesystem::path& file,
                  const std::filesystem::path& usual);

} // namespace healthintf::logmgr
