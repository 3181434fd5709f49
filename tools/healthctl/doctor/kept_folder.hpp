// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The folders in which the services keep what must not be lost. */

#include <array>
#include <cstdint>

namespace healthintf::healthctl
{

/** A folder that one service writes to. */
struct KeptFolder
{
    /** What the finding about it is called. */
    const char* check;
    /** The service's program. */
    const char* service;
    /** What is kept there, in words. */
    const char* content;
    /** Whether it outlasts a reboot; otherwise it is in the runtime folder. */
    bool lasting;
    const char* name;
    /** Files that the service needs if they are there; null for none. */
    std::array<const char*, 3> files;
    /** Whether the service replaces its files, and so need not be allowed to
     *  write to those that are there. */
    bool replacing;
    /** By how many bytes its files grow at once. */
    uint64_t growth;
    /** What saves the content before the service is restarted; empty when
     *  nothing does. */
    const char* rescue;
};

inline constexpr uint64_t growthOfDatabase = 4UL << 20;
inline constexpr uint64_t growthOfTable = 64UL << 10;

inline constexpr KeptFolder logFolder{.check = "state.folder",
                                      .service = "logmgr",
                                      .content = "the log",
                                      .lasting = true,
                                      .name = "sel",
                                      .files = {"lock", "data.mdb"},
                                      .replacing = false,
                                      .growth = growthOfDatabase,
                                      .rescue = "export the log first"};

inline constexpr KeptFolder historyFolder{
    .check = "state.history",
    .service = "logmgr",
    .content = "the history",
    .lasting = true,
    .name = "history",
    .files = {"history.db", "history.db-wal"},
    .replacing = false,
    .growth = growthOfDatabase,
    .rescue = ""};

inline constexpr KeptFolder silenceFolder{.check = "state.silences",
                                          .service = "healthmgr",
                                          .content = "the silences",
                                          .lasting = true,
                                          .name = "healthmgr",
                                          .files = {"silences.toml"},
                                          .replacing = true,
                                          .growth = growthOfTable,
                                          .rescue = ""};

inline constexpr KeptFolder attributeFolder{.check = "state.attributes",
                                            .service = "healthmgr",
                                            .content = "the attributes",
                                            .lasting = true,
                                            .name = "config",
                                            .files = {"attributes.json"},
                                            .replacing = true,
                                            .growth = growthOfTable,
                                            .rescue = ""};

inline constexpr KeptFolder runtimeFolder{
    .check = "runtime.healthmgr",
    .service = "healthmgr",
    .content = "acknowledgements, raised faults and lost monitors",
    .lasting = false,
    .name = "healthmgr",
    .files = {"acknowledgements.toml", "raised-faults.toml",
              "lost-monitors.toml"},
    .replacing = true,
    .growth = growthOfTable,
    .rescue = ""};

inline constexpr std::array keptFolders{&logFolder, &historyFolder,
                                        &silenceFolder, &attributeFolder,
                                        &runtimeFolder};

} // namespace healthintf::healthctl
