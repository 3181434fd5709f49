// SPDX-License-Identifier: Apache-2.0
#include "config.hpp"

#include "../common/config_file.hpp"
#include "../common/config_table.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace healthintf::hostmon
{
namespace
{

using services::ConfigError;
using services::ConfigTable;

/** How the tables of one kind are read. */
struct Kind
{
    /** The table's name, and the last part of the default component's key. */
    std::string_view name;
    WatchConfig (*read)(ConfigTable& table);
};

/** The readings of one kind of table. */
struct Scale
{
    Direction direction = Direction::above;
    /** The best reading that there can be. */
    double best = 0;
    /** What the limits may be at most. */
    double most = 100;
    double usualHysteresis = 2;
};

/** Reads the hysteresis. With too large a one, not even the best reading would
 *  end a fault. A limit that the best reading reaches has no end anyway. */
double readHysteresis(ConfigTable& table, const Scale& scale,
                      const Limits& limits)
{
    const double ofWarning = std::abs(limits.warning - scale.best);
    const double room =
        ofWarning > 0 ? ofWarning : std::abs(limits.critical - scale.best);
    const double usual = room > 0 ? std::min(scale.usualHysteresis, room / 2)
                                  : scale.usualHysteresis;
    const double hysteresis = table.number("hysteresis", 0, scale.most, usual);
    if (room > 0 && hysteresis >= room)
    {
        table.fail("hysteresis", "must be less than " +
                                     services::formatNumber(room) +
                                     ", or a fault would never end");
    }
    return hysteresis;
}

/** Reads the limits of a table. */
Limits readLimits(ConfigTable& table, const Scale& scale)
{
    Limits limits{.direction = scale.direction,
                  .warning = table.number("warning", 0, scale.most),
                  .critical = table.number("critical", 0, scale.most)};
    if (limits.direction == Direction::above &&
        limits.critical < limits.warning)
    {
        table.fail("critical", "must not be below warning");
    }
    if (limits.direction == Direction::below &&
        limits.critical > limits.warning)
    {
        table.fail("critical", "must not be above warning");
    }
    limits.hysteresis = readHysteresis(table, scale, limits);
    return limits;
}

WatchConfig readFilesystem(ConfigTable& table)
{
    const std::string path = table.text("path");
    if (!path.starts_with('/'))
    {
        table.fail("path", "must begin with a slash");
    }
    const std::string mountPoint =
        table.has("mount_point") ? table.text("mount_point") : "";
    if (!mountPoint.empty() && !mountPoint.starts_with('/'))
    {
        table.fail("mount_point", "must begin with a slash");
    }
    return {Filesystem{path, mountPoint}, readLimits(table, Scale{}), {}};
}

WatchConfig readMemory(ConfigTable& table)
{
    const Scale scale{.direction = Direction::below, .best = 100};
    return {Memory{}, readLimits(table, scale), {}};
}

WatchConfig readLoad(ConfigTable& table)
{
    const Scale scale{.most = 10000, .usualHysteresis = 0.25};
    return {Load{table.readChoice("minutes", {1, 5, 15}, 5)},
            readLimits(table, scale),
            {}};
}

WatchConfig readPressure(ConfigTable& table)
{
    return {Pressure{table.readChoice("resource", {"cpu", "memory", "io"}),
                     table.readChoice("seconds", {10, 60, 300}, 60)},
            readLimits(table, Scale{}),
            {}};
}

WatchConfig readTemperature(ConfigTable& table)
{
    constexpr double absoluteZero = -273.15;
    const Scale scale{.best = absoluteZero, .most = 1000, .usualHysteresis = 3};
    const bool eachDevice =
        table.readChoice("components", {"one", "each device"}, "one") != "one";
    return {Temperature{table.text("sensor", "*"), eachDevice},
            readLimits(table, scale),
            {}};
}

WatchConfig readProcess(ConfigTable& table)
{
    if (table.has("name") == table.has("pidfile"))
    {
        table.fail("name", "give either name or pidfile");
    }
    ProcessAlive process;
    (table.has("name") ? process.name : process.pidfile) =
        table.text(table.has("name") ? "name" : "pidfile");
    const std::string names = "|" + process.name + "|";
    if (!process.name.empty() && names.find("||") != std::string::npos)
    {
        table.fail("name", "must have a name on each side of \"|\"");
    }
    // A fault is wanted as soon as no process is alive, and until one is.
    constexpr double none = 0.5;
    const bool critical = table.readChoice("severity", {"critical", "warning"},
                                           "critical") == "critical";
    return {process,
            {.direction = Direction::below,
             .warning = none,
             .critical = critical ? none : -1,
             .hysteresis = 0},
            {}};
}

constexpr std::array kinds{
    Kind{"filesystem", readFilesystem},
    Kind{"memory", readMemory},
    Kind{"load", readLoad},
    Kind{"pressure", readPressure},
    Kind{"temperature", readTemperature},
    Kind{"process", readProcess},
};

/** The key of a component, which must lie below the root of the tree. */
std::string readComponent(ConfigTable& table, const std::string& usual)
{
    constexpr const char* key = "component";
    std::string component = table.text(key, usual);
    if (sd_bus_object_path_is_valid(component.c_str()) <= 0 ||
        !component.starts_with(std::string(names::root) + "/"))
    {
        table.fail(key,
                   std::string("must be an object path below ") + names::root);
    }
    // Paths with this part are those of fault entries.
    if ((component + "/").find("/entry/") != std::string::npos)
    {
        table.fail(key, "must have no part \"entry\", which faults have");
    }
    return component;
}

/** A sensor and a message identify a fault, so two watches of one source on one
 *  component would remove each other's faults. */
void refuseTheSameAgain(const ConfigTable& table, const WatchConfig& watch,
                        const Config& config)
{
    const bool again =
        std::ranges::any_of(config.watches, [&](const WatchConfig& other) {
            return other.component == watch.component &&
                   mayShareSensor(other.subject, watch.subject);
        });
    if (again)
    {
        table.fail("component", "is watched for the same thing by another "
                                "table: name another component");
    }
}

/** Reads every table of one kind. */
void readKind(const toml::table& root, const std::string& file,
              const Kind& kind, const std::string& base, Config& config)
{
    const toml::node* node = root.get(kind.name);
    if (node == nullptr)
    {
        return;
    }
    const std::string name(kind.name);
    const toml::array* tables = node->as_array();
    if (tables == nullptr || !tables->is_homogeneous<toml::table>())
    {
        ConfigTable(root, file, "")
            .fail(name, "must be written [[" + name + "]]");
    }
    const std::string usualComponent = base + "/" + name;
    for (const toml::node& each : *tables)
    {
        ConfigTable table(*each.as_table(), file, name);
        WatchConfig watch = kind.read(table);
        watch.component = readComponent(table, usualComponent);
        table.finish();
        refuseTheSameAgain(table, watch, config);
        config.watches.push_back(std::move(watch));
    }
}

std::chrono::microseconds readSeconds(ConfigTable& table,
                                      const std::string& key, double usual)
{
    constexpr double most = 86400;
    return std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::duration<double>(table.number(key, 0.1, most, usual)));
}

/** Fails for a key that is neither a kind of table nor a setting. */
void refuseUnknownKeys(const toml::table& root, const std::string& file)
{
    for (const auto& [key, node] : root)
    {
        const std::string_view name = key.str();
        const bool known =
            name == "interval" || name == "timeout" || name == "component" ||
            std::ranges::find(kinds, name, &Kind::name) != kinds.end();
        if (!known)
        {
            ConfigTable(root, file, "")
                .fail(std::string(name), "is no known key");
        }
    }
}

} // namespace

Config parseConfig(std::string_view text, const std::string& name)
{
    const toml::table root = services::parseToml(text, name);
    refuseUnknownKeys(root, name);

    Config config;
    ConfigTable settings(root, name, "");
    config.interval = readSeconds(settings, "interval", 5);
    config.timeout = readSeconds(settings, "timeout", 10);
    const std::string base =
        readComponent(settings, std::string(names::root) + "/host");
    for (const Kind& kind : kinds)
    {
        readKind(root, name, kind, base, config);
    }
    if (config.watches.empty())
    {
        throw ConfigError(name + ":1: no table says what to watch");
    }
    return config;
}

Config loadConfig(const std::filesystem::path& file)
{
    return parseConfig(services::readConfigFile(file), file.string());
}

} // namespace healthintf::hostmon
