// SPDX-License-Identifier: Apache-2.0
#include "host_probe.hpp"

#include "../model/component.hpp"
#include "../source/process_name.hpp"
#include "failed_mount.hpp"

#include <hmi_faultentry.hpp>
#include <platform/data_abstraction/fault_entry.hpp>

#include <data_cache/cache_space.hpp>
#include <data_cache/record_owners.hpp>
#include <healthmgr/protocol.hpp>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <dlfcn.h>
#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <system_error>

#include <directories.hpp>

namespace healthintf::healthctl
{
namespace
{

namespace fs = std::filesystem;

/** The folder itself, or the nearest one above that is there. */
fs::path nearestFolder(fs::path folder)
{
    std::error_code ignored;
    while (!fs::exists(folder, ignored) && folder.has_relative_path())
    {
        folder = folder.parent_path();
    }
    return folder;
}

/** What is known of a folder's filesystem; nothing when it cannot be asked. */
std::optional<struct statvfs> readFilesystem(const fs::path& folder)
{
    struct statvfs found
    {};
    return statvfs(folder.c_str(), &found) == 0 ? std::optional(found)
                                                : std::nullopt;
}

uint64_t countFreeBytes(const struct statvfs& filesystem)
{
    return uint64_t{filesystem.f_bavail} * filesystem.f_frsize;
}

/** Whether a filesystem holds as many files as it can. Some have no such limit,
 *  and say that they have room for 0. */
bool lacksFiles(const struct statvfs& filesystem)
{
    return filesystem.f_files > 0 && filesystem.f_favail == 0;
}

bool isReadOnly(const struct statvfs& filesystem, const fs::path& folder)
{
    struct stat found
    {};
    std::ifstream mounts("/proc/self/mountinfo");
    return (filesystem.f_flag & ST_RDONLY) != 0 ||
           (stat(folder.c_str(), &found) == 0 &&
            isFailedMount(mounts, found.st_dev));
}

struct Account
{
    std::string name;
    gid_t group = 0;
};

Account readAccount(uid_t user)
{
    const passwd* entry = getpwuid(user);
    return entry != nullptr
               ? Account{entry->pw_name, entry->pw_gid}
               : Account{"user " + std::to_string(user), gid_t(-1)};
}

bool isInGroup(const Account& account, gid_t group)
{
    std::vector<gid_t> groups(64);
    auto count = static_cast<int>(groups.size());
    if (getgrouplist(account.name.c_str(), account.group, groups.data(),
                     &count) >= 0)
    {
        groups.resize(static_cast<std::size_t>(count));
    }
    return std::ranges::find(groups, group) != groups.end();
}

/** Whom a folder belongs to; root when that cannot be found out. */
uid_t readOwner(const fs::path& folder)
{
    struct stat found
    {};
    return stat(folder.c_str(), &found) == 0 ? found.st_uid : 0;
}

/** Whether the modes of a file or folder give a user rights.
 *
 *  @param[in] needed the rights, as the modes have them for all others */
bool modesGive(mode_t needed, const fs::path& path, uid_t user)
{
    constexpr unsigned int ofOwner = 6;
    constexpr unsigned int ofGroup = 3;
    struct stat found
    {};
    if (stat(path.c_str(), &found) != 0)
    {
        return false;
    }
    if (user == 0)
    {
        return true;
    }
    const unsigned int shift = found.st_uid == user ? ofOwner
                               : isInGroup(readAccount(user), found.st_gid)
                                   ? ofGroup
                                   : 0;
    return (found.st_mode >> shift & needed) == needed;
}

/** Finds the highest folder above another one that a user may not enter; empty
 *  when he may enter all. */
fs::path findClosedFolder(const fs::path& folder, uid_t user)
{
    std::error_code error;
    fs::path above;
    for (const fs::path& part : fs::canonical(folder, error).parent_path())
    {
        above /= part;
        if (!modesGive(S_IXOTH, above, user))
        {
            return above;
        }
    }
    return {};
}

/** Finds a file of a service that its user may not use. */
fs::path findClosedFile(const KeptFolder& kept, const fs::path& folder,
                        uid_t user)
{
    const mode_t needed = kept.replacing ? S_IROTH : S_IROTH | S_IWOTH;
    for (const char* name : kept.files)
    {
        std::error_code error;
        if (name != nullptr && fs::exists(folder / name, error) &&
            !modesGive(needed, folder / name, user))
        {
            return folder / name;
        }
    }
    return {};
}

/** A process that has a record, as "fan-daemon[812] (user fans)". */
std::string inWords(const host::Claimant& claimant)
{
    return readProcessName(static_cast<pid_t>(claimant.process.pid)) +
           " (user " + readUserName(claimant.user) + ")";
}

} // namespace

CacheState probeCache()
{
    CacheState state;
    try
    {
        state.folder = host::dataCacheFolder();
        std::error_code forbidden;
        // A folder above it may keep this user out.
        state.there = fs::exists(state.folder, forbidden) || forbidden;
        const host::CacheUse use = host::cacheUse(state.folder);
        state.usable = use != host::CacheUse::forbidden;
        state.inUse = use == host::CacheUse::open;
    }
    catch (const std::exception& e)
    {
        state.failure = e.what();
    }
    if (const auto filesystem = readFilesystem(state.folder))
    {
        state.freeBytes = countFreeBytes(*filesystem);
        state.lacksFiles = lacksFiles(*filesystem);
    }
    if (state.inUse)
    {
        state.space = host::measureCache();
    }
    return state;
}

std::set<std::string> probeNodes()
{
    std::set<std::string> keys;
    host::RecordOwners owners;
    if (host::listNodeOwners(owners) == 0)
    {
        for (const auto& [key, owner] : owners)
        {
            keys.insert(key);
        }
    }
    return keys;
}

std::vector<LostComponent> probeLostMonitors()
{
    std::map<std::string, FaultEntry_gen> entries;
    DataAbstraction::FaultEntry::get_map_by_path_prefixes({}, {}, entries);
    std::vector<LostComponent> lost;
    for (const auto& [path, entry] : entries)
    {
        const auto& args = entry.args();
        if (entry.messageID() == host::monitorLostMessage && args.size() >= 2)
        {
            lost.push_back({.key = getComponent(path),
                            .process = args[0] + "[" + args[1] + "]"});
        }
    }
    return lost;
}

Findings probeSharedKeys()
{
    host::ClaimedKeys claimed;
    if (host::listClaimedKeys(claimed) != 0)
    {
        return {};
    }
    std::vector<SharedKey> shared;
    for (const host::ClaimedKey& claim : claimed.keys)
    {
        SharedKey& key =
            shared.emplace_back(SharedKey{.key = claim.key, .holders = {}});
        for (const host::Claimant& claimant : claim.claimants)
        {
            key.holders.push_back(inWords(claimant));
        }
    }
    return {sharedKeys(shared, claimed.count)};
}

StateFolder probeStateFolder(const KeptFolder& kept,
                             std::optional<uid_t> service)
{
    StateFolder state;
    state.kept = kept;
    try
    {
        state.folder =
            (kept.lasting ? host::stateDirectory() : host::runtimeDirectory()) /
            kept.name;
    }
    catch (const std::exception& e)
    {
        state.failure = e.what();
        return state;
    }
    state.nearest = nearestFolder(state.folder);
    const uid_t user = service.value_or(readOwner(state.nearest));
    state.user = readAccount(user).name;
    state.closedFolder = findClosedFolder(state.nearest, user);
    state.closedFile = findClosedFile(kept, state.folder, user);
    if (const auto filesystem = readFilesystem(state.nearest))
    {
        state.freeBytes = countFreeBytes(*filesystem);
        state.lacksFiles = lacksFiles(*filesystem);
        state.readOnly = isReadOnly(*filesystem, state.nearest);
        std::error_code ignored;
        state.writable = !state.readOnly &&
                         fs::is_directory(state.nearest, ignored) &&
                         modesGive(S_IWOTH | S_IXOTH, state.nearest, user);
    }
    return state;
}

LibraryState probeLibrary()
{
    Dl_info where{};
    // Any function of the library says where it is.
    const auto function =
        &health_namespace::FaultEntry::GetNumberOfHiddenVisibleFaults;
    LibraryState state{.version = HEALTHINTF_VERSION, .file = ""};
    if (dladdr(reinterpret_cast<const void*>(function), &where) != 0)
    {
        std::error_code error;
        const fs::path file = fs::canonical(where.dli_fname, error);
        state.file = error ? fs::path(where.dli_fname) : file;
    }
    return state;
}

} // namespace healthintf::healthctl
