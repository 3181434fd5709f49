#pragma once

/** @file Asks for records of segments. */

#include "segment_format.hpp"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** A record as it was read; the texts are valid during a visit. */
struct ReadRecord
{
    RecordKind kind{};
    uint32_t live = 0;
    uint64_t created = 0;
    std::string_view path;
    std::string_view payload;
};

using VisitReadRecord = std::function<void(const ReadRecord& record)>;

/** Which records are wanted: those of a kind whose paths begin with any of some
 *  texts, or whose path is one. */
class RecordQuery
{
  public:
    /** @param[in] prefixes what the paths begin with; empty for all */
    static RecordQuery below(RecordKind kind,
                             const std::vector<std::string>& prefixes);

    /** @param[in] path the whole path */
    static RecordQuery exactly(RecordKind kind, std::string_view path);

    /** The hash of the path when one whole path is wanted. */
    std::optional<SlotHash> wantedHash() const
    {
        return hash;
    }

    /** Whether the path of a slot's record may be wanted. */
    bool mayMatch(const Slot& slot) const
    {
        // Inline, as a query asks this of each slot.
        return common.mayBegin(slot.signature) &&
               (prefixes.size() < 2 ||
                std::ranges::any_of(prefixes, [&slot](const Wanted& wanted) {
                    return wanted.signature.mayBegin(slot.signature);
                }));
    }

    /** Whether a record is wanted. */
    bool matches(const ReadRecord& record) const;

    /** The kind that is wanted. */
    RecordKind recordKind() const
    {
        return kind;
    }

  private:
    struct Wanted
    {
        std::string_view text;
        PathSignature signature;
    };

    RecordQuery(RecordKind kind, std::vector<Wanted> wanted);

    RecordKind kind;
    std::vector<Wanted> prefixes;
    /** What the signatures of all prefixes have in common. */
    PathSignature common;
    /** See wantedHash(). */
    std::optional<SlotHash> hash;
};

/** What was looked at for a query. */
struct Coverage
{
    /** Whether it was all that is wanted. */
    bool complete = true;
    /** Whether there was any record of the kind. */
    bool anyOfKind = false;
};

} // namespace healthintf::host
