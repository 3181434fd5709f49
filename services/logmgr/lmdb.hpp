// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Owners of LMDB's handles, and its failures as exceptions. */

#include "thread_sanitizer.hpp"

#include <lmdb.h>

#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace healthintf::logmgr
{

/** LMDB's error codes, some of which are errnos, with LMDB's texts. */
class LmdbCategory : public std::error_category
{
  public:
    const char* name() const noexcept override
    {
        return "LMDB";
    }

    std::string message(int code) const override
    {
        return mdb_strerror(code);
    }

    static const LmdbCategory& instance()
    {
        static const LmdbCategory category;
        return category;
    }
};

/** A failed call of LMDB with its code. */
class LmdbError : public std::system_error
{
  public:
    LmdbError(const char* call, int code) :
        std::system_error(code, LmdbCategory::instance(), call)
    {}
};

/** @throws LmdbError when a call did not succeed */
inline void checkLmdb(const char* call, int code)
{
    if (code != MDB_SUCCESS)
    {
        throw LmdbError(call, code);
    }
}

/** Points LMDB to bytes; valid as long as they are. */
inline MDB_val asMdbValue(std::string_view bytes)
{
    return {bytes.size(), const_cast<char*>(bytes.data())};
}

struct CloseEnvironment
{
    void operator()(MDB_env* environment) const
    {
        mdb_env_close(environment);
    }
};

using EnvironmentPtr = std::unique_ptr<MDB_env, CloseEnvironment>;

/** A transaction. Without commit() it changes nothing. */
class Transaction
{
  public:
    enum class Kind
    {
        read,
        write,
    };

    Transaction(MDB_env* environment, Kind kind) : environment(environment)
    {
        const unsigned int flags = kind == Kind::read ? MDB_RDONLY : 0;
        int result = mdb_txn_begin(environment, nullptr, flags, &handle);
        if (result == MDB_READERS_FULL)
        {
            // Killed readers keep their slots until mdb_reader_check() frees
            // them.
            mdb_reader_check(environment, nullptr);
            result = mdb_txn_begin(environment, nullptr, flags, &handle);
        }
        checkLmdb("mdb_txn_begin", result);
        noteTransactionBegin(environment);
    }

    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    ~Transaction()
    {
        if (handle != nullptr)
        {
            noteTransactionEnd(environment);
            mdb_txn_abort(handle);
        }
    }

    MDB_txn* get() const
    {
        return handle;
    }

    void commit()
    {
        noteTransactionEnd(environment);
        checkLmdb("mdb_txn_commit",
                  mdb_txn_commit(std::exchange(handle, nullptr)));
    }

  private:
    MDB_env* environment;
    MDB_txn* handle = nullptr;
};

/** A position in a table; lives shorter than its transaction. */
class Cursor
{
  public:
    Cursor(MDB_txn* transaction, MDB_dbi table)
    {
        checkLmdb("mdb_cursor_open",
                  mdb_cursor_open(transaction, table, &handle));
    }

    Cursor(const Cursor&) = delete;
    Cursor& operator=(const Cursor&) = delete;

    ~Cursor()
    {
        mdb_cursor_close(handle);
    }

    /** Moves to the first record at or after @p key.
     *
     *  @return whether there is one */
    bool seek(std::string_view key)
    {
        foundKey = {key.size(), const_cast<char*>(key.data())};
        return move(key.empty() ? MDB_FIRST : MDB_SET_RANGE);
    }

    /** Moves to the record of @p key.
     *
     *  @return whether there is one */
    bool find(MDB_val key)
    {
        foundKey = key;
        return move(MDB_SET_KEY);
    }

    /** Moves to the last record.
     *
     *  @return whether there is one */
    bool last()
    {
        return move(MDB_LAST);
    }

    /** Moves to the next record.
     *
     *  @return whether there is one */
    bool next()
    {
        return move(MDB_NEXT);
    }

    /** Reserves memory for another value of the record. The caller writes it
     *  before it uses the transaction again. */
    MDB_val replace(std::size_t size)
    {
        MDB_val room{size, nullptr};
        checkLmdb("mdb_cursor_put", mdb_cursor_put(handle, &foundKey, &room,
                                                   MDB_CURRENT | MDB_RESERVE));
        return room;
    }

    /** Removes the record; next() then moves to the one after it. */
    void remove()
    {
        checkLmdb("mdb_cursor_del", mdb_cursor_del(handle, 0));
    }

    std::string_view key() const
    {
        return {static_cast<const char*>(foundKey.mv_data), foundKey.mv_size};
    }

    std::string_view value() const
    {
        return {static_cast<const char*>(foundValue.mv_data),
                foundValue.mv_size};
    }

  private:
    bool move(MDB_cursor_op operation)
    {
        const int result =
            mdb_cursor_get(handle, &foundKey, &foundValue, operation);
        if (result == MDB_NOTFOUND)
        {
            return false;
        }
        checkLmdb("mdb_cursor_get", result);
        return true;
    }

    MDB_cursor* handle = nullptr;
    MDB_val foundKey{};
    MDB_val foundValue{};
};

} // namespace healthintf::logmgr
