// SPDX-License-Identifier: Apache-2.0
#include "segment_folder.hpp"

#include "../failure_log.hpp"
#include "../host_log.hpp"
#include "../line_limit.hpp"
#include "../storage/shortage.hpp"
#include "fault_entry_codec.hpp"
#include "kept_segments.hpp"
#include "living_owner.hpp"

#include <sys/stat.h>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <map>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

/** The limits on files that are opened in a folder: first a number of files of
 *  any user, then a number for each user. So no user can make so many files
 *  that those of others are not opened. Opening one takes some microseconds. */
struct OpeningBudget
{
    std::size_t anyUser;
    std::size_t eachUser;
};

constexpr OpeningBudget openedByReaders{.anyUser = 2048, .eachUser = 1024};
/** More files, so that healthmgr finds all segments when many daemons die at
 *  once. */
constexpr OpeningBudget openedForRemoval{.anyUser = 65536, .eachUser = 4096};

/** Iterates over the entries of a folder that are not folders. Unlike opendir()
 *  it allocates no memory: such a large block would make the allocator merge
 *  its free blocks at each query. */
class FolderEntries
{
  public:
    /** @throws std::system_error when the folder exists and cannot be read */
    // NOLINTNEXTLINE(*-member-init): see entries
    explicit FolderEntries(const fs::path& path) :
        name(path.string()),
        folder(
            open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC))
    {
        if (folder.get() < 0 && errno != ENOENT)
        {
            fail();
        }
    }

    int descriptor() const
    {
        return folder.get();
    }

    /** @return the next file, valid until the next call; null at the end */
    const dirent64* next()
    {
        while (at != end || readMore())
        {
            const void* next = &entries.at(at);
            const auto* entry = static_cast<const dirent64*>(next);
            at += entry->d_reclen;
            if (entry->d_type != DT_DIR)
            {
                return entry;
            }
        }
        return nullptr;
    }

  private:
    [[noreturn]] void fail() const
    {
        throw std::system_error(errno, std::generic_category(), name);
    }

    bool readMore()
    {
        if (folder.get() < 0)
        {
            return false;
        }
        const ssize_t size =
            getdents64(folder.get(), entries.data(), entries.size());
        if (size < 0)
        {
            fail();
        }
        at = 0;
        end = static_cast<std::size_t>(size);
        return size > 0;
    }

    std::string name;
    FileDescriptor folder;
    // Not initialised: only the bytes that were written are read.
    alignas(dirent64) std::array<char, 8192> entries;
    std::size_t at = 0;
    std::size_t end = 0;
};

/** Decides which files are opened, by an OpeningBudget. */
class Openings
{
  public:
    Openings(int folder, OpeningBudget budget) : folder(folder), budget(budget)
    {}

    bool admit(const char* name)
    {
        if (budget.anyUser > 0)
        {
            --budget.anyUser;
            return true;
        }
        struct stat status
        {};
        if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0)
        {
            return false;
        }
        std::size_t& left =
            users.try_emplace(status.st_uid, budget.eachUser).first->second;
        return left > 0 && left-- > 0;
    }

  private:
    int folder;
    OpeningBudget budget;
    std::map<uid_t, std::size_t> users;
};

/** Logs that not all records of a user are read, unless the last line was about
 *  the same user. */
void logTooMuch(uid_t user)
{
    static constinit FailureLog users;
    if (users.admits(static_cast<int>(user) + 1))
    {
        HOST_LOG(log::warning,
                 "%s.%d.%s: user %u keeps more in the data cache than is read "
                 "of one user: the rest is left out",
                 static_cast<unsigned int>(user));
    }
}

/** How much may still be read of each user. */
class Budgets
{
  public:
    ReadingBudget& of(uid_t user)
    {
        return budgets[user];
    }

    /** Counts one segment of a user.
     *
     *  @return whether it may be read */
    bool takeSegment(uid_t user)
    {
        std::size_t& left = of(user).segments;
        if (left == 0)
        {
            logTooMuch(user);
            return false;
        }
        --left;
        return true;
    }

  private:
    std::map<uid_t, ReadingBudget> budgets;
};

/** Whether a name is not a segment's: a file that is being made, or the folder
 *  itself. */
bool isHidden(const char* name)
{
    return *name == '.';
}

/** Whether an entry may be a regular file; some filesystems do not tell the
 *  type. */
bool mayBeRegular(const dirent64& entry)
{
    return entry.d_type == DT_REG || entry.d_type == DT_UNKNOWN;
}

/** Opens a segment. If too many files are open, closes the kept segments first.
 *
 *  @return nothing when the file is not a segment
 *  @throws std::system_error when this process may open no more files */
