// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Writes the history into the journal of systemd. */

#include "record.hpp"
#include "storage/file_descriptor.hpp"

#include <filesystem>
#include <string>

namespace healthintf::history
{

/** What has happened in one line. */
std::string describe(const Record& record);

/** A record in the journal's own format: fields with names, among them the
 *  MESSAGE_ID of the record's kind, which the catalog explains. */
std::string formatForJournal(const Record& record);

/** Sends records to the journal, where there is one. It never waits: a record
 *  that the journal does not take at once is left out there. */
class Journal
{
  public:
    /** @param[in] socket where the journal takes records */
    explicit Journal(
        std::filesystem::path socket = "/run/systemd/journal/socket");

    void write(const Record& record) const;

  private:
    std::filesystem::path address;
    host::FileDescriptor socket;
};

} // namespace healthintf::history
