// SPDX-License-Identifier: Apache-2.0
#include "source_reader.hpp"

#include "printable.hpp"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace healthintf::hostmon
{

using Clock = std::chrono::steady_clock;

namespace
{

std::atomic<std::size_t> abandonedThreads{0};

} // namespace

std::size_t countAbandonedThreads()
{
    return abandonedThreads;
}

/** The state that the reader shares with its thread, which may outlive it. */
struct SourceReader::Shared
{
    std::function<double()> read;
    std::function<void()> arrived;

    std::mutex mutex;
    std::condition_variable changed;
    /** When the requested or running read began. */
    std::optional<Clock::time_point> since;
    std::optional<Reading> reading;
    bool ended = false;

    /** The body of the thread. */
    void run();
    void serve();
    Reading readOnce() const;
};

Reading SourceReader::Shared::readOnce() const
{
    try
    {
        return {read(), {}};
    }
    catch (const std::exception& e)
    {
        // It becomes part of a fault, and texts on the bus must be UTF-8.
        return {std::nullopt, host::printable(e.what())};
    }
}

void SourceReader::Shared::run()
{
    serve();
    // The reader was destroyed during a read.
    if (since)
    {
        --abandonedThreads;
    }
}

void SourceReader::Shared::serve()
{
    std::unique_lock lock(mutex);
    for (;;)
    {
        changed.wait(lock, [this] {
            return ended || since;
        });
        if (ended)
        {
            return;
        }
        lock.unlock();
        Reading now = readOnce();
        lock.lock();
        if (ended)
        {
            return;
        }
        reading = std::move(now);
        since.reset();
        changed.notify_all();
        arrived();
    }
}

SourceReader::SourceReader(std::function<double()> read,
                           std::function<void()> arrived) :
    shared(std::make_shared<Shared>())
{
    if (abandonedThreads >= maxAbandonedThreads)
    {
        throw std::runtime_error("the reads of " +
                                 std::to_string(abandonedThreads) +
                                 " sources that are gone still run, and no "
                                 "more threads are allowed");
    }
    shared->read = std::move(read);
    shared->arrived = std::move(arrived);
    std::thread([shared = shared] {
        shared->run();
    }).detach();
}

SourceReader::~SourceReader()
{
    const std::lock_guard lock(shared->mutex);
    shared->ended = true;
    if (shared->since)
    {
        ++abandonedThreads;
    }
    shared->changed.notify_all();
}

void SourceReader::start()
{
    const std::lock_guard lock(shared->mutex);
    if (!shared->since)
    {
        shared->since = Clock::now();
        shared->changed.notify_all();
    }
}

std::optional<Reading> SourceReader::take()
{
    const std::lock_guard lock(shared->mutex);
    return std::exchange(shared->reading, std::nullopt);
}

std::optional<Reading> SourceReader::wait(std::chrono::microseconds patience)
{
    std::unique_lock lock(shared->mutex);
    shared->changed.wait_for(lock, patience, [this] {
        return shared->reading.has_value();
    });
    return std::exchange(shared->reading, std::nullopt);
}

Clock::duration SourceReader::busyFor() const
{
    const std::lock_guard lock(shared->mutex);
    return shared->since ? Clock::now() - *shared->since
                         : Clock::duration::zero();
}

} // namespace healthintf::hostmon