std::optional<SegmentReader> openSegment(int folder, const char* name,
                                         KeptSegments& kept)
{
    errno = 0;
    auto segment = SegmentReader::open(folder, name);
    if (segment || !isShortage(errno))
    {
        return segment;
    }
    kept.giveUp();
    errno = 0;
    segment = SegmentReader::open(folder, name);
    if (!segment && isShortage(errno))
    {
        throw std::system_error(errno, std::generic_category(), name);
    }
    return segment;
}

/** Lists a folder and visits the segments of living processes within the
 *  budgets of their users, each once even if it has several names. Keeps them
 *  open. */
void listLiving(const fs::path& folder, KeptSegments& kept, Budgets& budgets,
                const std::function<void(const SegmentReader&)>& visit)
{
    kept.forget();
    FolderEntries names(folder);
    kept.beginListing(folder);
    Openings openings(names.descriptor(), openedByReaders);
    std::set<ino_t> opened;
    while (const dirent64* entry = names.next())
    {
        const char* name = static_cast<const char*>(entry->d_name);
        if (isHidden(name) || !mayBeRegular(*entry) ||
            opened.contains(entry->d_ino) || !openings.admit(name))
        {
            continue;
        }
        opened.insert(entry->d_ino);
        auto segment = openSegment(names.descriptor(), name, kept);
        if (segment && segment->isOwned() &&
            budgets.takeSegment(segment->user()))
        {
            visit(*segment);
            kept.add(std::move(*segment));
        }
    }
    kept.endListing();
}

/** Visits the segments of living processes. They are still open from the last
 *  query if no file was added to the folder or removed. */
void forEachLiving(const fs::path& folder, Budgets& budgets,
                   const std::function<void(const SegmentReader&)>& visit)
{
    LentSegments lent;
    KeptSegments& kept = lent.get();
    if (!kept.belongTo(folder))
    {
        listLiving(folder, kept, budgets, visit);
        return;
    }
    std::size_t room = KeptSegments::roomForCopies;
    for (SegmentReader& segment : kept.all())
    {
        if (segment.isOwned() && segment.refresh(room) &&
            budgets.takeSegment(segment.user()))
        {
            visit(segment);
        }
    }
}

/** Whether a file that cannot be read as a segment certainly belongs to no
 *  living process. It may be a segment of another version, or this process may
 *  have no file descriptor left. */
bool isWithoutOwner(int folder, const char* name)
{
    struct stat status
    {};
    if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        S_ISDIR(status.st_mode))
    {
        return false;
    }
    if (!S_ISREG(status.st_mode))
    {
        return true;
    }
    const FileDescriptor file(
        openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    // A file without read permission cannot be used as a segment.
    return file.get() < 0 ? errno == EACCES : !isOwnerAlive(file.get());
}

/** Whether a file under a hidden name is so old that its process must have
 *  ended before it published the file. */
bool isUnfinishedLeftover(int folder, const char* name)
{
    constexpr time_t longEnough = 60;
    struct stat status
    {};
    return fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           status.st_mtime + longEnough < time(nullptr) &&
           isWithoutOwner(folder, name);
}

/** Of several records of one path, the one with the highest rank is valid. */
using Rank = std::pair<bool, uint64_t>;

Rank recordRank(const SegmentReader& segment, const ReadRecord& record)
{
    return {!segment.hasPlaceholders(), record.created};
}

/** Logs a record with an invalid payload. */
void logInvalidRecord(const ReadRecord& record, const char* why)
{
    static constinit LineLimit lines;
    if (lines.admits())
    {
        HOST_LOG(log::warning, "%s.%d.%s: the record of %s was left out: %s",
                 std::string(record.path).c_str(), why);
    }
}

using VisitOwnedRecord =
    std::function<void(const SegmentReader& owner, const ReadRecord& record)>;

/** Visits the matching records of all living processes.
 *
 *  @return whether there is any record of the kind, matching or not */
bool forEachRecord(const fs::path& folder, const RecordQuery& query,
                   const VisitOwnedRecord& visit)
{
    bool any = false;
    Budgets budgets;
    forEachLiving(folder, budgets, [&](const SegmentReader& segment) {
        const auto [complete, anyOfKind] = segment.read(
            query, budgets.of(segment.user()), [&](const ReadRecord& record) {
                visit(segment, record);
            });
        any |= anyOfKind;
        if (!complete)
        {
            logTooMuch(segment.user());
        }
    });
    return any;
}

/** Passes a record to @p keep; leaves out an invalid one.
 *
 *  @return false when another record of the same path was kept before */
bool keepIfValid(const KeepRecord& keep, const ReadRecord& record,
                 const ProcessIdentity& owner, bool replace)
{
    try
    {
        return keep(record, owner, replace);
    }
    catch (const std::out_of_range& e)
    {
        logInvalidRecord(record, e.what());
        return true;
    }
}

