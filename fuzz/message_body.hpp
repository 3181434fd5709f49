// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Messages of every type, out of the bytes that a fuzzer makes up. */

#include "fuzz_input.hpp"

#include <systemd/sd-bus.h>

#include <string>

namespace healthintf::test
{

/** @throws std::runtime_error when a call of libsystemd has failed */
void orThrow(int result, const char* what);

/** A signature of D-Bus: zero to four complete types, containers among them. */
std::string makeSignature(FuzzInput& input);

/** Appends values of a signature to a message. Texts are those that the
 *  library knows as well as others; all are such as D-Bus carries.
 *
 *  @throws std::runtime_error when libsystemd refuses one */
void appendValues(sd_bus_message* message, const std::string& signature,
                  FuzzInput& input);

} // namespace healthintf::test
