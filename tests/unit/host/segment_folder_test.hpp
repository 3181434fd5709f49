// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The fixture of tests that read a folder of segments. */

#include "child.hpp"
#include "child_identity.hpp"
#include "data_cache/own_records.hpp"
#include "data_cache/segment_folder.hpp"
#include "segment_bytes.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <unistd.h>

#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace healthintf::test
{

class SegmentFolderTest : public testing::Test
{
  protected:
    /** Payloads by path. */
    using Map = std::map<std::string, std::string>;

    static constexpr auto fault = host::RecordKind::faultEntry;
    static constexpr auto health = host::RecordKind::healthStatus;
    static constexpr std::size_t capacity = 1UL << 20;

    /** A running process that owns these records and has reported its identity.
     */
    std::unique_ptr<Child> telling(const Map& records,
                                   bool placeholders = false) const
    {
        auto child = std::make_unique<Child>([&](const Child::Parent& parent) {
            host::OwnRecords own(cache, capacity);
            if (placeholders)
            {
                own.makePlaceholders();
            }
            for (const auto& [path, payload] : records)
            {
                own.put({.kind = fault, .path = path, .payload = payload});
            }
            sendIdentity(parent);
            Child::Parent::waitForever();
            return 0;
        });
        return child;
    }

    /** A running process that owns these records. */
    std::unique_ptr<Child> owner(const Map& records,
                                 bool placeholders = false) const
    {
        auto child = telling(records, placeholders);
        child->hear();
        return child;
    }

    /** The bytes of a segment with one record. */
    std::string bytesWith(const std::string& path,
                          const std::string& payload = "x") const
    {
        return segmentBytes(folder.path(), [&](host::Segment& segment) {
            segment.add({.kind = fault, .path = path, .payload = payload});
            segment.add({.kind = health, .path = path, .payload = {}});
        });
    }

    std::filesystem::path write(const std::string& name,
                                const std::string& bytes) const
    {
        return folder.write("cache/" + name, bytes);
    }

    /** Writes a file into the folder, locked as by its owner. */
    HeldFile hold(const std::string& name, const std::string& bytes) const
    {
        return HeldFile(write(name, bytes));
    }

    static bool keep(Map& found, const host::ReadRecord& each, bool replace)
    {
        const auto [at, isNew] = found.try_emplace(std::string(each.path));
        if (!isNew && !replace)
        {
            return false;
        }
        at->second = each.payload;
        return true;
    }

    Map read(const host::RecordQuery& query =
                 host::RecordQuery::below(fault, {})) const
    {
        Map found;
        host::readLivingRecords(cache, query,
                                [&found](const host::ReadRecord& each,
                                         const host::ProcessIdentity&,
                                         bool replace) {
                                    return keep(found, each, replace);
                                });
        return found;
    }

    std::size_t livingSegments() const
    {
        std::size_t count = 0;
        host::forEachLivingSegment(cache, [&count](const host::SegmentReader&) {
            ++count;
        });
        return count;
    }

    /** The names of the files whose processes are dead. */
    std::set<std::string> deadNames() const
    {
        std::set<std::string> names;
        for (const host::DeadSegment& dead : host::findDeadSegments(cache))
        {
            names.insert(dead.name);
        }
        return names;
    }

    /** Limits this process to @p count further open files. */
    static void leaveFiles(rlim_t count)
    {
        const int next = dup(STDIN_FILENO);
        close(next);
        const rlim_t most = static_cast<rlim_t>(next) + count;
        const rlimit few{most, most};
        setrlimit(RLIMIT_NOFILE, &few);
    }

    TemporaryFolder folder;
    std::filesystem::path cache = folder.path() / "cache";
};

} // namespace healthintf::test
