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

RefusedRecords::Key RefusedRecords::parseKey(RecordKind kind,
                                             std::string_view path)
{
    return {kind != RecordKind::healthStatus, std::string(path)};
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
    Key key = parseKey(record.kind, record.path);
    if (const auto before = records.find(key); before != records.end())
    {
        erase(before);
    }
    const std::size_t size = record.path.size() + record.payload.size();
    if (size > most - bytes)
    {
        return;
    }
    records.emplace(std::move(key),
                    Refused{.kind = record.kind,
                            .payload = std::string(record.payload),
                            .live = record.live});
    bytes += size;
}

int RefusedRecords::edit(
    RecordKind kind, std::string_view path,
    const std::function<int(std::string& payload, uint32_t& live)>& edit)
{
    const std::lock_guard lock(mutex);
    const auto found = records.find(parseKey(kind, path));
    if (found == records.end())
    {
        return ENOENT;
    }
    Refused& kept = found->second;
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

void RefusedRecords::forget(RecordKind kind, std::string_view path)
{
    const std::lock_guard lock(mutex);
    if (const auto found = records.find(parseKey(kind, path));
        found != records.end())
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
