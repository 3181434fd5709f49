// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The silences that operators have begun. */

#include "boot_clock.hpp"
#include "kept_file.hpp"
#include "silence_file.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::healthmgr
{

/** The silences by their numbers. They are also in a file, for the next
 *  healthmgr.
 *
 *  A silence ends so long after it began, however the machine's clock is set
 *  meanwhile. Over a boot, when nobody knows how long that took, it ends by the
 *  time of day; not later than its whole length after healthmgr first looks,
 *  because the clock of a machine may be wrong until it is set. */
class Silences
{
  public:
    using Numbered = std::pair<uint64_t, Silence>;

    /** How many silences there may be, in all and of one user. */
    static constexpr std::size_t most = KeptSilences::most;
    static constexpr std::size_t mostOfOneUser = 64;

    /** Reads the file that an earlier healthmgr has left. A file that cannot be
     *  read counts as an empty one, which is logged; a damaged one is renamed.
     *
     *  @param[in] path in a folder that healthmgr may write to
     *  @param[in] clocks tell when a silence ends */
    Silences(std::filesystem::path path, Clocks clocks);

    /** Begins a silence now.
     *
     *  @param[in] target with @p seconds and @p comment, as
     *             explainInvalidSilence() allows
     *  @return its number; nothing when there are too many */
    std::optional<uint64_t> add(const SilenceTarget& target, uint32_t seconds,
                                const std::string& comment, uint32_t user);

    /** @return the silence that is over now; nothing when there was none */
    std::optional<Silence> end(uint64_t id);

    /** Ends the silences whose time has come. */
    std::vector<Numbered> endExpired();

    /** How long the silence that ends next goes on; nothing without one. */
    std::optional<std::chrono::microseconds> untilNext() const;

    /** Whether there is a silence with just this target. */
    bool has(const SilenceTarget& target) const;

    /** The silences. After the clock was set, their ends by the time of day may
     *  be those of before. */
    const SilenceMap& all() const
    {
        return kept.silences;
    }

    /** The silences with their ends by the time of day as it is now. */
    SilenceMap withPresentEnds() const;

    bool empty() const
    {
        return kept.silences.empty();
    }

    /** Writes the changes to the file, and the ends by the time of day if the
     *  clock was set. A failure is logged, and the next call tries it again.
     *
     *  @return whether the file has all changes */
    bool save();

  private:
    void carryOverBoot(Silence& silence);
    int64_t remaining(const Silence& silence) const;
    int64_t endByWall(const Silence& silence) const;
    void followClock();

    KeptFile file;
    Clocks clocks;
    KeptSilences kept;
};

} // namespace healthintf::healthmgr
