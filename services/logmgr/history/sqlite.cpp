// SPDX-License-Identifier: Apache-2.0
#include "sqlite.hpp"

#include <utility>

namespace healthintf::history
{
namespace
{

/** The part of an extended result code that says what kind of failure it is. */
constexpr int kindOfFailure = 0xFF;

/** What has failed when a statement has. */
constexpr const char* failedWork = "the history's database";

} // namespace

SqliteError::SqliteError(sqlite3* database, int code, const std::string& what) :
    std::runtime_error(what + ": " +
                       (database == nullptr ? sqlite3_errstr(code)
                                            : sqlite3_errmsg(database))),
    code(code & kindOfFailure)
{}

bool SqliteError::isDamage() const
{
    return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

bool SqliteError::isFull() const
{
    return code == SQLITE_FULL;
}

Statement::Statement(const Database& database, std::string_view text) :
    database(database.get())
{
    sqlite3_stmt* made = nullptr;
    const int result = sqlite3_prepare_v3(
        this->database, text.data(), static_cast<int>(text.size()),
        SQLITE_PREPARE_PERSISTENT, &made, nullptr);
    handle.reset(made);
    if (result != SQLITE_OK)
    {
        throw SqliteError(this->database, result, failedWork);
    }
}

void Statement::bindOne(int index, int64_t value)
{
    sqlite3_bind_int64(handle.get(), index, value);
}

void Statement::bindOne(int index, std::string_view value)
{
    // A null pointer would be SQL's NULL.
    const char* const text = value.empty() ? "" : value.data();
    sqlite3_bind_text(handle.get(), index, text, static_cast<int>(value.size()),
                      SQLITE_TRANSIENT);
}

void Statement::bindOne(int index, const std::optional<int64_t>& value)
{
    if (value)
    {
        bindOne(index, *value);
    }
    else
    {
        sqlite3_bind_null(handle.get(), index);
    }
}

bool Statement::step()
{
    const int result = sqlite3_step(handle.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE)
    {
        // Before the reset, which may forget the error's text.
        SqliteError error(database, result, failedWork);
        reset();
        throw SqliteError(std::move(error));
    }
    return result == SQLITE_ROW;
}

void Statement::run()
{
    step();
    reset();
}

int64_t Statement::number(int column) const
{
    return sqlite3_column_int64(handle.get(), column);
}

std::optional<int64_t> Statement::numberIfAny(int column) const
{
    return sqlite3_column_type(handle.get(), column) == SQLITE_NULL
               ? std::nullopt
               : std::optional(number(column));
}

std::string Statement::text(int column) const
{
    const void* const bytes = sqlite3_column_text(handle.get(), column);
    const int size = sqlite3_column_bytes(handle.get(), column);
    return bytes == nullptr ? std::string()
                            : std::string(static_cast<const char*>(bytes),
                                          static_cast<std::size_t>(size));
}

Database::Database(const std::filesystem::path& file)
{
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(
        file.c_str(), &opened,
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOFOLLOW,
        nullptr);
    // SQLite gives a handle also when it fails.
    handle.reset(opened);
    if (result != SQLITE_OK)
    {
        throw SqliteError(opened, result, file.string());
    }
    sqlite3_extended_result_codes(opened, 1);
}

void Database::run(const char* text)
{
    const int result =
        sqlite3_exec(handle.get(), text, nullptr, nullptr, nullptr);
    if (result != SQLITE_OK)
    {
        throw SqliteError(handle.get(), result, failedWork);
    }
}

int64_t Database::ask(const std::string& text)
{
    Statement question(*this, text);
    return question.step() ? question.number(0) : 0;
}

} // namespace healthintf::history
