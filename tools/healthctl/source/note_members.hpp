// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads silences and acknowledgements from what healthmgr tells. */

#include "../model/acknowledgement.hpp"
#include "../model/silence.hpp"
#include "healthmgr/members.hpp"

#include <vector>

namespace healthintf::healthctl
{

Silence makeSilence(const host::Members& members);

Silences makeSilences(const std::vector<host::Members>& list);

Acknowledgement makeAcknowledgement(const host::Members& members);

Acknowledgements makeAcknowledgements(const std::vector<host::Members>& list);

} // namespace healthintf::healthctl
