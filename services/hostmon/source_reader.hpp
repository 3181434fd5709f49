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

/** What came of reading a source: a value, or why there is none. */
struct Reading
{
    std::optional<double> value;
    std::string failure;
};

/** How many threads may be left behind before there is no new reader. */
inline constexpr std::size_t mostThreadsLeftBehind = 16;

/** How many threads of readers that have ended are still in a read. */
std::size_t threadsLeftBehind();

/** Reads one source on a thread of its own. A read that blocks keeps nothing
 *  else waiting, not even the end of this object: the thread is left behind
 *  then, and ends when the read does. */
class SourceReader
{
  public:
    /** @param[in] read the source's; must not refer to what ends before the
     *             process does
     *  @param[in] arrived called on the reader's thread after each reading;
     *             never again once this object has ended
     *  @throws std::runtime_error when mostThreadsLeftBehind are left behind;
     *          std::system_error when the machine gives no thread */
    SourceReader(std::function<double()> read, std::function<void()> arrived);
    ~SourceReader();
    SourceReader(const SourceReader&) = delete;
    SourceReader& operator=(const SourceReader&) = delete;

    /** Asks for a reading, unless one is under way. */
    void start();

    /** The last reading, once; nothing while none has arrived. */
    std::optional<Reading> take();

    /** Waits for a reading as long as @p patience. */
    std::optional<Reading> wait(std::chrono::microseconds patience);

    /** For how long the present read has been under way; zero when none is. */
    std::chrono::steady_clock::duration busyFor() const;

  private:
    struct Shared;

    std::shared_ptr<Shared> shared;
};

} // namespace healthintf::hostmon
