#pragma once

/** @file The mirror of the System Event Log, from which everybody reads the
 *  log's entries. The log manager writes it, in a folder that only its user can
 *  write, and it stays when the log manager ends: what it mirrors lasts. */

#include <platform/api.h>
#include <platform/data_abstraction/sel.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace healthintf::host
{

class Segment;

/** Writes the mirror of the System Event Log. Every failure becomes a number
 *  and, when it is another one than the last, one line in the log. */
class PLATFORM_API SelMirror
{
  public:
    SelMirror();
    ~SelMirror();
    SelMirror(const SelMirror&) = delete;
    SelMirror& operator=(const SelMirror&) = delete;

    /** Takes one entry with its sequence number, which gives it its place in
     *  the log: identifiers begin again with 1. */
    using Sink =
        std::function<void(uint64_t sequence, const SELEntryProperties& entry)>;

    /** Puts other entries in the place of all that are there, at once for
     *  readers.
     *
     *  @param[in] tellAll hands each of them to the sink
     *  @return 0, or the number of the failure; nothing is changed then */
    int replace(const std::function<void(const Sink& put)>& tellAll);

    /** Whether readers still find what replace() has made: somebody may have
     *  removed it. */
    bool isInPlace() const;

    /** How much space the mirror has, in bytes. */
    std::size_t size() const;

    /** Whether entries take less than a quarter of that space: what entries of
     *  other sizes have left is not used for all. replace() gives it back. */
    bool isMostlyFree() const;

    /** Adds an entry and removes others. replace() must have succeeded before,
     *  and the mirror be in place.
     *
     *  @param[in] removed identifiers of the entries that go, as far as they
     *             are there
     *  @return 0, or the number of the failure; nothing is changed then */
    int add(uint64_t sequence, const SELEntryProperties& entry,
            const std::vector<uint16_t>& removed = {});

  private:
    std::unique_ptr<Segment> segment;
};

/** Reads the mirror.
 *
 *  @param[out] entries what it holds, in the order of the log; none without a
 *              mirror
 *  @return a DataAbstraction::ReadResult, or the number of the failure */
PLATFORM_API long readSelMirror(std::vector<SELEntryProperties>& entries);

} // namespace healthintf::host
