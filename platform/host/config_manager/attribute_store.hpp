#pragma once

/** @file The attributes on the disk. */

#include "../storage/file_lock.hpp"
#include "attribute_file.hpp"
#include "change_record.hpp"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace healthintf::host
{

/** The attributes of one folder in the hands of this object alone: as long as
 *  it lives, whoever else makes one of the same folder waits.
 *
 *  They are few and change seldom, so each change writes them all to a file
 *  that then takes the place of the one before. Whatever happens, that file is
 *  whole, and a person can read it. */
class AttributeStore
{
  public:
    /** @param[in] folder made when it is not there
     *  @throws std::exception saying what is wrong */
    explicit AttributeStore(const std::filesystem::path& folder);

    /** Sets an attribute. One that was never set has the value 0 before. What
     *  is set is on the disk when this returns.
     *
     *  @param[in] name UTF-8
     *  @return the change; nothing when the attribute has the value already
     *  @throws std::exception when nothing was changed */
    std::optional<AttributeChange> set(const std::string& name, int32_t value);

  private:
    Attributes read() const;
    void write(const Attributes& attributes) const;

    std::filesystem::path file;
    ExclusiveLock lock;
};

} // namespace healthintf::host