/** Reads the records of contested paths again and keeps them in the order of
 *  their ranks, so that the last one kept has the highest rank. */
void keepByRank(const fs::path& folder, const RecordQuery& query,
                const std::set<std::string, std::less<>>& contested,
                const KeepRecord& keep)
{
    struct Claim
    {
        Rank rank;
        ProcessIdentity owner;
        ReadRecord record;
        std::string path;
        std::string payload;
    };
    std::vector<Claim> claims;
    forEachRecord(folder, query,
                  [&](const SegmentReader& segment, const ReadRecord& record) {
                      if (contested.contains(record.path))
                      {
                          claims.push_back(
                              {.rank = recordRank(segment, record),
                               .owner = segment.owner(),
                               .record = record,
                               .path = std::string(record.path),
                               .payload = std::string(record.payload)});
                      }
                  });
    std::ranges::sort(claims, {}, &Claim::rank);
    for (Claim& each : claims)
    {
        each.record.path = each.path;
        each.record.payload = each.payload;
        keepIfValid(keep, each.record, each.owner, true);
    }
}

/** Counts a fault entry for its node. */
void countFault(const ReadRecord& record,
                const std::map<std::string_view, DeadNode*>& nodes)
{
    // An entry is an object below its node.
    const auto found =
        nodes.find(record.path.substr(0, record.path.rfind("/entry/")));
    if (found == nodes.end())
    {
        return;
    }
    DeadNode& node = *found->second;
    ++node.faults;
    try
    {
        const auto fault = decodeFaultEntry(record.payload, record.live);
        if (!fault.hidden)
        {
            node.worst = std::max(node.worst, fault.severity);
        }
    }
    catch (const std::out_of_range& e)
    {
        logInvalidRecord(record, e.what());
    }
}

/** Reads the segment of a dead process. */
void readDead(DeadSegment& dead, const SegmentReader& segment,
              ReadingBudget& budget)
{
    dead.owner = segment.owner();
    dead.process = segment.processName();
    dead.user = segment.user();
    dead.isPlaceholder = segment.hasPlaceholders();
    segment.read(RecordQuery::below(RecordKind::healthStatus, {}), budget,
                 [&dead](const ReadRecord& record) {
                     dead.nodes.push_back({.path = std::string(record.path)});
                 });
    std::map<std::string_view, DeadNode*> nodes;
    for (DeadNode& node : dead.nodes)
    {
        nodes.emplace(node.path, &node);
    }
    segment.read(RecordQuery::below(RecordKind::faultEntry, {}), budget,
                 [&nodes](const ReadRecord& record) {
                     countFault(record, nodes);
                 });
}

} // namespace

void forEachLivingSegment(
    const fs::path& folder,
    const std::function<void(const SegmentReader&)>& visit)
{
    Budgets budgets;
    forEachLiving(folder, budgets, visit);
}

bool readLivingRecords(const fs::path& folder, const RecordQuery& query,
                       const KeepRecord& keep)
{
    std::set<std::string, std::less<>> contested;
    const bool any = forEachRecord(
        folder, query,
        [&](const SegmentReader& segment, const ReadRecord& record) {
            if (!keepIfValid(keep, record, segment.owner(), false))
            {
                contested.emplace(record.path);
            }
        });
    if (!contested.empty())
    {
        keepByRank(folder, query, contested, keep);
    }
    return any;
}

std::vector<DeadSegment> findDeadSegments(const fs::path& folder)
{
    std::vector<DeadSegment> dead;
    Budgets budgets;
    FolderEntries names(folder);
    Openings openings(names.descriptor(), openedForRemoval);
    std::set<ino_t> owned;
    while (const dirent64* entry = names.next())
    {
        const char* name = static_cast<const char*>(entry->d_name);
        if (owned.contains(entry->d_ino) || !openings.admit(name))
        {
            continue;
        }
        if (isHidden(name))
        {
            if (isUnfinishedLeftover(names.descriptor(), name))
            {
                dead.emplace_back().name = name;
            }
            continue;
        }
        const auto segment = SegmentReader::open(names.descriptor(), name);
        if (segment ? segment->isOwned()
                    : !isWithoutOwner(names.descriptor(), name))
        {
            owned.insert(entry->d_ino);
            continue;
        }
        DeadSegment& found = dead.emplace_back();
        found.name = name;
        if (segment)
        {
            readDead(found, *segment, budgets.of(segment->user()));
        }
    }
    return dead;
}

bool removeSegment(const fs::path& folder, const std::string& name) noexcept
{
    return unlink((folder / name).c_str()) == 0 || errno == ENOENT;
}

} // namespace healthintf::host
