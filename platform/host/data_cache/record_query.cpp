// SPDX-License-Identifier: Apache-2.0
#include "record_query.hpp"

#include <algorithm>
#include <utility>

namespace healthintf::host
{

RecordQuery::RecordQuery(RecordKind kind, std::vector<Wanted> wanted) :
    kind(kind), prefixes(std::move(wanted)),
    common(prefixes.empty() ? PathSignature({}) : prefixes.front().signature)
{
    for (const auto& [text, signature] : prefixes)
    {
        common.mask &= signature.mask & ~(common.bits ^ signature.bits);
    }
}

RecordQuery RecordQuery::below(RecordKind kind,
                               const std::vector<std::string>& prefixes)
{
    std::vector<Wanted> wanted;
    wanted.reserve(prefixes.size());
    for (const std::string& prefix : prefixes)
    {
        wanted.push_back({prefix, PathSignature(prefix)});
    }
    return {kind, std::move(wanted)};
}

RecordQuery RecordQuery::exactly(RecordKind kind, std::string_view path)
{
    RecordQuery query(kind, {{path, PathSignature(path)}});
    query.hash = slotHash(path);
    return query;
}

bool RecordQuery::matches(const ReadRecord& record) const
{
    const auto isWanted = [&](const Wanted& wanted) {
        return hash ? record.path == wanted.text
                    : record.path.starts_with(wanted.text);
    };
    return record.kind == kind &&
           (prefixes.empty() || std::ranges::any_of(prefixes, isWanted));
}

} // namespace healthintf::host
