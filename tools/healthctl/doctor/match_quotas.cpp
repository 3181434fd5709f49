// SPDX-License-Identifier: Apache-2.0
#include "match_quotas.hpp"

#include "../source/process_name.hpp"

#include <optional>
#include <string_view>

namespace healthintf::healthctl
{
namespace
{

constexpr const char* accounting = "org.bus1.DBus.Debug.Stats.UserAccounting";
/** A user, what is left to him and allowed him of each thing, and what of it
 *  is used by whom. */
constexpr const char* user = "ua(suu)a{ua{su}}";
constexpr const char* users = "a(ua(suu)a{ua{su}})";

/** Looks among all things for match rules. */
std::optional<MatchQuota> quotaIn(sd_bus_message* stats, uint32_t number)
{
    std::optional<MatchQuota> found;
    const char* thing = "";
    uint32_t left = 0;
    uint32_t most = 0;
    sd_bus_message_enter_container(stats, 'a', "(suu)");
    while (sd_bus_message_read(stats, "(suu)", &thing, &left, &most) > 0)
    {
        if (std::string_view(thing) == "Matches" && left <= most)
        {
            found = MatchQuota{readUserName(number), most - left, most};
        }
    }
    sd_bus_message_exit_container(stats);
    return found;
}

MatchQuotas readUserQuotas(sd_bus_message* stats)
{
    MatchQuotas quotas;
    sd_bus_message_enter_container(stats, 'a', "(ua(suu)a{ua{su}})");
    while (sd_bus_message_enter_container(stats, 'r', user) > 0)
    {
        uint32_t number = 0;
        sd_bus_message_read(stats, "u", &number);
        if (auto quota = quotaIn(stats, number))
        {
            quotas.push_back(std::move(*quota));
        }
        sd_bus_message_skip(stats, "a{ua{su}}");
        sd_bus_message_exit_container(stats);
    }
    return quotas;
}

} // namespace

MatchQuotas matchQuotasIn(sd_bus_message* stats)
{
    sd_bus_message_enter_container(stats, 'a', "{sv}");
    while (sd_bus_message_enter_container(stats, 'e', "sv") > 0)
    {
        const char* key = "";
        sd_bus_message_read(stats, "s", &key);
        if (std::string_view(key) == accounting &&
            sd_bus_message_enter_container(stats, 'v', users) > 0)
        {
            return readUserQuotas(stats);
        }
        sd_bus_message_skip(stats, "v");
        sd_bus_message_exit_container(stats);
    }
    return {};
}

} // namespace healthintf::healthctl
