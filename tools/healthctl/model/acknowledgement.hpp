// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The acknowledgements of healthmgr, and the faults that they are of. */

#include "../source/health_source.hpp"

#include <map>
#include <string>

namespace healthintf::healthctl
{

/** Acknowledgements by the paths of their fault entries. */
using Acknowledgements = std::map<std::string, Acknowledgement>;

/** Notes in each fault who has acknowledged it. */
void noteAcknowledgements(Faults& faults, const Acknowledgements& all);

} // namespace healthintf::healthctl
