#pragma once

/** @file The records of the host's data cache, read by bare calls of LMDB: the
 *  floor that queries are measured against. */

#include <lmdb.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace healthintf::bench
{

inline void check(int result, const char* call)
{
    if (result != MDB_SUCCESS)
    {
        std::fprintf(stderr, "%s: %s\n", call, mdb_strerror(result));
        std::exit(1);
    }
}

template <typename T>
void take(const char*& at, T& value)
{
    std::memcpy(&value, at, sizeof(value));
    at += sizeof(value);
}

inline void take(const char*& at, std::string& text)
{
    uint32_t size = 0;
    take(at, size);
    text.assign(at, size);
    at += size;
}

/** The data cache in a folder, open for reading. */
class BareCache
{
  public:
    explicit BareCache(const char* folder)
    {
        MDB_txn* transaction = nullptr;
        check(mdb_env_create(&environment), "mdb_env_create");
        check(mdb_env_open(environment, folder, MDB_RDONLY, 0), "mdb_env_open");
        check(mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction),
              "mdb_txn_begin");
        check(mdb_dbi_open(transaction, nullptr, 0, &table), "mdb_dbi_open");
        check(mdb_txn_commit(transaction), "mdb_txn_commit");
    }

    ~BareCache()
    {
        mdb_env_close(environment);
    }

    BareCache(const BareCache&) = delete;
    BareCache& operator=(const BareCache&) = delete;

    /** Reads the records whose keys begin with @p start, which is the letter
     *  of their kind and a part of their paths.
     *
     *  @param[in] visit called with each path and the record's bytes, without
     *             the process that it belongs to */
    template <typename Visit>
    void scan(const std::string& start, Visit&& visit) const
    {
        // A process's id and its start time.
        constexpr std::size_t ownerSize = sizeof(uint32_t) + sizeof(uint64_t);

        MDB_txn* transaction = nullptr;
        MDB_cursor* cursor = nullptr;
        check(mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction),
              "mdb_txn_begin");
        check(mdb_cursor_open(transaction, table, &cursor), "mdb_cursor_open");
        MDB_val key{start.size(), const_cast<char*>(start.data())};
        MDB_val value{};
        int found = mdb_cursor_get(cursor, &key, &value, MDB_SET_RANGE);
        for (; found == MDB_SUCCESS;
             found = mdb_cursor_get(cursor, &key, &value, MDB_NEXT))
        {
            const std::string_view path(static_cast<const char*>(key.mv_data),
                                        key.mv_size);
            if (!path.starts_with(start))
            {
                break;
            }
            visit(path.substr(1),
                  static_cast<const char*>(value.mv_data) + ownerSize);
        }
        mdb_cursor_close(cursor);
        mdb_txn_abort(transaction);
    }

  private:
    MDB_env* environment = nullptr;
    MDB_dbi table = 0;
};

} // namespace healthintf::bench
