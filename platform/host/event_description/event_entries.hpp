#pragma once

/** @file The entries in which the library reads descriptions. */

namespace healthintf::host
{

struct DescribedEvent;

/** Writes the entry of JNL_ENTRY_SIZE bytes. */
void writeJournalEntry(const DescribedEvent& event, char* entry);

/** Writes the entry of LCD_ENTRY_SIZE bytes. */
void writeLcdEntry(const DescribedEvent& event, char* entry);

} // namespace healthintf::host
