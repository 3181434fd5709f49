// SPDX-License-Identifier: Apache-2.0
#include "file_findings.hpp"

namespace healthintf::healthctl
{
namespace
{

constexpr uint64_t mebibyte = 1UL << 20;
/** By how much the files of the data cache grow at once. */
constexpr uint64_t growthOfCache = 2 * mebibyte;

/** A size in the unit that leaves few digits. */
std::string sizeText(uint64_t bytes)
{
    constexpr uint64_t kibibyte = 1UL << 10;
    return bytes < mebibyte ? std::to_string(bytes / kibibyte) + " KiB"
                            : std::to_string(bytes / mebibyte) + " MiB";
}

std::string shortage(const std::filesystem::path& folder, uint64_t freeBytes)
{
    return "the filesystem of " + folder.string() + " has only " +
           sizeText(freeBytes) + " left";
}

std::string describeLackOfFiles(const std::filesystem::path& folder)
{
    return "the filesystem of " + folder.string() +
           " holds as many files as it can";
}

Finding makeSpaceFinding(const host::CacheSpace& space)
{
    const bool near = isNear(space.fullestUsedBytes, space.fullestCapacity);
    return {.check = "cache.space",
            .grade = near ? Grade::warning : Grade::ok,
            .text =
                std::to_string(space.segments) +
                (space.segments == 1 ? " process has " : " processes have ") +
                sizeText(space.usedBytes) +
                " of records in the data cache; the fullest, process " +
                std::to_string(space.fullest.pid) + ", uses " +
                sizeText(space.fullestUsedBytes) + " of " +
                sizeText(space.fullestCapacity),
            .remedy = near ? "look why process " +
                                 std::to_string(space.fullest.pid) +
                                 " has so many faults, or raise "
                                 "HEALTHINTF_CACHE_MIB for it and restart it"
                           : ""};
}

/** The finding about the folder itself. */
Finding makeFolderFinding(const CacheState& cache)
{
    const std::string folder = cache.folder.string();
    if (!cache.failure.empty())
    {
        return {.check = "cache.folder",
                .grade = Grade::problem,
                .text = cache.failure,
                .remedy = "set HEALTHINTF_RUNTIME_DIR as the daemons have it"};
    }
    if (!cache.there)
    {
        return {.check = "cache.folder",
                .grade = Grade::warning,
                .text = "there is no data cache in " + folder,
                .remedy = "start healthmgr; or set HEALTHINTF_RUNTIME_DIR as "
                          "the daemons have it"};
    }
    if (!cache.usable)
    {
        return {.check = "cache.folder",
                .grade = Grade::warning,
                .text = "this user may not read " + folder +
                        "; healthctl asks the bus instead",
                .remedy =
                    "let everybody read that folder, mode 1775, and enter "
                    "those above it"};
    }
    return {.check = "cache.folder",
            .grade = Grade::ok,
            .text = "the data cache is in " + folder,
            .remedy = ""};
}

/** Who keeps what in a folder. */
std::string keeps(const KeptFolder& kept)
{
    return std::string(kept.service) + " keeps " + kept.content;
}

/** How to save a folder's content first, as a remedy continues.
 *
 *  @param[in] why why that is needed, behind it */
std::string rescueOf(const KeptFolder& kept, const std::string& why)
{
    const std::string rescue = kept.rescue;
    return rescue.empty()
               ? ""
               : "; " + rescue + ", if " + kept.service + " runs" + why;
}

} // namespace

Findings makeFindings(const CacheState& cache)
{
    Findings findings{makeFolderFinding(cache)};
    if (findings.front().grade != Grade::ok)
    {
        return findings;
    }
    if (!cache.inUse)
    {
        findings.push_back({.check = "cache.users",
                            .grade = Grade::warning,
                            .text = "no process has records in the data cache",
                            .remedy = "start healthmgr and the daemons"});
    }
    else if (!cache.space)
    {
        findings.push_back({.check = "cache.users",
                            .grade = Grade::problem,
                            .text = "the data cache cannot be read",
                            .remedy = "run with HEALTHINTF_LOG_LEVEL=1, which "
                                      "says why"});
    }
    else
    {
        findings.push_back(makeSpaceFinding(*cache.space));
    }
    if (cache.freeBytes < growthOfCache)
    {
        findings.push_back({.check = "cache.filesystem",
                            .grade = Grade::warning,
                            .text = shortage(cache.folder, cache.freeBytes),
                            .remedy = "free some space there, or set "
                                      "HEALTHINTF_RUNTIME_DIR to another "
                                      "folder"});
    }
    if (cache.lacksFiles)
    {
        findings.push_back({.check = "cache.filesystem",
                            .grade = Grade::warning,
                            .text = describeLackOfFiles(cache.folder),
                            .remedy = "remove some files there: a process "
                                      "needs one before its first record"});
    }
    return findings;
}

Finding makeFinding(const StateFolder& state)
{
    const KeptFolder& kept = state.kept;
    const std::string service = kept.service;
    const std::string variable =
        kept.lasting ? "HEALTHINTF_STATE_DIR" : "HEALTHINTF_RUNTIME_DIR";
    const std::string otherwise = ", or set " + variable + " to another folder";
    Finding finding{.check = kept.check,
                    .grade = Grade::problem,
                    .text = state.failure,
                    .remedy = "set " + variable + " as " + service + " has it"};
    if (!state.failure.empty())
    {
        return finding;
    }
    if (!state.closedFolder.empty())
    {
        finding.text = state.user + " may not enter " +
                       state.closedFolder.string() + ", below which " +
                       keeps(kept);
        finding.remedy = "let " + state.user + " enter it" + otherwise;
    }
    else if (state.readOnly)
    {
        finding.text = "the filesystem of " + state.nearest.string() +
                       ", where " + keeps(kept) + ", takes no changes";
        finding.remedy = "see in the kernel's log whether it failed, and mount "
                         "it anew" +
                         rescueOf(kept, "");
    }
    else if (!state.writable)
    {
        finding.text = state.user + " may not write in " +
                       state.nearest.string() + ", where " + keeps(kept);
        finding.remedy = "let " + state.user + " write there" + otherwise;
        if (state.nearest != state.folder)
        {
            finding.remedy += rescueOf(
                kept, ": a restart loses it, since its folder is gone");
        }
    }
    else if (!state.closedFile.empty())
    {
        const std::string file = state.closedFile.string();
        finding.text = state.user + " may not read " +
                       (kept.replacing ? "" : "and write ") + file +
                       ", which " + service + " needs";
        finding.remedy = "give the file to " + state.user + ": chown " +
                         state.user + " " + file;
    }
    else if (state.freeBytes < kept.growth)
    {
        finding.grade = Grade::warning;
        finding.text = shortage(state.nearest, state.freeBytes);
        finding.remedy = "free some space there";
    }
    else if (state.lacksFiles)
    {
        finding.grade = Grade::warning;
        finding.text = describeLackOfFiles(state.nearest);
        finding.remedy =
            "remove some files there: " + service + " may have to make some";
    }
    else
    {
        finding.grade = Grade::ok;
        finding.text = state.user + " may write in " + state.nearest.string();
        finding.remedy.clear();
    }
    return finding;
}

Finding makeFinding(const LibraryState& library)
{
    return {.check = "library",
            .grade = Grade::ok,
            .text = "healthctl " + library.version + " with " +
                    library.file.string(),
            .remedy = ""};
}

Findings makeFindings(const std::string& check, const std::string& what,
                      const std::string& variable,
                      const host::InstalledFiles& files)
{
    std::string folders;
    for (const std::filesystem::path& folder : files.folders)
    {
        folders += (folders.empty() ? "" : ", ") + folder.string();
    }
    Findings findings;
    if (files.usable == 0)
    {
        findings.push_back(
            {.check = check,
             .grade = Grade::problem,
             .text = "there is no " + what + " in " + folders,
             .remedy = "install it, or set " + variable + " to its folder"});
    }
    else
    {
        findings.push_back({.check = check,
                            .grade = Grade::ok,
                            .text = std::to_string(files.usable) +
                                    (files.usable == 1 ? " file" : " files") +
                                    " of the " + what + " in " + folders,
                            .remedy = ""});
    }
    for (const std::string& problem : files.problems)
    {
        findings.push_back({.check = check,
                            .grade = Grade::warning,
                            .text = problem,
                            .remedy = "mend the file, and restart the "
                                      "daemons"});
    }
    return findings;
}

} // namespace healthintf::healthctl
