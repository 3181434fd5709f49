#include "withdrawal.hpp"

#include "byte_codec.hpp"
#include "record_table.hpp"

#include <platform/data_abstraction/results.hpp>

namespace healthintf::host
{
namespace
{

/** A read without any record yet is a success that found nothing. */
int foundNothingIsSuccess(long result)
{
    return result == DataAbstraction::readNoRecords
               ? static_cast<int>(DataAbstraction::readOk)
               : static_cast<int>(result);
}

} // namespace

void giveWayToOthers()
{
    standBack();
}

int listOwners(std::set<ProcessIdentity>& owners)
{
    owners.clear();
    // Who has lost its nodes to another process may still have faults.
    for (const RecordKind kind :
         {RecordKind::healthStatus, RecordKind::faultEntry})
    {
        const int result = foundNothingIsSuccess(readRecords(
            kind, {}, [&owners](std::string_view, const StoredRecord& record) {
                owners.insert(record.owner);
            }));
        if (result != static_cast<int>(DataAbstraction::readOk))
        {
            return result;
        }
    }
    return static_cast<int>(DataAbstraction::readOk);
}

std::optional<HealthRecord> findHealthRecord(const std::string& key)
{
    std::optional<HealthRecord> found;
    readRecords(
        RecordKind::healthStatus, {key},
        [&](std::string_view, const StoredRecord& record) {
            found = {record.owner, ByteReader(record.payload).get<uint32_t>()};
        },
        Wanted::wholePaths);
    return found;
}

int withdrawRecords(const ProcessIdentity& owner,
                    std::vector<std::string>& keys)
{
    keys.clear();
    return writeCache(
        [&](const Environment& cache, const Transaction& transaction) {
            const auto isTheirs = [&owner](std::string_view value) {
                return parseRecord(value).owner == owner;
            };
            removeRecords(cache, transaction, RecordKind::healthStatus, "",
                          [&](std::string_view key, std::string_view value) {
                              const bool goes = isTheirs(value);
                              if (goes)
                              {
                                  keys.emplace_back(key);
                              }
                              return goes;
                          });
            removeRecords(cache, transaction, RecordKind::faultEntry, "",
                          [&](std::string_view, std::string_view value) {
                              return isTheirs(value);
                          });
            return 0;
        });
}

} // namespace healthintf::host
