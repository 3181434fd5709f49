// SPDX-License-Identifier: Apache-2.0
#include "kept_file.hpp"

#include "../common/config_file.hpp"
#include "../common/service_log.hpp"
#include "config_manager/replace_file.hpp"

#include <cstddef>
#include <sstream>
#include <system_error>
#include <utility>

namespace healthintf::healthmgr
{

namespace fs = std::filesystem;
namespace log = services::log;
using services::ConfigTable;

namespace
{

/** How large a file may be: more than the longest texts that healthmgr keeps,
 *  with six characters for each byte. */
constexpr std::size_t mostMebibytes = 4;

} // namespace

void forEachTable(const toml::table& root, const std::string& file,
                  const char* name,
                  const std::function<void(ConfigTable& table)>& read)
{
    const toml::node* tables = root.get(name);
    if (tables == nullptr)
    {
        return;
    }
    if (!tables->is_array_of_tables())
    {
        ConfigTable(root, file, "").fail(name, "must be tables");
    }
    for (const toml::node& each : *tables->as_array())
    {
        ConfigTable table(*each.as_table(), file, name);
        read(table);
        table.finish();
    }
}

std::string formatToml(const toml::table& root)
{
    // Without literal and multi-line strings: they cannot hold every text, and
    // the library writes some of them so that it cannot read them again.
    constexpr auto flags = toml::format_flags::allow_unicode_strings |
                           toml::format_flags::indentation;
    std::ostringstream text;
    text << toml::toml_formatter(root, flags) << '\n';
    return text.str();
}

void insertTables(toml::table& root, const char* name, toml::array tables)
{
    if (!tables.empty())
    {
        root.insert(name, std::move(tables));
    }
}

KeptFile::KeptFile(fs::path path, const char* content) :
    path(std::move(path)), content(content)
{}

void KeptFile::readOrSetAside(
    const std::function<void(const std::string& text)>& take) const
{
    std::error_code error;
    if (path.empty() || (!fs::exists(path, error) && !error))
    {
        return;
    }
    try
    {
        take(services::readConfigFile(path, mostMebibytes));
    }
    catch (const services::ConfigError& e)
    {
        fs::rename(path, path.string() + ".damaged", error);
        SERVICE_LOG(log::error, "%s.%d.%s: %s cannot be read: %s", content,
                    e.what());
    }
}

bool KeptFile::save(const std::function<std::string()>& format)
{
    if (!changed || path.empty())
    {
        return true;
    }
    try
    {
        fs::create_directories(path.parent_path());
        host::replaceFile(path, format());
        changed = false;
        failed = false;
    }
    catch (const std::system_error& e)
    {
        if (!std::exchange(failed, true))
        {
            SERVICE_LOG(log::error,
                        "%s.%d.%s: unable to write %s: %s; a restart of "
                        "healthmgr would forget them",
                        content, e.what());
        }
    }
    return !changed;
}

} // namespace healthintf::healthmgr
