// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The attributes on the disk. */

#include "attribute_file.hpp"
#include "change_record.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace healthintf::host
{

/** The attributes of one folder. Only one thread of one process may use it at a
 *  time. There is no lock, as every process that may read the lock file could
 *  hold the lock forever.
 *
 *  Attributes are few and change seldom, so each change writes all of them to a
 *  new file that replaces the old one. The file is complete at any time, and
 *  people can read it. */
class AttributeStore
{
  public:
    /** @param[in] folder made by the first change */
    explicit AttributeStore(std::filesystem::path folder);

    /** Cleans up what an earlier version left: removes invalid names from the
     *  file, and removes the lock file.
     *
     *  @throws std::exception when the file cannot be read or written; it stays
     *          as it is then */
    void takeOver() const;

    /** Sets an attribute. An attribute that was never set had the value 0. The
     *  change is on the disk when this returns.
     *
     *  @param[in] name a valid name
     *  @return the change; nullopt when the attribute has the value already
     *  @throws std::exception when nothing was changed */
    std::optional<AttributeChange> set(const std::string& name,
                                       int32_t value) const;

  private:
    Attributes read() const;
    void write(const Attributes& attributes) const;

    std::filesystem::path folder;
    std::filesystem::path file;
};

} // namespace healthintf::host
