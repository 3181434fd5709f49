#pragma once

/** @file Puts records into a data cache as they are. */

#include "data_cache/environment.hpp"

#include <string>

namespace healthintf::test
{

/** Puts a record of this content, in a transaction of its own. */
inline void put(host::Environment& environment, std::string key,
                std::string value)
{
    host::Transaction transaction(environment.get(),
                                  host::Transaction::Kind::write);
    environment.makeRoomForRecord(transaction, value.size());
    MDB_val k{key.size(), key.data()};
    MDB_val v{value.size(), value.data()};
    host::checkLmdb("mdb_put",
                    mdb_put(transaction.get(), environment.table(), &k, &v, 0));
    transaction.commit();
}

} // namespace healthintf::test
