// SPDX-License-Identifier: Apache-2.0
#include "options.hpp"

#include "file_content.hpp"

#include <unistd.h>

#include <cstddef>
#include <regex>
#include <stdexcept>

namespace healthintf::test
{
namespace
{

bool isOption(const std::string& argument)
{
    return argument.starts_with("--");
}

/** Splits `--name=value`, and joins `--name value`. */
class Arguments
{
  public:
    explicit Arguments(const std::vector<std::string>& all) : all(all)
    {}

    /** Moves to the next option.
     *
     *  @return false at the end */
    bool next()
    {
        if (at == all.size())
        {
            return false;
        }
        const std::string& argument = all[at++];
        const std::size_t equals = argument.find('=');
        optionName = argument.substr(0, equals);
        optionValue.clear();
        if (equals != std::string::npos)
        {
            optionValue = argument.substr(equals + 1);
        }
        else if (at < all.size() && !isOption(all[at]))
        {
            optionValue = all[at++];
        }
        return true;
    }

    const std::string& name() const
    {
        return optionName;
    }

    const std::string& value() const
    {
        return optionValue;
    }

  private:
    const std::vector<std::string>& all;
    std::size_t at = 0;
    std::string optionName;
    std::string optionValue;
};

int parseDescriptor(const std::string& value)
{
    return value.empty() ? STDOUT_FILENO : std::stoi(value);
}

/** The content of the first XML element called @p name; empty if there is none.
 */
std::string readElement(const std::string& text, const std::string& name)
{
    const std::regex element("<" + name + ">\\s*([^<]*?)\\s*</" + name + ">");
    std::smatch found;
    return std::regex_search(text, found, element) ? found[1].str() : "";
}

} // namespace

Options readOptions(const std::vector<std::string>& arguments)
{
    Options options;
    Arguments each(arguments);
    while (each.next())
    {
        if (each.name() == "--config-file")
        {
            options.config = each.value();
        }
        else if (each.name() == "--print-address")
        {
            options.addressTo = parseDescriptor(each.value());
        }
        else if (each.name() == "--print-pid")
        {
            options.pidTo = parseDescriptor(each.value());
        }
        // These forbid what the broker never does anyway.
        else if (each.name() != "--nofork" && each.name() != "--nopidfile" &&
                 each.name() != "--nosyslog")
        {
            throw std::invalid_argument("unknown option " + each.name());
        }
    }
    if (options.config.empty())
    {
        throw std::invalid_argument("no --config-file");
    }
    return options;
}

BusConfig readConfig(const std::filesystem::path& file)
{
    const std::string text = readContent(file);
    const std::string listen = readElement(text, "listen");
    BusConfig config;
    config.scope = readElement(text, "type") == "system" ? "system" : "user";
    if (listen.starts_with("unix:path="))
    {
        config.socket = listen.substr(listen.find('=') + 1);
    }
    else if (listen.starts_with("unix:dir="))
    {
        const std::filesystem::path folder =
            listen.substr(listen.find('=') + 1);
        config.socket = folder / ("dbus-" + std::to_string(getpid()));
    }
    else
    {
        throw std::runtime_error(file.string() +
                                 ": no <listen> with unix:path= or unix:dir=");
    }
    return config;
}

} // namespace healthintf::test
