// SPDX-License-Identifier: Apache-2.0
#include "config_file.hpp"

#include "config_table.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>

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

std::string readConfigFile(const std::filesystem::path& file,
                           std::size_t mostMebibytes)
{
    const std::size_t most = mostMebibytes << 20U;
    const auto fail = [&](const std::string& cause) {
        throw ConfigError(file.string() + ": unable to read it: " + cause);
    };
    std::error_code error;
    const bool isFolder = std::filesystem::is_directory(file, error);
    // A pipe might never be opened, and a device never end.
    if (!isFolder && !error && !std::filesystem::is_regular_file(file))
    {
        fail("it is no regular file");
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream || isFolder)
    {
        fail(std::strerror(stream ? EISDIR : errno));
    }
    std::string content(most + 1, '\0');
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(stream.gcount()));
    if (content.size() > most)
    {
        fail("it has more than " + std::to_string(mostMebibytes) + " MiB");
    }
    return content;
}

ConfigText readConfig(const std::filesystem::path& file,
                      const std::filesystem::path& usual)
{
    if (file.empty() && !std::filesystem::exists(usual))
    {
        return {.text = "", .name = usual.string()};
    }
    const std::filesystem::path& used = file.empty() ? usual : file;
    return {.text = readConfigFile(used), .name = used.string()};
}

} // namespace healthintf::services
