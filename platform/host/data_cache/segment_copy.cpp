// SPDX-License-Identifier: Apache-2.0
#include "segment_copy.hpp"

#include <algorithm>

namespace healthintf::host
{

void SegmentCopy::add(const ReadRecord& record)
{
    records.push_back(
        {.created = record.created,
         .live = record.live,
         .kind = record.kind,
         .begin = static_cast<uint32_t>(texts.size()),
         .pathSize = static_cast<uint32_t>(record.path.size()),
         .payloadSize = static_cast<uint32_t>(record.payload.size())});
    texts.append(record.path).append(record.payload);
}

void SegmentCopy::close()
{
    std::ranges::sort(records, {}, [this](const Copied& record) {
        return readPath(record);
    });
    whole = true;
}

Coverage SegmentCopy::read(const RecordQuery& query,
                           const VisitReadRecord& visit) const
{
    Coverage coverage;
    for (const Copied& each : records)
    {
        if (each.kind != query.recordKind())
        {
            continue;
        }
        coverage.anyOfKind = true;
        const std::string_view path = readPath(each);
        const ReadRecord record{.kind = each.kind,
                                .live = each.live,
                                .created = each.created,
                                .path = path,
                                .payload = {path.end(), each.payloadSize}};
        if (query.matches(record))
        {
            visit(record);
        }
    }
    return coverage;
}

} // namespace healthintf::host
