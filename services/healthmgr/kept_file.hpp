// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The files in which healthmgr keeps what the next healthmgr needs: TOML
 *  files with a table for each thing. */

#include "../common/config_table.hpp"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace healthintf::healthmgr
{

/** Calls a function with each table of a file's array of tables.
 *
 *  @param[in] root the file's own table
 *  @param[in] file the file's name, for errors
 *  @param[in] name the array's name; it may be missing
 *  @throws services::ConfigError when it is no array of tables */
void forEachTable(
    const toml::table& root, const std::string& file, const char* name,
    const std::function<void(services::ConfigTable& table)>& read);

/** The largest number that a file may have: a double holds all up to it. */
inline constexpr double mostExact = int64_t{1} << 53U;

/** The text of a file. */
std::string formatToml(const toml::table& root);

/** Adds an array of tables, if it has any, to a file's own table. */
void insertTables(toml::table& root, const char* name, toml::array tables);

/** A file that only this healthmgr writes. */
class KeptFile
{
  public:
    /** No file: nothing is read, and nothing written. */
    KeptFile() = default;

    /** @param[in] path in a folder that healthmgr may write to
     *  @param[in] content what the file holds, for log lines, such as "the lost
     *             monitors"; must outlive this object */
    KeptFile(std::filesystem::path path, const char* content);

    /** Reads the file.
     *
     *  @param[in] parse takes the file's text and its name; throws
     *             services::ConfigError when it is damaged
     *  @return what @p parse returns; its default when there is no file, or one
     *          that cannot be read, which is logged and renamed */
    template <typename Parse>
    auto read(Parse&& parse) const
    {
        decltype(parse(std::string(), std::string())) content{};
        readOrSetAside([&](const std::string& text) {
            content = parse(text, path.string());
        });
        return content;
    }

    /** Notes that the file is to be written. */
    void noteChange()
    {
        changed = true;
    }

    /** Writes the file if there was a change. The first failure is logged, and
     *  the next call tries it again.
     *
     *  @param[in] format returns the file's text
     *  @return whether the file has all changes */
    bool save(const std::function<std::string()>& format);

  private:
    void readOrSetAside(
        const std::function<void(const std::string& text)>& take) const;

    std::filesystem::path path;
    const char* content = "";
    bool changed = false;
    /** Whether the last attempt to write it failed, which was logged. */
    bool failed = false;
};

} // namespace healthintf::healthmgr
