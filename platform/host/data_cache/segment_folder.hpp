#pragma once

/** @file The segments of all processes in one folder. */

#include "segment_reader.hpp"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace healthintf::host
{

/** Visits the segments of a folder whose owners live. What is no segment is
 *  passed over, and so is what exceeds ReadingBudget::segments of a user.
 *
 *  @throws std::system_error when the folder is there and cannot be read */
void forEachLivingSegment(
    const std::filesystem::path& folder,
    const std::function<void(const SegmentReader&)>& visit);

/** Puts a record where the caller keeps what it reads. One that throws
 *  std::out_of_range is left out, with a line in the log.
 *
 *  @param[in] replace whether it takes the place of one of the same path; else
 *             that one stays
 *  @return whether it was put there */
using KeepRecord = std::function<bool(
    const ReadRecord& record, const ProcessIdentity& owner, bool replace)>;

/** Reads the records that are wanted of all living processes. Of several with
 *  one path the youngest is kept; a placeholder is kept when it is the only
 *  one.
 *
 *  @return whether there is any record of the kind, wanted or not
 *  @throws as forEachLivingSegment() */
bool readLivingRecords(const std::filesystem::path& folder,
                       const RecordQuery& query, const KeepRecord& keep);

/** A file that belongs to no living process. */
struct DeadSegment
{
    std::string name;
    /** Whose segment it was, as that process said; nobody's for a file that is
     *  no segment. */
    ProcessIdentity owner;
    /** The paths of the health records in it. */
    std::vector<std::string> nodes;
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
