// SPDX-License-Identifier: Apache-2.0
#include "record_table.hpp"

#include "../directories.hpp"
#include "data_cache.hpp"

#include <platform/data_abstraction/results.hpp>

#include <cerrno>

namespace healthintf::host
{
namespace
{

/** Runs @p work on the records of this process; ENOENT when it has none. */
template <typename Work>
int withOwnRecords(Work&& work)
{
    return useCache([&] {
        OwnRecords* records = ownRecordsIfAny();
        return records == nullptr ? ENOENT : work(*records);
    });
}

} // namespace

int putRecord(RecordKind kind, const std::string& path,
              std::string_view payload, uint32_t live)
{
    return useCache([&] {
        ownRecords().put(
            {.kind = kind, .path = path, .payload = payload, .live = live});
        return 0;
    });
}

int editRecord(RecordKind kind, const std::string& path,
               const std::function<int(std::string& payload)>& edit)
{
    return withOwnRecords([&](OwnRecords& records) {
        return records.edit(kind, path, edit);
    });
}

int setLiveValue(RecordKind kind, const std::string& path, uint32_t value)
{
    return withOwnRecords([&](OwnRecords& records) {
        return records.setLive(kind, path, value);
    });
}

int removeRecord(RecordKind kind, const std::string& path)
{
    return withOwnRecords([&](OwnRecords& records) {
        return records.remove(kind, path);
    });
}

long readRecords(const RecordQuery& query, const KeepRecord& keep)
{
    return useCache([&]() -> int {
        return readLivingRecords(dataCacheFolder(), query, keep)
                   ? DataAbstraction::readOk
                   : DataAbstraction::readNoRecords;
    });
}

} // namespace healthintf::host
