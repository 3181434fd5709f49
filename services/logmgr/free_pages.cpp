// SPDX-License-Identifier: Apache-2.0
#include "free_pages.hpp"

#include "lmdb.hpp"

#include <cstring>
#include <set>
#include <string_view>

namespace healthintf::logmgr
{

namespace
{

// LMDB lists free pages in its own first table, which only a read transaction
// may open.
constexpr MDB_dbi freeLists = 0;

constexpr std::size_t numberSize = sizeof(std::size_t);

std::size_t numberAt(std::string_view list, std::size_t index)
{
    std::size_t number = 0;
    std::memcpy(&number, list.data() + index * numberSize, numberSize);
    return number;
}

/** Adds the pages of a list, which begins with its length.
 *
 *  @return whether none of them is beyond the last page, in the head or known
 *          already */
bool addPages(std::string_view list, std::size_t lastPage,
              std::set<std::size_t>& pages)
{
    constexpr std::size_t headPages = 2;
    const std::size_t places = list.size() / numberSize;
    const std::size_t length = places > 0 ? numberAt(list, 0) : places;
    if (length >= places)
    {
        return false;
    }
    for (std::size_t i = 1; i <= length; ++i)
    {
        const std::size_t page = numberAt(list, i);
        if (page < headPages || page > lastPage || !pages.insert(page).second)
        {
            return false;
        }
    }
    return true;
}

} // namespace

std::size_t freePages(MDB_env* environment)
{
    const Transaction transaction(environment, Transaction::Kind::read);
    std::size_t pages = 0;
    Cursor cursor(transaction.get(), freeLists);
    for (bool more = cursor.seek(""); more; more = cursor.next())
    {
        pages += numberAt(cursor.value(), 0);
    }
    return pages;
}

bool areFreePagesPlausible(MDB_env* environment)
{
    MDB_envinfo info{};
    checkLmdb("mdb_env_info", mdb_env_info(environment, &info));
    const Transaction transaction(environment, Transaction::Kind::read);
    std::set<std::size_t> pages;
    Cursor cursor(transaction.get(), freeLists);
    for (bool more = cursor.seek(""); more; more = cursor.next())
    {
        // A list's key is the number of the change that gave the pages up.
        if (cursor.key().size() != numberSize ||
            numberAt(cursor.key(), 0) > info.me_last_txnid ||
            !addPages(cursor.value(), info.me_last_pgno, pages))
        {
            return false;
        }
    }
    return true;
}

} // namespace healthintf::logmgr
