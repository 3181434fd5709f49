#include "sel_entry_cache.hpp"

#include "in_place.hpp"
#include "record_table.hpp"
#include "sel_entry_codec.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <string_view>

namespace healthintf::host
{
namespace
{

std::string pathOf(uint16_t recordId)
{
    constexpr std::size_t digits = 5;
    std::array<char, digits + 1> number{};
    std::snprintf(number.data(), number.size(), "%05d", recordId);
    return std::string(SELInterface::entryPrefix) + number.data();
}

void put(Environment& cache, const Transaction& transaction,
         const SELEntryProperties& entry)
{
    putRecord(cache, transaction, RecordKind::selEntry, pathOf(entry.recordId),
              encodeSelEntry(entry));
}

/** Removes the entries whose paths begin with @p prefix. */
void removeAll(const Environment& cache, const Transaction& transaction,
               const std::string& prefix)
{
    removeRecords(cache, transaction, RecordKind::selEntry, prefix,
                  [](std::string_view, std::string_view) {
                      return true;
                  });
}

/** Whether a prefix selects the log, which stands for its entries. */
bool selectsTheLog(const std::string& prefix)
{
    return std::string_view(SELInterface::logPath).starts_with(prefix);
}

} // namespace

int addSelEntry(const SELEntryProperties& entry,
                const std::vector<uint16_t>& removed)
{
    return writeCache([&](Environment& cache, const Transaction& transaction) {
        for (const uint16_t recordId : removed)
        {
            removeAll(cache, transaction, pathOf(recordId));
        }
        put(cache, transaction, entry);
        return 0;
    });
}

int replaceSelEntries(
    const std::function<void(const SelEntrySink& put)>& tellAll)
{
    return writeCache([&](Environment& cache, const Transaction& transaction) {
        removeAll(cache, transaction, "");
        tellAll([&](const SELEntryProperties& entry) {
            put(cache, transaction, entry);
        });
        return 0;
    });
}

int removeSelEntries()
{
    return writeCache(
        [](const Environment& cache, const Transaction& transaction) {
            removeAll(cache, transaction, "");
            return 0;
        });
}

} // namespace healthintf::host

using namespace healthintf::host;

long DataAbstraction::SELEntry::get_map_by_path_prefixes(
    const std::vector<std::string>& /*services*/,
    const std::vector<std::string>& prefixes,
    std::map<std::string, SELEntry_gen>& entries)
{
    const bool all = std::ranges::any_of(prefixes, selectsTheLog);
    return readRecords(
        RecordKind::selEntry, all ? std::vector<std::string>{} : prefixes,
        [&entries](std::string_view path, const StoredRecord& record) {
            entries.insert_or_assign(
                entries.end(), std::string(path),
                InPlace<SELEntry_gen, decodeSelEntry>{record.payload});
        });
}
