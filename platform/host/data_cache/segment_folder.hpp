// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The segments of all processes in one folder. */

#include "segment_reader.hpp"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace healthintf::host
{

/** Visits the segments of living processes in a folder. Ignores other files,
 *  and the segments of a user beyond ReadingBudget::segments.
 *
 *  @throws std::system_error when the folder exists and cannot be read */
void forEachLivingSegment(
    const std::filesystem::path& folder,
    const std::function<void(const SegmentReader&)>& visit);

/** Stores a record for the caller. A record for which it throws
 *  std::out_of_range is left out, which is logged.
 *
 *  @param[in] replace whether to replace a stored record of the same path
 *  @return whether the record was stored */
using KeepRecord = std::function<bool(
    const ReadRecord& record, const ProcessIdentity& owner, bool replace)>;

/** Reads the matching records of all living processes. Of several records of
 *  one path the youngest is kept; a placeholder only if there is no other.
 *
 *  @return whether there is any record of the kind, matching or not
 *  @throws as forEachLivingSegment() */
bool readLivingRecords(const std::filesystem::path& folder,
                       const RecordQuery& query, const KeepRecord& keep);

/** A health record of a dead process. */
struct DeadNode
{
    std::string path;
    /** How many fault entries the node had. */
    std::size_t faults = 0;
    /** The health by the worst of them that was not hidden; 0 when there was
     *  none. */
    uint32_t worst = 0;
};

/** A file that belongs to no living process. */
struct DeadSegment
{
    std::string name;
    /** The process that wrote the segment, by the segment's header; empty for a
     *  file that is not a segment. */
    ProcessIdentity owner;
    /** The name of that process; any bytes. */
    std::string process;
    /** The user who owns the file; 0 for a file that is not a segment. */
    uid_t user = 0;
    /** Whether its records are placeholders. */
    bool isPlaceholder = false;
    std::vector<DeadNode> nodes;
};

/** Finds the files that belong to no living process.
 *
 *  @throws as forEachLivingSegment() */
std::vector<DeadSegment> findDeadSegments(const std::filesystem::path& folder);

/** Removes a file of the folder.
 *
 *  @return whether it is gone */
bool removeSegment(const std::filesystem::path& folder,
                   const std::string& name) noexcept;

} // namespace healthintf::host
