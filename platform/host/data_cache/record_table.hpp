// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Records with a path, a payload and a live value. A process writes its
 *  own records, and reads those of all processes. */

#include "segment_folder.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>

namespace healthintf::host
{

/** Adds a record of this process at @p path, or replaces it. If that fails for
 *  lack of room or permission, it is tried again before each further change of
 *  this process's records, until the record is removed.
 *
 *  @return 0, or an error number */
int putRecord(RecordKind kind, const std::string& path,
              std::string_view payload, uint32_t live);

/** Changes the payload of a record of this process.
 *
 *  @param[in] edit changes the payload and returns 0, or returns another number
 *             to leave the record unchanged
 *  @return 0; ENOENT without a record; what @p edit returned; or an error
 * number */
int editRecord(RecordKind kind, const std::string& path,
               const std::function<int(std::string& payload)>& edit);

/** Changes the live value of a record of this process.
 *
 *  @return 0; ENOENT without a record; or an error number */
int setLiveValue(RecordKind kind, const std::string& path, uint32_t value);

/** Removes a record of this process.
 *
 *  @return 0, or ENOENT without a record */
int removeRecord(RecordKind kind, const std::string& path);

/** Builds a value in place in the map's memory, so that it need not be moved.
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

/** Reads the matching records of all living processes.
 *
 *  @param[in] keep may throw std::out_of_range; then the record is left out and
 *             the error logged
 *  @return a DataAbstraction::ReadResult, or an error number */
long readRecords(const RecordQuery& query, const KeepRecord& keep);

/** Reads the matching records into a map by their paths.
 *
 *  @param[in] make the map's value for a record and the process that owns it;
 *             may throw std::out_of_range as for readRecords()
 *  @param[in,out] records the records are added
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
        // Most records are read in the order of their paths, so the hint is
        // mostly right.
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
