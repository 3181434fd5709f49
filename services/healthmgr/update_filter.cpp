// SPDX-License-Identifier: Apache-2.0
#include "update_filter.hpp"

#include "../common/service_log.hpp"
#include "data_cache/segment_format.hpp"
#include "data_cache/withdrawal.hpp"
#include "node_key.hpp"

#include <com/vexa/olvar/healthmgr/HealthStatus/common.hpp>
#include <hmi_health_value.hpp>

#include <string_view>
#include <utility>

namespace healthintf::healthmgr
{

namespace log = services::log;
using Interface = sdbusplus::common::com::vexa::olvar::healthmgr::HealthStatus;

namespace
{

/** Whether @p parent is the parent of @p child. */
bool isParentKey(std::string_view parent, std::string_view child)
{
    return parent == child.substr(0, child.rfind('/'));
}

/** Whether there may be a record at a path. */
bool isRecordable(const char* path)
{
    return std::string_view(path).size() <= host::maxRecordPath &&
           sd_bus_object_path_is_valid(path) > 0;
}

} // namespace

UpdateFilter::UpdateFilter(services::Connection& connection, HostedNodes& nodes,
                           RecordAnnouncer& announcer,
                           UpdateHandlers handlers) :
    connection(connection),
    nodes(nodes), announcer(announcer), handlers(std::move(handlers)),
    filter(connection.get(), [this](sd_bus_message* message) {
        return refuses(message);
    })
{}

bool UpdateFilter::refuses(sd_bus_message* message)
{
    if (sd_bus_message_is_signal(message, Interface::interface,
                                 Interface::HealthStatusUpdate::name) <= 0)
    {
        return false;
    }
    const bool isOwn =
        connection.uniqueName() == sd_bus_message_get_sender(message);
    // Read in place: a copy may be large.
    const char* parent = nullptr;
    const char* child = nullptr;
    uint32_t health = 0;
    if (sd_bus_message_read(message, "ssu", &parent, &child, &health) <= 0)
    {
        noteRefusal(message);
        return true;
    }
    if (isOwn)
    {
        // Questions for records are for the nodes of others.
        const bool isQuestion = *child == '\0';
        return isQuestion || (health == health_namespace::healthNone &&
                              isParentKey(parent, child) &&
                              refusesEnd(nullptr, parent, child));
    }
    if (!isParentKey(parent, child) || !isRecordable(child))
    {
        noteRefusal(message);
        // A node's own health is in its child map under its own key and not in
        // a record of a child.
        const bool isItself = std::string_view(parent) == child;
        if (health != health_namespace::healthNone && !isItself &&
            isHeardBy(parent))
        {
            announcer.disown(parent, child);
        }
        return true;
    }
    return health == health_namespace::healthNone
               ? refusesEnd(message, parent, child)
               : refusesUntrue(message, parent, child, health);
}

/** Handles the report of a node's end. The node's record is removed after that,
 *  or another process has made the node again: until then the parent would have
 *  a health that no node has.
 *
 *  @param[in] message null for a report of this process itself
 *  @return whether the nodes here must not hear it */
bool UpdateFilter::refusesEnd(sd_bus_message* message, const char* parent,
                              const char* child)
{
    if (!nodes.hosts(parent))
    {
        return false;
    }
    if (!host::findHealthRecord(child))
    {
        handlers.replace(child);
    }
    // While no record can be read, everybody is believed.
    const auto recorded = recordedHealth(child);
    if (!recorded || *recorded == health_namespace::healthNone)
    {
        return false;
    }
    if (message != nullptr)
    {
        take(message);
    }
    return true;
}

/** Hands an update that the nodes here must not hear to TreeKeeper. */
void UpdateFilter::take(sd_bus_message* message) const
{
    sd_bus_message_rewind(message, 1);
    sdbusplus::message_t update(message);
    handlers.take(update);
}

/** Handles an update that may differ from the child's record: it was made up,
 *  or another update follows.
 *
 *  @return whether the nodes here must not hear it */
bool UpdateFilter::refusesUntrue(sd_bus_message* message, const char* parent,
                                 const char* child, uint32_t health)
{
    const bool hosted = nodes.hosts(parent);
    // Daemons may have nodes outside of the tree, or with keys that are too
    // long for their fault entries: these updates are checked, too.
    if (!hosted && isKey(child))
    {
        return false;
    }
    const auto recorded = recordedHealth(child);
    if (!recorded || *recorded == health)
    {
        return false;
    }
    // An update that only this process would have heard, and refused, needs no
    // correction. A correction could be lost: the bus drops messages that come
    // faster than this process reads.
    if (!hosted || *recorded != health_namespace::healthNone)
    {
        announcer.announceIfRoom(child);
    }
    // The data cache may have refused the record: the node is to make it later.
    // That of a node here is not the other's.
    if (hosted && (nodes.hosts(child) || !host::findHealthRecord(child)))
    {
        take(message);
    }
    return hosted;
}

/** Whether another process has the node that hears an update. */
bool UpdateFilter::isHeardBy(const char* parent) const
{
    return isRecordable(parent) && !nodes.hosts(parent) &&
           host::findHealthRecord(parent).has_value();
}

void UpdateFilter::noteRefusal(sd_bus_message* message)
{
    constexpr int anyRefusal = 1;
    if (refusals.admits(anyRefusal))
    {
        SERVICE_LOG(log::warning,
                    "%s.%d.%s: a health update of %s is no node's, refused "
                    "(others like it are refused without a word)",
                    sd_bus_message_get_sender(message));
    }
}

} // namespace healthintf::healthmgr
