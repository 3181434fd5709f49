#include "record_table.hpp"

#include "../directories.hpp"
#include "../host_log.hpp"
#include "data_cache.hpp"

#include <platform/data_abstraction/results.hpp>

#include <cerrno>
#include <optional>
#include <stdexcept>

namespace healthintf::host
{
namespace
{

/** Runs @p work on the records of this process, which must be there for it. */
template <typename Work>
int onOwnRecords(Work&& work)
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
    return onOwnRecords([&](OwnRecords& records) {
        return records.edit(kind, path, edit);
    });
}

int setLiveValue(RecordKind kind, const std::string& path, uint32_t value)
{
    return onOwnRecords([&](OwnRecords& records) {
        return records.setLive(kind, path, value);
    });
}

int removeRecord(RecordKind kind, const std::string& path)
{
    return onOwnRecords([&](OwnRecords& records) {
        return records.remove(kind, path);
    });
}

long readRecords(const RecordQuery& query, const KeepRecord& keep)
{
    const auto keepSound = [&keep](const ReadRecord& record,
                                   const ProcessIdentity& owner,
                                   bool replace) -> const std::string* {
        try
        {
            return keep(record, owner, replace);
        }
        catch (const std::out_of_range& e)
        {
            HOST_LOG(log::warning,
                     "%s.%d.%s: the record of %s was left out: %s",
                     std::string(record.path).c_str(), e.what());
            return nullptr;
        }
    };
    return useCache([&]() -> int {
        return readLivingRecords(dataCacheFolder(), query, keepSound)
                   ? DataAbstraction::readOk
                   : DataAbstraction::readNoRecords;
    });
}

} // namespace healthintf::host
