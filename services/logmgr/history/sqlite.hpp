// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Owners of SQLite's handles, and its failures as exceptions. */

#include <sqlite3.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace healthintf::history
{

/** A failed call of SQLite. */
class SqliteError : public std::runtime_error
{
  public:
    /** @param[in] database says what has failed; may be null
     *  @param[in] code SQLite's result code */
    SqliteError(sqlite3* database, int code, const std::string& what);

    /** Whether the file is no database or a damaged one. */
    bool isDamage() const;

    /** Whether the database may not become any larger. */
    bool isFull() const;

  private:
    int code;
};

struct CloseDatabase
{
    void operator()(sqlite3* database) const
    {
        sqlite3_close_v2(database);
    }
};

struct FinishStatement
{
    void operator()(sqlite3_stmt* statement) const
    {
        sqlite3_finalize(statement);
    }
};

class Database;

/** A prepared statement. */
class Statement
{
  public:
    /** @throws SqliteError when SQLite refuses the text */
    Statement(const Database& database, std::string_view text);

    /** Binds values to the parameters, from the first one on; texts are
     *  copied. */
    template <typename... Values>
    Statement& bind(const Values&... values)
    {
        sqlite3_reset(handle.get());
        int index = 0;
        (bindOne(++index, values), ...);
        return *this;
    }

    /** Binds one value to the parameter with this number, from 1 on. */
    void bindOne(int index, int64_t value);
    void bindOne(int index, std::string_view value);
    void bindOne(int index, const std::optional<int64_t>& value);

    /** Runs a statement without results, or to its next row.
     *
     *  @return whether there is a row
     *  @throws SqliteError */
    bool step();

    /** Runs a statement that gives no rows, or whose rows do not matter.
     *
     *  @throws SqliteError */
    void run();

    int64_t number(int column) const;
    std::optional<int64_t> numberIfAny(int column) const;
    std::string text(int column) const;

    /** Ends a run before its last row. */
    void reset()
    {
        sqlite3_reset(handle.get());
    }

  private:
    sqlite3* database;
    std::unique_ptr<sqlite3_stmt, FinishStatement> handle;
};

/** An open database. */
class Database
{
  public:
    /** Opens a file for reading and writing; creates it when it is missing.
     *
     *  @throws SqliteError */
    explicit Database(const std::filesystem::path& file);

    sqlite3* get() const
    {
        return handle.get();
    }

    /** Runs statements without parameters.
     *
     *  @throws SqliteError */
    void run(const char* text);

    /** The first column of a statement's first row; 0 without rows.
     *
     *  @throws SqliteError */
    int64_t ask(const std::string& text);

  private:
    std::unique_ptr<sqlite3, CloseDatabase> handle;
};

} // namespace healthintf::history
