// SPDX-License-Identifier: Apache-2.0
#include "event_log.hpp"

#include "../common/service_log.hpp"
#include "line_limit.hpp"
#include "storage/store_failure.hpp"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <limits>
#include <utility>

namespace healthintf::logmgr
{

namespace log = services::log;

namespace
{

// Byte offsets in a record.
constexpr std::size_t identifierAt =
    offsetof(SELInterface::SELRecord, recordId);
constexpr std::size_t typeAt = offsetof(SELInterface::SELRecord, recordType);
constexpr std::size_t timestampAt =
    offsetof(SELInterface::SELRecord, timestamp);

/** Writes a number into a record, its lowest byte first. */
template <typename Number>
void write(Record& record, std::size_t at, Number number)
{
    for (std::size_t i = 0; i < sizeof(number); ++i)
    {
        record[at + i] = static_cast<uint8_t>(number >> 8 * i);
    }
}

SELEntryProperties makeEntry(const Event& event, uint16_t recordId,
                             uint32_t now)
{
    SELEntryProperties entry{.recordId = recordId,
                             .timestamp = 0,
                             .sensor = event.sensor,
                             .record = event.record};
    write(entry.record, identifierAt, recordId);
    if (event.record[typeAt] < firstTypeWithoutTimestamp)
    {
        entry.timestamp = event.timestamp.value_or(now);
        write(entry.record, timestampAt, entry.timestamp);
    }
    return entry;
}

/** Estimates how many bytes of a message an entry takes. */
std::size_t estimateBytes(const SELEntryProperties& entry)
{
    constexpr std::size_t besidesTexts = 64;
    return besidesTexts + entry.sensor.name.size() + entry.sensor.path.size();
}

void checkText(const std::string& text, const char* what)
{
    if (text.size() > maxSensorText)
    {
        throw Refusal(Refusal::Kind::invalidRecord,
                      std::string("the ") + what + " of the sensor has " +
                          std::to_string(text.size()) + " bytes, more than " +
                          std::to_string(maxSensorText));
    }
}

/** Limits the lines about failed changes, which clients can cause without
 *  end. */
constinit host::LineLimit storeFailureLines;

/** What the operator can do about a failed change. */
std::string findRemedy(const SelStore& store, const std::exception& failure)
{
    std::string remedy = host::folderRemedy(host::getErrorNumber(failure),
                                            "HEALTHINTF_STATE_DIR");
    if (store.lacksFile())
    {
        remedy += "; export the log before logmgr ends: its file is gone";
    }
    return remedy;
}

/** Calls a function on the store and turns its failure into a Refusal. */
template <typename Work>
void changeStore(const SelStore& store, Work&& work)
{
    try
    {
        work();
    }
    catch (const std::exception& e)
    {
        const std::string why =
            std::string(e.what()) + " (" + findRemedy(store, e) + ")";
        if (storeFailureLines.admits())
        {
            SERVICE_LOG(log::error, "%s.%d.%s: unable to change the log: %s",
                        why.c_str());
        }
        throw Refusal(Refusal::Kind::notStored,
                      "unable to change the log: " + why);
    }
}

} // namespace

uint32_t toRecordTime(int64_t time)
{
    return static_cast<uint32_t>(
        std::clamp<int64_t>(time, 0, std::numeric_limits<uint32_t>::max()));
}

Event makeEvent(SELInterface::SensorInfo sensor,
                std::span<const uint8_t> record,
                std::optional<uint32_t> timestamp)
{
    if (record.size() != SELInterface::recordSize)
    {
        throw Refusal(Refusal::Kind::invalidRecord,
                      "the record has " + std::to_string(record.size()) +
                          " bytes, not " +
                          std::to_string(SELInterface::recordSize));
    }
    checkText(sensor.name, "name");
    checkText(sensor.path, "path");
    Event event{std::move(sensor), {}, timestamp};
    std::ranges::copy(record, event.record.begin());
    return event;
}

EventLog::EventLog(SelStore& store, const Config& config, Clock clock) :
    store(store), settings(config), clock(std::move(clock))
{}

void EventLog::restoreFile()
{
    try
    {
        beginChange();
    }
    catch (const Refusal&)
    {
        // The failure was logged, and there is no caller to tell.
    }
}

void EventLog::beginChange()
{
    changeStore(store, [&] {
        store.restoreFile();
    });
}

EventLog::Addition EventLog::add(const Event& event)
{
    beginChange();
    const uint64_t size = store.size();
    LogState state = store.state();
    std::vector<uint16_t> dropped;
    if (size < settings.capacity)
    {
        refusing = false;
    }
    else
    {
        if (settings.overflow == Overflow::refuse)
        {
            refuseFull();
        }
        state.overflow = true;
        const uint64_t end = store.next() - settings.capacity + 1;
        for (uint64_t each = store.first(); each < end; ++each)
        {
            dropped.push_back(toIdentifier(each));
        }
    }
    state.lastAddition = clock();
    Addition addition{
        makeEntry(event, toIdentifier(store.next()), state.lastAddition),
        std::move(dropped), store.next()};
    changeStore(store, [&] {
        store.append(addition.entry, addition.dropped.size(), state);
    });
    return addition;
}

void EventLog::refuseFull()
{
    // The state may be another one after the file was overwritten.
    if (!refusing || !store.state().overflow)
    {
        noteOverflow();
    }
    throw Refusal(Refusal::Kind::full,
                  "the log is full: it holds " + std::to_string(store.size()) +
                      " of " + std::to_string(settings.capacity) +
                      " entries; Clear empties it");
}

void EventLog::noteOverflow()
{
    LogState state = store.state();
    state.overflow = true;
    try
    {
        // The state may be an older one, from before the log had more room.
        if (!store.state().overflow)
        {
            changeStore(store, [&] {
                store.setState(state);
            });
        }
        refusing = true;
        SERVICE_LOG(log::warning,
                    "%s.%d.%s: the log is full and refuses events until it is "
                    "cleared");
    }
    catch (const Refusal&)
    {
        // The failure was logged, and the event is refused anyway.
    }
}

uint32_t EventLog::clear()
{
    beginChange();
    const uint32_t erased = entries();
    LogState state = store.state();
    state.lastErase = clock();
    state.overflow = false;
    changeStore(store, [&] {
        store.clear(state);
    });
    return erased;
}

uint32_t EventLog::clearUpTo(uint64_t generation, uint16_t last)
{
    beginChange();
    checkGeneration(generation);
    if (const uint16_t found = lastIdentifier();
        last != lastEntry && last != found)
    {
        throw Refusal(Refusal::Kind::grown,
                      "nothing was removed: the last entry of the log is " +
                          std::to_string(found) + " and not " +
                          std::to_string(last));
    }
    return clear();
}

uint16_t EventLog::lastIdentifier() const
{
    return store.size() == 0 ? 0 : toIdentifier(store.next() - 1);
}

void EventLog::checkGeneration(uint64_t known) const
{
    if (known != anyGeneration && known != generation())
    {
        throw Refusal(Refusal::Kind::oldGeneration,
                      "the log was cleared or begun anew since");
    }
}

std::optional<uint64_t> EventLog::find(uint16_t recordId) const
{
    if (store.size() == 0)
    {
        return std::nullopt;
    }
    if (recordId == firstEntry)
    {
        return store.first();
    }
    if (recordId == lastEntry)
    {
        return store.next() - 1;
    }
    const int ahead = recordId - toIdentifier(store.first());
    const uint64_t sequence =
        store.first() +
        static_cast<uint64_t>(ahead < 0 ? ahead + identifiers : ahead);
    return sequence < store.next() ? std::optional(sequence) : std::nullopt;
}

Page EventLog::list(uint16_t first, uint32_t limit) const
{
    const auto begin = find(first);
    if (!begin && first != firstEntry)
    {
        throw Refusal(Refusal::Kind::noSuchEntry,
                      "the log has no entry " + std::to_string(first));
    }
    return begin ? pageFrom(*begin, limit) : Page{};
}

Page EventLog::listFrom(uint64_t generation, uint64_t first,
                        uint32_t limit) const
{
    checkGeneration(generation);
    if (first != 0 && (first < store.first() || first >= store.next()))
    {
        throw Refusal(Refusal::Kind::noSuchEntry,
                      "the log has no entry with the sequence number " +
                          std::to_string(first));
    }
    return pageFrom(first, limit);
}

Page EventLog::pageFrom(uint64_t begin, uint32_t limit) const
{
    Page page;
    std::size_t bytes = 0;
    store.read(begin, [&](uint64_t sequence, const SELEntryProperties& entry) {
        bytes += estimateBytes(entry);
        const std::size_t before = page.entries.size();
        if ((limit != 0 && before == limit) ||
            (before > 0 && bytes > maxPageBytes))
        {
            page.next = toIdentifier(sequence);
            page.nextSequence = sequence;
            return false;
        }
        page.entries.push_back(entry);
        return true;
    });
    return page;
}

Page EventLog::entry(uint16_t recordId) const
{
    Page page = list(recordId, 1);
    if (page.entries.empty() && recordId == lastEntry)
    {
        page = lastPage();
    }
    if (page.entries.empty() && entries() == 0)
    {
        throw Refusal(Refusal::Kind::noSuchEntry, "the log has no entries");
    }
    const bool byPlace = recordId == firstEntry || recordId == lastEntry;
    if (page.entries.empty() ||
        (!byPlace && page.entries.front().recordId != recordId))
    {
        throw Refusal(Refusal::Kind::noSuchEntry, "the entry " +
                                                      std::to_string(recordId) +
                                                      " of the log is damaged");
    }
    return page;
}

Page EventLog::lastPage() const
{
    Page page;
    readAll([&page](uint64_t, const SELEntryProperties& entry) {
        page.entries.assign({entry});
    });
    return page;
}

void EventLog::readAll(const EntryCallback& visit) const
{
    store.read(0, [&](uint64_t sequence, const SELEntryProperties& entry) {
        visit(sequence, entry);
        return true;
    });
}

} // namespace healthintf::logmgr
