// SPDX-License-Identifier: Apache-2.0
#include "../data_files.hpp"
#include "../failure_log.hpp"
#include "../host_log.hpp"
#include "../storage/process_store.hpp"
#include "described_event.hpp"
#include "event_entries.hpp"
#include "event_record.hpp"
#include "event_table.hpp"

#include <platform/event_description.h>

#include <atomic>
#include <cerrno>
#include <exception>
#include <functional>
#include <memory>
#include <string>

namespace healthintf::host
{
namespace
{

constinit ProcessStore<const EventTable> table;
constinit FailureLog descriptionFailures;
/** How many callers have attached and not detached. */
constinit std::atomic<unsigned int> users{0};

std::unique_ptr<const EventTable> loadTable()
{
    const auto folders = eventFolders();
    auto loaded = std::make_unique<const EventTable>(EventTable::load(folders));
    warnAboutMissingFolders(eventPathVariable, folders);
    for (const std::string& problem : loaded->problems())
    {
        HOST_LOG(log::warning, "%s.%d.%s: %s: left out", problem.c_str());
    }
    return loaded;
}

/** Logs a failure, unless it was the last one too. */
void report(const std::string& problem, const char* remedy)
{
    const auto code = static_cast<int>(std::hash<std::string>{}(problem));
    if (descriptionFailures.admits(code == 0 ? 1 : code))
    {
        HOST_LOG(log::error,
                 "%s.%d.%s: unable to describe events: %s (%s; the next event "
                 "tries again)",
                 problem.c_str(), remedy);
    }
}

int attach()
{
    ++users;
    try
    {
        table.get(loadTable);
        descriptionFailures.noteSuccess();
        return 0;
    }
    catch (const NoEventTable& e)
    {
        report(e.what(), "install the event table, or set "
                         "HEALTHINTF_EVENT_PATH to its folder");
        return ENOENT;
    }
    catch (const std::exception& e)
    {
        report(e.what(), "free some memory or descriptors");
        return ENOMEM;
    }
}

int detach()
{
    unsigned int now = users.load();
    while (now > 0)
    {
        if (users.compare_exchange_weak(now, now - 1))
        {
            return 0;
        }
    }
    return EINVAL;
}

/** Describes a record and writes it to an entry. */
int transform(const uint8_t* record, void* entry,
              void (*write)(const DescribedEvent&, char*))
{
    if (record == nullptr || entry == nullptr)
    {
        return EINVAL;
    }
    const EventTable* loaded = users > 0 ? table.opened() : nullptr;
    if (loaded == nullptr)
    {
        return ENOTCONN;
    }
    try
    {
        write(describe(decodeRecord(record), *loaded),
              static_cast<char*>(entry));
        return 0;
    }
    catch (const std::exception&)
    {
        return ENOMEM;
    }
}

} // namespace
} // namespace healthintf::host

int IPMI_SELCSSDSELAttach()
{
    return healthintf::host::attach();
}

int IPMI_SELCSSDSELDetach()
{
    return healthintf::host::detach();
}

int TransformSELEventToJNLEntry(const uint8_t* record, void* jnlEntry)
{
    return healthintf::host::transform(record, jnlEntry,
                                       healthintf::host::writeJournalEntry);
}

int TransformSELEventToLCD(const uint8_t* record, void* lcdEntry)
{
    return healthintf::host::transform(record, lcdEntry,
                                       healthintf::host::writeLcdEntry);
}
