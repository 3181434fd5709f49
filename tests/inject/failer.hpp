// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Makes one call of a seam fail: in the first run the first call, in the
 *  second run the second, and so on. */

#include <string>

namespace healthintf::test
{

/** The interfaces at which calls can fail. */
enum class Seam
{
    none,
    /** The functions of the platform contract, called by the library. */
    platform,
    /** libsystemd's bus functions, called by the library or the platform. */
    bus,
    /** operator new, called by the library, the platform or the standard
     *  library. */
    memory,
    /** malloc() and the like, called inside libsystemd. */
    libraryMemory,
};

/** Refusals of the data cache after which it differs from the bus;
 *  docs/platform.md describes the consequences. */
enum class Refusal : unsigned
{
    newFault = 1,
    newNode = 2,
    health = 4,
    removalOfNode = 8,
};

/** Counts the calls of one seam while it is armed. Allocates no memory itself,
 *  and counts only the thread that armed it. */
class Failer
{
  public:
    /** Makes call number @p nth of a seam fail, where 1 is the next call. */
    void arm(Seam seam, unsigned nth) noexcept;

    /** Makes no further call fail. */
    void disarm() noexcept;

    /** Exempts a seam: while @p spared, its calls neither fail nor count. */
    void spare(Seam seam, bool spared) noexcept;

    /** Whether the call that is about to be made must fail.
     *
     *  @param[in] call its name, a literal */
    bool fails(Seam seam, const char* call) noexcept;

    /** The call that failed since arm(); null if there were fewer calls. */
    const char* failed() const noexcept
    {
        return culprit;
    }

    /** Notes that the data cache refused a change, injected or not. */
    void noteRefusal(Refusal what) noexcept;

    /** Whether the data cache has refused such a change since arm(). */
    bool refused(Refusal what) const noexcept;

    /** Forgets a refusal, because its effects must be gone from now on. */
    void forget(Refusal what) noexcept;

  private:
    Seam watched = Seam::none;
    Seam sparedSeam = Seam::none;
    unsigned left = 0;
    const char* culprit = nullptr;
    unsigned refusals = 0;
};

/** The failer of this thread. */
Failer& failer() noexcept;

} // namespace healthintf::test
