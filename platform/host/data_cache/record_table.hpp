#pragma once

/** @file The records of one kind: bytes under an object path, each with the
 *  process that it belongs to. A process can change and remove what is its
 *  own; what it creates takes the place of any other record at the path. */

#include "data_cache.hpp"
#include "process_identity.hpp"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** The kinds of records. */
enum class RecordKind : char
{
    faultEntry = 'f',
    healthStatus = 'h',
    selEntry = 's',
};

/** Bytes of a payload. */
struct ByteRange
{
    std::size_t begin;
    std::size_t end;
};

/** The number of a payload that changes most, and may do so while it is read:
 *  a node's health, and whether a fault is hidden. Readers take it by
 *  ByteReader::getLive(). */
constexpr ByteRange liveBytes(RecordKind kind)
{
    constexpr ByteRange none{0, 0};
    constexpr ByteRange hidden{16, 17};
    constexpr ByteRange health{0, 4};
    switch (kind)
    {
        case RecordKind::faultEntry:
            return hidden;
        case RecordKind::healthStatus:
            return health;
        case RecordKind::selEntry:
            break;
    }
    return none;
}

/** A record as it stands in the cache; valid during its transaction. */
struct StoredRecord
{
    ProcessIdentity owner;
    std::string_view payload;
};

/** Takes a stored value apart.
 *
 *  @throws std::out_of_range when it is too short for one */
StoredRecord parseRecord(std::string_view value);

/** Lets records of this process stand back from now on: none is put where
 *  another living process has one. */
void standBack();

/** Puts a record of this process at @p path.
 *
 *  @return 0; EEXIST for a record that stands back; or the number of the
 *          failure */
int putRecord(RecordKind kind, const std::string& path,
              std::string_view payload);

/** Changes a record of this process.
 *
 *  @param[in] edit changes the payload that it is given and returns 0, or
 *             returns another number to leave it
 *  @return 0; ENOENT without a record; EPERM for one of another process; what
 *          @p edit returned; or the number of the failure */
int editRecord(RecordKind kind, const std::string& path,
               const std::function<int(std::string& payload)>& edit);

/** Removes a record of this process.
 *
 *  @return 0; ENOENT without a record; EPERM for one of another process; or
 *          the number of the failure */
int removeRecord(RecordKind kind, const std::string& path);

/** Which records a prefix stands for. */
enum class Wanted
{
    /** Those whose paths begin with it. */
    allBelow,
    /** The one whose path it is; the others cost nothing then. */
    wholePaths,
};

/** Reads the records whose paths begin with any of the prefixes, in the order
 *  of their paths; without prefixes, all. One that cannot be read is logged
 *  and left out.
 *
 *  @return a DataAbstraction::ReadResult, or the number of the failure */
long readRecords(RecordKind kind, const std::vector<std::string>& prefixes,
                 const std::function<void(std::string_view path,
                                          const StoredRecord& record)>& visit,
                 Wanted wanted = Wanted::allBelow);

/** Puts a record of this process, whosever was there, as part of a
 *  transaction.
 *
 *  @throws std::exception when there is no room for it */
void putRecord(Environment& cache, const Transaction& transaction,
               RecordKind kind, const std::string& path,
               std::string_view payload);

/** Removes every record of a kind that is wanted gone, as part of a
 *  transaction.
 *
 *  @param[in] prefix what the records' paths begin with
 *  @param[in] unwanted whether a record shall go */
void removeRecords(const Environment& cache, const Transaction& transaction,
                   RecordKind kind, const std::string& prefix,
                   const std::function<bool(std::string_view path,
                                            std::string_view value)>& unwanted);

} // namespace healthintf::host
