// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Records of this process that the data cache has refused. */

#include "segment.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace healthintf::host
{

/** New records for which there was no room or no permission. The objects of
 *  these records go on living without them, so they are tried again.
 *  Thread-safe. */
class RefusedRecords
{
  public:
    /** The most bytes of paths and payloads that are kept. */
    static constexpr std::size_t most = 1UL << 20;

    /** @throws std::bad_alloc when memory runs out at the first call */
    static RefusedRecords& ofThisProcess();

    /** Keeps a record, in place of the one of the same kind and path. Without
     *  room for it, the record stays refused for good. */
    void keep(const NewRecord& record);

    /** Changes the payload and the live value of a record.
     *
     *  @return 0, or an error number that leaves the record as it was */
    using Edit = std::function<int(std::string& payload, uint32_t& live)>;

    /** Changes a kept record, so that it is up to date when it is accepted.
     *
     *  @return what @p edit returns; ENOENT when no such record is kept, EDQUOT
     *          when there is no room for its new payload */
    int edit(RecordKind kind, std::string_view path, const Edit& edit);

    /** Changes a kept record, or forgets it when that is not possible: the
     *  record that it was to replace has been changed. */
    void editOrForget(RecordKind kind, std::string_view path,
                      const Edit& edit) noexcept;

    /** Forgets a record, whose object has ended or has a record now. */
    void forget(RecordKind kind, std::string_view path);

    /** Tries the kept records again, those of nodes first, and forgets those
     *  that succeed. Ends with the first one that is refused again.
     *
     *  @param[in] put adds a record, or throws */
    void tryAgain(const std::function<void(const NewRecord&)>& put) noexcept;

  private:
    /** Whether the record is not that of a node, and the path. */
    using Key = std::pair<bool, std::string>;
    using KeyView = std::pair<bool, std::string_view>;

    /** Finds a path without memory for a copy of it. */
    struct Before
    {
        using is_transparent = void;

        bool operator()(const KeyView& left, const KeyView& right) const
        {
            return left < right;
        }
    };

    struct Refused
    {
        RecordKind kind{};
        std::string payload;
        uint32_t live = 0;
    };

    using Records = std::map<Key, Refused, Before>;

    Records::iterator find(RecordKind kind, std::string_view path);
    int change(Refused& kept, const Edit& edit);
    Records::iterator erase(Records::iterator record);

    std::mutex mutex;
    Records records;
    std::size_t bytes = 0;
};

} // namespace healthintf::host
