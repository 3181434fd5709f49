// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Readings of a source that may block. */

#include "source.hpp"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace healthintf::hostmon
{

/** The result of reading a source: a value, or why there is none, as a
 *  printable text. */
struct Reading
{
    std::optional<double> value;
    std::string failure;
};

/** How many abandoned threads there may be before no new reader is made. */
inline constexpr std::size_t maxAbandonedThreads = 16;

/** How many threads are still in a read although their reader is destroyed. */
std::size_t countAbandonedThreads();

/** Reads one source on a thread of its own. A read that blocks delays nothing
 *  else, not even the destructor: the thread is abandoned then, and ends when
 *  the read does. */
class SourceReader
{
  public:
    /** @param[in] read the source's; must refer only to what lives as long as
     *  the process
     *  @param[in] arrived called on the reader's thread after each reading; not
     *  called any more once this object is destroyed
     *  @throws std::runtime_error when maxAbandonedThreads are in a read;
     *          std::system_error when the system gives no thread */
    SourceReader(std::function<double()> read, std::function<void()> arrived);
    ~SourceReader();
    SourceReader(const SourceReader&) = delete;
    SourceReader& operator=(const SourceReader&) = delete;

    /** Starts a reading, unless one is running. */
    void start();

    /** Takes the latest reading; nothing when there is no new one. */
    std::optional<Reading> take();

    /** Waits for a reading, at most for @p patience, and takes it. */
    std::optional<Reading> wait(std::chrono::microseconds patience);

    /** How long the current read has been running; zero when there is none. */
    std::chrono::steady_clock::duration busyFor() const;

  private:
    struct Shared;

    std::shared_ptr<Shared> shared;
};

} // namespace healthintf::hostmon
