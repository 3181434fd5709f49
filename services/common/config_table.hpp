// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file One table of a TOML file, read key by key. */

#include <toml++/toml.h>

#include <initializer_list>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::services
{

/** A configuration that cannot be used. The text names file, line and key. */
class ConfigError : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/** Writes a number in its shortest decimal form. */
std::string formatNumber(double number);

/** The values of one table. Each getter throws ConfigError, naming file, line
 *  and key, when the value is invalid. */
class ConfigTable
{
  public:
    /** @param[in] table the table; must outlive this object
     *  @param[in] file the file's name
     *  @param[in] name the table's name in front of its keys; empty for the
     *             file's own table */
    ConfigTable(const toml::table& table, std::string file, std::string name);

    /** A number within a range; required if there is no usual value. */
    double number(const std::string& key, double least, double most,
                  std::optional<double> usual = std::nullopt);

    /** A whole number within a range. */
    int whole(const std::string& key, int least, int most, int usual);

    /** True or false. */
    bool flag(const std::string& key, bool usual);

    /** A list of texts that are not empty. */
    std::vector<std::string> texts(const std::string& key,
                                   std::vector<std::string> usual);

    /** A whole number that is one of several. */
    int readChoice(const std::string& key, std::initializer_list<int> allowed,
                   int usual);

    /** A text that is not empty; required if there is no usual value. */
    std::string text(const std::string& key,
                     std::optional<std::string> usual = std::nullopt);

    /** A text that is one of several. */
    std::string readChoice(const std::string& key,
                           std::initializer_list<std::string_view> allowed,
                           std::optional<std::string> usual = std::nullopt);

    bool has(const std::string& key) const;

    /** @throws ConfigError about @p key, at its line or, if it is missing, at
     *          the table's line */
    [[noreturn]] void fail(const std::string& key,
                           const std::string& cause) const;

    /** @throws ConfigError about the first key that no getter has read */
    void finish() const;

  private:
    const toml::node* find(const std::string& key);
    std::string place(const std::string& key) const;
    /** The value of a key when it is a text that can be used.
     *
     *  @param[in] cause what the error says when it is none or empty */
    std::string requireText(const std::string& key,
                            std::optional<std::string> value,
                            const std::string& cause) const;

    const toml::table& table;
    std::string file;
    std::string name;
    /** The keys that getters have read. */
    std::set<std::string> readKeys;
};

} // namespace healthintf::services
