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

/** The attributes of one folder. Only one process at a time may use them so,
 *  and only one thread of it; there is no lock, as whoever may read a file
 *  could hold one.
 *
 *  They are few and change seldom, so each change writes them all to a file
 *  that then takes the place of the one before. Whatever happens, that file is
 *  whole, and a person can read it. */
class AttributeStore
{
  public:
    /** @param[in] folder made when something is written */
    explicit AttributeStore(std::filesystem::path folder);

    /** Brings what an earlier version left in order: names that no attribute
     *  may have leave the file, and the file that was locked goes.
     *
     *  @throws std::exception when the file cannot be read or written; it stays
     *          as it is then */
    void takeOver() const;

    /** Sets an attribute. One that was never set has the value 0 before. What
     *  is set is on the disk when this returns.
     *
     *  @param[in] name one that an attribute may have
     *  @return the change; nothing when the attribute has the value already
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
