// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Judges folders and files. */

#include "finding.hpp"
#include "kept_folder.hpp"

#include <data_cache/cache_space.hpp>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include <inspection.hpp>

namespace healthintf::healthctl
{

/** The data cache's folder. */
struct CacheState
{
    std::filesystem::path folder;
    /** Why nothing could be found out; empty when it could. */
    std::string failure;
    bool there = false;
    /** Whether this user may read there. */
    bool usable = false;
    bool inUse = false;
    /** Nothing when it is not in use or cannot be read. */
    std::optional<host::CacheSpace> space;
    /** What its filesystem has left. */
    uint64_t freeBytes = 0;
    /** Whether its filesystem holds as many files as it can. */
    bool lacksFiles = false;
};

/** The folder of the data that outlasts a restart of a service. */
struct StateFolder
{
    KeptFolder kept = logFolder;
    std::filesystem::path folder;
    /** Why nothing could be found out; empty when it could. */
    std::string failure;
    /** The folder itself, or the one above that it will be made in. */
    std::filesystem::path nearest;
    /** The user who must be able to write there. */
    std::string user;
    /** Whether nobody can write there, as after the filesystem failed. */
    bool readOnly = false;
    bool writable = false;
    /** A folder above that the user may not enter; empty when he may enter
     *  all. */
    std::filesystem::path closedFolder;
    /** A file there that the user may not use, as after root restored it; empty
     *  when there is none, or this user may not know. */
    std::filesystem::path closedFile;
    /** What its filesystem has left. */
    uint64_t freeBytes = 0;
    /** Whether its filesystem holds as many files as it can. */
    bool lacksFiles = false;
};

/** The library that this program runs with. */
struct LibraryState
{
    /** This program's own. */
    std::string version;
    std::filesystem::path file;
};

Findings makeFindings(const CacheState& cache);
Finding makeFinding(const StateFolder& state);
Finding makeFinding(const LibraryState& library);

/** @param[in] check what the finding is called
 *  @param[in] what what the files are, in words
 *  @param[in] variable the setting that names their folders */
Findings makeFindings(const std::string& check, const std::string& what,
                      const std::string& variable,
                      const host::InstalledFiles& files);

} // namespace healthintf::healthctl
