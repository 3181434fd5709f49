// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Records as rows of the history's database. */

#include "history_query.hpp"
#include "record.hpp"
#include "sqlite.hpp"

#include <string>

namespace healthintf::history
{

/** How many columns a row has. */
inline constexpr int columnsOfRow = 20;

/** The statement that adds a row; see bindRow(). */
extern const std::string insertRow;

/** An expression for about how many bytes a row takes, with those in the
 *  indexes. */
extern const std::string sizeOfRow;

/** Binds a record to insertRow. */
void bindRow(Statement& insertion, const Record& record);

/** The beginning of a statement that selects rows.
 *
 *  @param[in] further columns behind those of the row; empty for none */
std::string selectRows(const std::string& further = {});

/** Reads a row that selectRows() gives, whatever it holds: arguments that
 *  cannot be read become none, and texts what a record may have. */
Record readRow(const Statement& row);

/** The statement that selects the records of a query, and one more. */
Statement prepareQuery(const Database& database, const HistoryQuery& query);

} // namespace healthintf::history
