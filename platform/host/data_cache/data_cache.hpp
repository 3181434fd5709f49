#pragma once

/** @file This process's way to the data cache. Every failure becomes a number
 *  for the caller and, when it is another one than the last, one line in the
 *  log that says what to do. */

#include "environment.hpp"

#include <cerrno>
#include <exception>
#include <utility>

namespace healthintf::host
{

/** The open data cache of this process. It is opened at the first use and
 *  stays open; a failed attempt is made again at the next use.
 *
 *  @throws std::exception when it cannot be opened */
Environment& dataCache();

/** Logs what is wrong with the data cache, once in a row.
 *
 *  @return the failure's number, not 0 and not DataAbstraction::readNoRecords
 */
int reportCacheFailure(const std::exception& failure) noexcept;

/** Notes that the data cache worked. */
void noteCacheSuccess() noexcept;

/** Runs @p work with a read transaction.
 *
 *  @return what @p work returns, or the number of the failure */
template <typename Work>
int readCache(Work&& work) noexcept
{
    try
    {
        Environment& cache = dataCache();
        const Transaction transaction(cache.get(), Transaction::Kind::read);
        const int result = work(cache, transaction);
        noteCacheSuccess();
        return result;
    }
    catch (const std::exception& e)
    {
        return reportCacheFailure(e);
    }
}

/** Whether a write that failed may be tried again: readers that were killed
 *  kept old pages from being used again, and now do no longer. */
bool freedPages(const LmdbError& failure) noexcept;

/** Runs @p work with a write transaction and commits it when @p work returns
 *  0.
 *
 *  @return what @p work returns, or the number of the failure; nothing is
 *          changed unless it is 0 */
template <typename Work>
int writeCache(Work&& work) noexcept
{
    for (bool mayTryAgain = true;; mayTryAgain = false)
    {
        try
        {
            Environment& cache = dataCache();
            Transaction transaction(cache.get(), Transaction::Kind::write);
            cache.makeRoomForChange();
            const int result = work(cache, transaction);
            if (result == 0)
            {
                transaction.commit();
            }
            noteCacheSuccess();
            return result;
        }
        catch (const LmdbError& e)
        {
            if (!mayTryAgain || !freedPages(e))
            {
                return reportCacheFailure(e);
            }
        }
        catch (const std::exception& e)
        {
            return reportCacheFailure(e);
        }
    }
}

} // namespace healthintf::host
