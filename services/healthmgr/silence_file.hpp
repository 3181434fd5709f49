// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The file in which healthmgr keeps the silences: a TOML file with a
 *  table for each one. */

#include "silence.hpp"

#include <cstddef>
#include <cstdint>
#include <string>

namespace healthintf::healthmgr
{

/** What the file holds. */
struct KeptSilences
{
    /** How many silences there may be. */
    static constexpr std::size_t most = 256;

    /** The number of the silence that began last; numbers are not used
     *  again. */
    uint64_t last = 0;
    SilenceMap silences;

    friend bool operator==(const KeptSilences&, const KeptSilences&) = default;
};

/** Reads the content of the file.
 *
 *  @param[in] name the file's name, for errors
 *  @throws services::ConfigError when it is damaged, or has something that
 *          healthmgr does not write */
KeptSilences parseSilences(const std::string& text, const std::string& name);

/** The file's content. */
std::string formatSilences(const KeptSilences& kept);

} // namespace healthintf::healthmgr
