// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file This process's access to the data cache. Every failure becomes an
 *  error number for the caller. A failure that differs from the last one is
 *  logged, with what to do about it. */

#include "own_records.hpp"

#include <exception>
#include <utility>

namespace healthintf::host
{

/** The size in bytes that a segment may grow to: $HEALTHINTF_CACHE_MIB, or
 *  256 MiB, and 64 MiB where addresses have 32 bits. */
std::size_t segmentCapacity();

/** The records of this process. The segment is made at the first use and stays;
 *  after a failure the next use tries again. A child of fork() has none until
 *  it calls this itself.
 *
 *  @throws std::exception when the segment cannot be made */
OwnRecords& ownRecords();

/** The records of this process; null when it has made none yet. */
OwnRecords* ownRecordsIfAny() noexcept;

/** Makes the records of this process placeholders, also the future ones: they
 *  count only at paths where no other process has a record. */
void makeOwnRecordsPlaceholders();

/** Logs a failure of the data cache, unless it is the same as the last one.
 *
 *  @return the error number, not 0 and not DataAbstraction::readNoRecords
 * */
int reportCacheFailure(const std::exception& failure) noexcept;

/** Notes that the data cache worked. */
void noteCacheSuccess() noexcept;

/** Runs @p work, which uses the data cache.
 *
 *  @return what @p work returns, or the error number of its exception */
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
