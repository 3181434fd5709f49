#pragma once

/** @file The records of one kind: a path, bytes and one number each. A process
 *  changes and removes its own; it reads those of all. */

#include "segment_folder.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>

namespace healthintf::host
{

/** Puts a record of this process at @p path.
 *
 *  @return 0, or the number of the failure */
int putRecord(RecordKind kind, const std::string& path,
              std::string_view payload, uint32_t live);

/** Changes the payload of a record of this process.
 *
 *  @param[in] edit changes the payload that it is given and returns 0, or
 *             returns another number to leave it
 *  @return 0; ENOENT without a record; what @p edit returned; or the number of
 *          the failure */
int editRecord(RecordKind kind, const std::string& path,
               const std::function<int(std::string& payload)>& edit);

/** Changes the live value of a record of this process.
 *
 *  @return 0; ENOENT without a record; or the number of the failure */
int setLiveValue(RecordKind kind, const std::string& path, uint32_t value);

/** Removes a record of this process.
 *
 *  @return 0, or ENOENT without a record */
int removeRecord(RecordKind kind, const std::string& path);

/** Becomes a value where a map puts it, so that it is not moved.
 *
 *  @tparam Make a function without arguments that returns the value */
template <typename Make>
struct MadeInPlace
{
    const Make& make;

    // NOLINTNEXTLINE(google-explicit-constructor): the map converts it
    operator std::invoke_result_t<const Make&>() const
    {
        return make();
    }
};

/** Reads the records that are wanted of all living processes.
 *
 *  @param[in] keep may throw std::out_of_range, which leaves the record out
 *             with a line in the log
 *  @return a DataAbstraction::ReadResult, or the number of the failure */
long readRecords(const RecordQuery& query, const KeepRecord& keep);

/** Reads the records that are wanted into a map by their paths.
 *
 *  @param[in] make the map's value for a record and the process that owns it;
 *             may throw std::out_of_range, as the KeepRecord of readRecords()
 *  @param[in,out] records what is read is added
 *  @return as readRecords() */
template <typename Value, typename Make>
long readRecordsInto(std::map<std::string, Value>& records,
                     const RecordQuery& query, const Make& make)
{
    return readRecords(query, [&](const ReadRecord& record,
                                  const ProcessIdentity& owner, bool replace) {
        const auto value = [&] {
            return make(record, owner);
        };
        const auto size = records.size();
        // Most are read in the order of their paths.
        const auto at =
            records.try_emplace(records.end(), std::string(record.path),
                                MadeInPlace<decltype(value)>{value});
        if (records.size() == size)
        {
            if (replace)
            {
                at->second = value();
            }
            return replace;
        }
        return true;
    });
}

} // namespace healthintf::host
