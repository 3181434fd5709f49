// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Writes descriptions into the entries of the contract. */

namespace healthintf::host
{

struct DescribedEvent;

/** Fills in an entry of JNL_ENTRY_SIZE bytes. */
void writeJournalEntry(const DescribedEvent& event, char* entry);

/** Fills in an entry of LCD_ENTRY_SIZE bytes. */
void writeLcdEntry(const DescribedEvent& event, char* entry);

} // namespace healthintf::host
