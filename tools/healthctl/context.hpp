// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The output and the bus of a command. */

#include "output/style.hpp"

#include <nlohmann/json_fwd.hpp>
#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>

#include <cstddef>
#include <optional>
#include <ostream>

namespace healthintf::healthctl
{

/** Where and how a command writes, and whom it talks to. */
struct Context
{
    std::ostream& out;
    Style style{false, true};
    /** The columns of the terminal; nothing when it writes into a pipe or a
     *  file, where no line is shortened or wrapped. */
    std::optional<std::size_t> width;
    /** Whether JSON is wanted instead of text. */
    bool json = false;
    /** Whether JSON comes one object a line. */
    bool compact = false;
};

/** The operator's bus, which is this thread's default one from then on: the
 *  library sends there, too.
 *
 *  @throws Error when there is none */
sdbusplus::bus_t connectBus();

/** Waits until the bus has taken a new connection. The wait that libsystemd
 *  itself has is too long for a person.
 *
 *  @return the number of an error, -ETIMEDOUT when the bus does not answer */
int waitForBus(sd_bus* bus);

/** Writes out what was written so far.
 *
 *  @throws Error when that is not possible */
void flush(std::ostream& out);

/** A JSON value as text without characters that mislead who reads it on a
 *  terminal. Bytes that are not UTF-8 are replaced, so that the rest can be
 *  read.
 *
 *  @param[in] indent as for nlohmann::json::dump() */
std::string jsonText(const nlohmann::ordered_json& value, int indent = -1);

/** Writes one JSON document.
 *
 *  @param[in] schema its name and version, such as "healthctl.count/1"
 *  @param[in] content an object; gets the member "schema" */
void writeJson(const Context& context, const char* schema,
               const nlohmann::ordered_json& content);

} // namespace healthintf::healthctl
