// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Makes one call fail: of those that pass a seam, the first, the second,
 *  and so on. */

#include <string>

namespace healthintf::test
{

/** Where calls can be made to fail. */
enum class Seam
{
    none,
    /** The functions of the platform contract that the library calls. */
    platform,
    /** libsystemd's functions for the bus, called by library or platform. */
    bus,
    /** operator new, called by library, platform or C++ itself. */
    memory,
    /** malloc and the like, called inside libsystemd. */
    libraryMemory,
};

/** What the data cache refuses so that it is no longer what the bus shows;
 *  docs/platform.md says what follows. */
enum class Refusal : unsigned
{
    newFault = 1,
    newNode = 2,
    health = 4,
    removalOfNode = 8,
};

/** Counts the calls of one seam while it is armed. It takes no memory itself,
 *  and sees only the thread that armed it. */
class Failer
{
  public:
    /** Lets the call number @p nth of a seam fail, 1 being the next. */
    void arm(Seam seam, unsigned nth) noexcept;

    /** Lets no call fail any more. */
    void disarm() noexcept;

    /** Lets calls of a seam be as they are, and neither fail nor count, until
     *  told otherwise. */
    void spare(Seam seam, bool spared) noexcept;

    /** Whether the call that is about to be made has to fail.
     *
     *  @param[in] call its name, a literal */
    bool fails(Seam seam, const char* call) noexcept;

    /** What failed since arm(); null when there were fewer calls. */
    const char* failed() const noexcept
    {
        return culprit;
    }

    /** Notes that the data cache has refused something, injected or not. */
    void noteRefusal(Refusal what) noexcept;

    /** Whether the data cache has refused such a thing since arm(). */
    bool refused(Refusal what) const noexcept;

    /** Forgets a refusal, whose traces have to be gone from now on. */
    void forget(Refusal what) noexcept;

  private:
    Seam watched = Seam::none;
    Seam sparedSeam = Seam::none;
    unsigned left = 0;
    const char* culprit = nullptr;
    unsigned refusals = 0;
};

/** That of this thread. */
Failer& failer() noexcept;

} // namespace healthintf::test
