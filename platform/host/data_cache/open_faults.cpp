// SPDX-License-Identifier: Apache-2.0
#include "open_faults.hpp"

#include "../directories.hpp"
#include "../printable.hpp"
#include "data_cache.hpp"
#include "fault_entry_codec.hpp"
#include "segment_folder.hpp"

#include <systemd/sd-bus.h>

#include <stdexcept>
#include <utility>

namespace healthintf::host
{
namespace
{

/** Adds a fault entry, unless its bytes are damaged or nobody could be told of
 *  it. */
void addFault(const ReadRecord& record,
              std::map<std::string, OpenFault>& faults)
{
    std::string path(record.path);
    if (sd_bus_object_path_is_valid(path.c_str()) <= 0)
    {
        return;
    }
    try
    {
        faults.insert_or_assign(
            std::move(path),
            OpenFault{.properties =
                          decodeFaultEntry(record.payload, record.live),
                      .made = std::chrono::nanoseconds(record.created)});
    }
    catch (const std::out_of_range&)
    {
        // Every query of fault entries logs it.
    }
}

Reporter readReporter(const SegmentReader& segment, ReadingBudget& budget)
{
    Reporter reporter{.process = segment.owner(),
                      .name = printable(segment.processName()),
                      .user = segment.user(),
                      .isPlaceholder = segment.hasPlaceholders(),
                      .nodes = {},
                      .faults = {}};
    segment.read(RecordQuery::below(RecordKind::healthStatus, {}), budget,
                 [&reporter](const ReadRecord& record) {
                     reporter.nodes.emplace(record.path);
                 });
    segment.read(RecordQuery::below(RecordKind::faultEntry, {}), budget,
                 [&reporter](const ReadRecord& record) {
                     addFault(record, reporter.faults);
                 });
    return reporter;
}

} // namespace

int OpenFaults::refresh()
{
    return useCache([this] {
        std::map<ino_t, Reporter> found;
        std::map<ino_t, uint64_t> read;
        std::map<uid_t, ReadingBudget> budgets;
        forEachLivingSegment(
            dataCacheFolder(), [&](const SegmentReader& segment) {
                const ino_t inode = segment.inode();
                const auto before = known.find(inode);
                const bool same = before != known.end() &&
                                  generations[inode] == segment.generation() &&
                                  before->second.process == segment.owner();
                read[inode] = segment.generation();
                found[inode] =
                    same ? std::move(before->second)
                         : readReporter(segment, budgets[segment.user()]);
            });
        known = std::move(found);
        generations = std::move(read);
        return 0;
    });
}

} // namespace healthintf::host
