// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Builds messages of any signature from the bytes of a fuzzer. */

#include "fuzz_input.hpp"

#include <systemd/sd-bus.h>

#include <string>

namespace healthintf::test
{

/** @throws std::runtime_error if @p result, of libsystemd, is negative */
void orThrow(int result, const char* what);

/** A D-Bus signature of zero to four complete types, containers among them. */
std::string makeSignature(FuzzInput& input);

/** Appends values of a signature to a message. Texts are some that the library
 *  knows and others; D-Bus can carry all of them.
 *
 *  @throws std::runtime_error when libsystemd refuses a value */
void appendValues(sd_bus_message* message, const std::string& signature,
                  FuzzInput& input);

} // namespace healthintf::test
