// SPDX-License-Identifier: Apache-2.0
#include "record_table.hpp"

#include "../directories.hpp"
#include "data_cache.hpp"
#include "refused_records.hpp"

#include <platform/data_abstraction/results.hpp>

#include <atomic>
#include <cerrno>
#include <exception>

namespace healthintf::host
{
namespace
{

/** Whether any record was ever refused: spares the others the look for it. */
constinit std::atomic<bool> refusedAny{false};

/** Makes the records that were refused before, if they are accepted now. */
void tryRefusedAgain()
{
    if (refusedAny)
    {
        RefusedRecords::ofThisProcess().tryAgain([](const NewRecord& record) {
            ownRecords().put(record);
        });
    }
}

void forgetRefused(RecordKind kind, std::string_view path)
{
    if (refusedAny)
    {
        RefusedRecords::ofThisProcess().forget(kind, path);
    }
}

/** Keeps a record that was refused with this error number, if that may change
 *  and there is memory for it. */
void keepRefused(const NewRecord& record, int code) noexcept
{
    if (code == ENAMETOOLONG || code == E2BIG)
    {
        return;
    }
    try
    {
        refusedAny = true;
        RefusedRecords::ofThisProcess().keep(record);
    }
    catch (const std::exception&)
    {
        // Its object goes on without a record.
    }
}

/** Runs @p work on the records of this process; ENOENT when it has none. */
template <typename Work>
int withOwnRecords(Work&& work)
{
    OwnRecords* records = ownRecordsIfAny();
    return records == nullptr ? ENOENT : work(*records);
}

/** Changes a record of this process by @p work, and by @p edit one that was
 *  refused: it may be about to take the place of the other. */
template <typename Work, typename Edit>
int changeRecord(RecordKind kind, const std::string& path, Work&& work,
                 Edit&& edit)
{
    return useCache([&] {
        tryRefusedAgain();
        RefusedRecords* refused =
            refusedAny ? &RefusedRecords::ofThisProcess() : nullptr;
        const int result = withOwnRecords(work);
        if (refused == nullptr)
        {
            return result;
        }
        if (result == 0)
        {
            refused->editOrForget(kind, path, edit);
        }
        if (result != ENOENT)
        {
            return result;
        }
        const int ofRefused = refused->edit(kind, path, edit);
        // Another thread may have made the record in the meantime.
        return ofRefused == ENOENT ? withOwnRecords(work) : ofRefused;
    });
}

} // namespace

int putRecord(RecordKind kind, const std::string& path,
              std::string_view payload, uint32_t live)
{
    const NewRecord record{
        .kind = kind, .path = path, .payload = payload, .live = live};
    const int result = useCache([&] {
        forgetRefused(kind, path);
        tryRefusedAgain();
        ownRecords().put(record);
        return 0;
    });
    if (result != 0)
    {
        keepRefused(record, result);
    }
    return result;
}

int editRecord(RecordKind kind, const std::string& path,
               const std::function<int(std::string& payload)>& edit)
{
    return changeRecord(
        kind, path,
        [&](OwnRecords& records) {
            return records.edit(kind, path, edit);
        },
        [&](std::string& payload, uint32_t& /*live*/) {
            return edit(payload);
        });
}

int setLiveValue(RecordKind kind, const std::string& path, uint32_t value)
{
    return changeRecord(
        kind, path,
        [&](OwnRecords& records) {
            return records.setLive(kind, path, value);
        },
        [value](std::string& /*payload*/, uint32_t& live) {
            live = value;
            return 0;
        });
}

int removeRecord(RecordKind kind, const std::string& path)
{
    return useCache([&] {
        forgetRefused(kind, path);
        return withOwnRecords([&](OwnRecords& records) {
            return records.remove(kind, path);
        });
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
