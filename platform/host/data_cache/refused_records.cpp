// SPDX-License-Identifier: Apache-2.0
#include "refused_records.hpp"

#include <platform/per_process.hpp>

#include <cerrno>
#include <exception>
#include <utility>

namespace healthintf::host
{

RefusedRecords& RefusedRecords::ofThisProcess()
{
    static constinit PerProcess<RefusedRecords> all;
    return all.get();
}

RefusedRecords::Records::iterator RefusedRecords::find(RecordKind kind,
                                                       std::string_view path)
{
    return records.find(KeyView(kind != RecordKind::healthStatus, path));
}

RefusedRecords::Records::iterator
RefusedRecords::erase(Records::iterator record)
{
    bytes -= record->first.second.size() + record->second.payload.size();
    return records.erase(record);
}

void RefusedRecords::keep(const NewRecord& record)
{
    const std::lock_guard lock(mutex);
    if (const auto before = find(record.kind, record.path);
        before != records.end())
    {
        erase(before);
    }
    const std::size_t size = record.path.size() + record.payload.size();
    if (size > most - bytes)
    {
        return;
    }
    records.emplace(Key(record.kind != RecordKind::healthStatus, record.path),
                    Refused{.kind = record.kind,
                            .payload = std::string(record.payload),
                            .live = record.live});
    bytes += size;
}

int RefusedRecords::change(Refused& kept, const Edit& edit)
{
    std::string payload = kept.payload;
    uint32_t live = kept.live;
    if (const int result = edit(payload, live); result != 0)
    {
        return result;
    }
    const std::size_t others = bytes - kept.payload.size();
    if (payload.size() > most - others)
    {
        return EDQUOT;
    }
    bytes = others + payload.size();
    kept.payload = std::move(payload);
    kept.live = live;
    return 0;
}

int RefusedRecords::edit(RecordKind kind, std::string_view path,
                         const Edit& edit)
{
    const std::lock_guard lock(mutex);
    const auto found = find(kind, path);
    return found == records.end() ? ENOENT : change(found->second, edit);
}

void RefusedRecords::editOrForget(RecordKind kind, std::string_view path,
                                  const Edit& edit) noexcept
{
    const std::lock_guard lock(mutex);
    const auto found = find(kind, path);
    if (found == records.end())
    {
        return;
    }
    bool changed = false;
    try
    {
        changed = change(found->second, edit) == 0;
    }
    catch (const std::exception&)
    {
        // There is no memory for it.
    }
    if (!changed)
    {
        erase(found);
    }
}

void RefusedRecords::forget(RecordKind kind, std::string_view path)
{
    const std::lock_guard lock(mutex);
    if (const auto found = find(kind, path); found != records.end())
    {
        erase(found);
    }
}

void RefusedRecords::tryAgain(
    const std::function<void(const NewRecord&)>& put) noexcept
{
    try
    {
        const std::lock_guard lock(mutex);
        for (auto each = records.begin(); each != records.end();
             each = erase(each))
        {
            const auto& [kind, payload, live] = each->second;
            put({.kind = kind,
                 .path = each->first.second,
                 .payload = payload,
                 .live = live});
        }
    }
    catch (const std::exception&)
    {
        // Refused again, which was logged the first time.
    }
}

} // namespace healthintf::host
