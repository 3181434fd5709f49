// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads and parses TOML files. */

#include <toml++/toml.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace healthintf::services
{

/** Parses a configuration's text.
 *
 *  @param[in] name the file's name, for errors
 *  @throws ConfigError at the first line that is not TOML */
toml::table parseToml(std::string_view text, const std::string& name);

/** Reads a configuration file.
 *
 *  @param[in] mostMebibytes how large it may be
 *  @throws ConfigError when it cannot be read, is no regular file, or is
 *          larger */
std::string readConfigFile(const std::filesystem::path& file,
                           std::size_t mostMebibytes = 1);

/** A configuration's text, and the name for its errors. */
struct ConfigText
{
    std::string text;
    std::string name;
};

/** Reads a configuration.
 *
 *  @param[in] file empty for the default file, which need not exist: without it
 *             the text is empty
 *  @param[in] usual the default file
 *  @throws ConfigError as readConfigFile() */
ConfigText readConfig(const std::filesystem::path& file,
                      const std::filesystem::path& usual);

} // namespace healthintf::services
