#include "record_query.hpp"

#include <algorithm>

namespace healthintf::host
{

RecordQuery RecordQuery::below(RecordKind kind,
                               const std::vector<std::string>& prefixes)
{
    RecordQuery query(kind);
    for (const std::string& prefix : prefixes)
    {
        query.prefixes.push_back({prefix, PathSignature(prefix)});
    }
    return query;
}

RecordQuery RecordQuery::exactly(RecordKind kind, std::string_view path)
{
    RecordQuery query(kind);
    query.prefixes.push_back({path, PathSignature(path)});
    query.hash = slotHashOf(path);
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
