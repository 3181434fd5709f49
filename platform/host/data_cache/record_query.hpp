// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Selects records of segments. */

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

/** A record that was read. The texts are valid only during the visit. */
struct ReadRecord
{
    RecordKind kind{};
    uint32_t live = 0;
    uint64_t created = 0;
    std::string_view path;
    std::string_view payload;
};

using VisitReadRecord = std::function<void(const ReadRecord& record)>;

/** Selects the records of a kind by the prefixes of their paths, or by one
 *  whole path. */
class RecordQuery
{
  public:
    /** @param[in] prefixes the prefixes of the paths; empty for all paths */
    static RecordQuery below(RecordKind kind,
                             const std::vector<std::string>& prefixes);

    /** @param[in] path the whole path */
    static RecordQuery exactly(RecordKind kind, std::string_view path);

    /** The hash of the path, for a query of one whole path. */
    std::optional<SlotHash> wantedHash() const
    {
        return hash;
    }

    /** Whether the path of a slot's record may match. */
    bool mayMatch(const Slot& slot) const
    {
        // Inline, because a query calls it for each slot.
        return common.mayBegin(slot.signature) &&
               (prefixes.size() < 2 ||
                std::ranges::any_of(prefixes, [&slot](const Wanted& wanted) {
                    return wanted.signature.mayBegin(slot.signature);
                }));
    }

    /** Whether a record matches. */
    bool matches(const ReadRecord& record) const;

    /** The kind of the records. */
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
    /** The common bits of the signatures of all prefixes. */
    PathSignature common;
    /** See wantedHash(). */
    std::optional<SlotHash> hash;
};

/** How much of the records a query has read. */
struct Coverage
{
    /** Whether all matching records were read. */
    bool complete = true;
    /** Whether there is any record of the kind. */
    bool anyOfKind = false;
};

} // namespace healthintf::host
