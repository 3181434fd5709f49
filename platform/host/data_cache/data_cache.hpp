#pragma once

/** @file This process's way to the data cache. Every failure becomes a number
 *  for the caller and, when it is another one than the last, one line in the
 *  log that says what to do. */

#include "own_records.hpp"

#include <exception>
#include <utility>

namespace healthintf::host
{

/** The size in bytes that a segment may grow to: $HEALTHINTF_CACHE_MIB, or
 *  256 MiB, and 64 MiB where addresses have 32 bits. */
std::size_t segmentCapacity();

/** The records of this process. The segment is made at the first use and stays;
 *  a failed attempt is made again at the next use. A child of fork() has none
 *  until it uses this itself.
 *
 *  @throws std::exception when the segment cannot be made */
OwnRecords& ownRecords();

/** The same without making it; null when there is none. */
OwnRecords* ownRecordsIfAny() noexcept;

/** Lets the records of this process count only where no other process has any,
 *  from now on and also before the first. */
void makeOwnRecordsPlaceholders();

/** Logs what is wrong with the data cache, once in a row.
 *
 *  @return the failure's number, not 0 and not DataAbstraction::readNoRecords
 */
int reportCacheFailure(const std::exception& failure) noexcept;

/** Notes that the data cache worked. */
void noteCacheSuccess() noexcept;

/** Runs @p work, which uses the data cache.
 *
 *  @return what @p work returns, or the number of the failure */
template <typename Work>
int useCache(Work&& work) noexcept
{
    try
    {
        const int result = std::forward<Work>(work)();
        noteCacheSuccess();
        return result;
    }
    catch (const std::exception& e)
    {
        return reportCacheFailure(e);
    }
}

} // namespace healthintf::host
