// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads from healthmgr what operators have noted of faults: silences and
 *  acknowledgements. */

#include "../model/silence.hpp"

namespace healthintf::healthctl
{

/** Asks healthmgr for the silences.
 *
 *  @throws Error when it does not answer, or is not running */
Silences readSilences();

/** Adds to faults which silences hide them, and who has acknowledged them.
 *  Without a healthmgr there is neither; when it runs and does not answer, that
 *  is said on standard error.
 *
 *  @param[in] source where the faults were read; if it says that healthmgr does
 *             not answer, healthmgr is not asked again
 *  @return the silences; nobody is asked for them when no fault is hidden */
Silences addNotes(Faults& faults, const HealthSource& source);

} // namespace healthintf::healthctl
