// SPDX-License-Identifier: Apache-2.0
#include "free_pages.hpp"

#include "lmdb.hpp"

#include <cstring>

namespace healthintf::logmgr
{

std::size_t freePages(MDB_env* environment)
{
    // LMDB lists free pages in its own first table, which only a read
    // transaction may open. Each list begins with its length.
    constexpr MDB_dbi freeLists = 0;
    const Transaction transaction(environment, Transaction::Kind::read);
    std::size_t pages = 0;
    Cursor cursor(transaction.get(), freeLists);
    for (bool more = cursor.seek(""); more; more = cursor.next())
    {
        std::size_t length = 0;
        std::memcpy(&length, cursor.value().data(), sizeof(length));
        pages += length;
    }
    return pages;
}

} // namespace healthintf::logmgr
