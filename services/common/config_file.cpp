#include "config_file.hpp"

#include "config_table.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

namespace healthintf::services
{

toml::table parseToml(std::string_view text, const std::string& name)
{
    try
    {
        return toml::parse(text, name);
    }
    catch (const toml::parse_error& e)
    {
        throw ConfigError(name + ":" + std::to_string(e.source().begin.line) +
                          ": " + std::string(e.description()));
    }
}

std::string readConfigFile(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream || std::filesystem::is_directory(file))
    {
        throw ConfigError(file.string() + ": unable to read it: " +
                          std::strerror(stream ? EISDIR : errno));
    }
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace healthintf::services
