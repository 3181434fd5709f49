// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The faults that operators have acknowledged. */

#include "acknowledgement_file.hpp"
#include "kept_file.hpp"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::healthmgr
{

/** The acknowledgements by the paths of their faults' entries. They are also in
 *  a file that lasts until the next boot, for the next healthmgr. */
class Acknowledgements
{
  public:
    using ByPath = std::pair<std::string, Acknowledgement>;

    /** Reads which of some faults there are, as readIdentities() does. */
    using ReadFaults = std::function<std::optional<FaultIdentities>(
        const std::vector<std::string>& paths)>;

    /** How many there may be, in all and of one user. */
    static constexpr std::size_t most = mostAcknowledgements;
    static constexpr std::size_t mostOfOneUser = 64;

    /** What comes of an attempt to acknowledge a fault. */
    enum class Outcome
    {
        done,
        /** There is no such fault. */
        noFault,
        /** There are as many as there may be. */
        tooMany,
    };

    /** Reads the file that an earlier healthmgr has left. A file that cannot be
     *  read counts as an empty one, which is logged; a damaged one is renamed.
     *
     *  @param[in] path in a folder that healthmgr may write to */
    explicit Acknowledgements(std::filesystem::path path,
                              ReadFaults readFaults = readIdentities);

    /** Acknowledges a fault, in place of an earlier acknowledgement.
     *
     *  @param[in] path the fault's entry, as isEntryPath() allows
     *  @param[in] comment as explainInvalidComment() allows
     *  @param[in] time seconds since the epoch */
    Outcome add(const std::string& path, const std::string& comment,
                uint32_t user, int64_t time);

    /** @return the acknowledgement that is over now; nothing when there was
     *          none */
    std::optional<Acknowledgement> remove(const std::string& path);

    /** Removes those whose faults are gone. While the data cache cannot be
     *  read, all stay. */
    std::vector<ByPath> removeGone();

    const AcknowledgementMap& all() const
    {
        return acknowledgements;
    }

    /** Writes the changes to the file. A failure is logged, and the next call
     *  tries it again.
     *
     *  @return whether the file has all changes */
    bool save();

  private:
    bool hasRoom(uint32_t user) const;

    KeptFile file;
    ReadFaults readFaults;
    AcknowledgementMap acknowledgements;
};

} // namespace healthintf::healthmgr
