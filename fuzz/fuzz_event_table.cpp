// SPDX-License-Identifier: Apache-2.0
/** @file Reads any event table file, adds it to a table, and finds its
 *  messages. */

#include "event_description/event_table.hpp"
#include "event_description/event_table_file.hpp"
#include "fuzz_input.hpp"

#include <cstdlib>
#include <string_view>

namespace
{

using namespace healthintf::host;

/** Expects each message of a sensor type, unless it was left out, to be found
 *  by its identifier. */
void findMessages(const EventTable& table, const SensorType* type)
{
    for (const auto& [offset, state] :
         type != nullptr ? type->states : EventStates{})
    {
        if (!table.findMessage(state.asserted.id) ||
            !table.findMessage(state.deasserted.id))
        {
            std::abort();
        }
    }
}

void readAll(std::string_view text)
{
    const EventTableFile file = parseEventTable(text);
    EventTable table;
    table.add(file, {"first", text});
    table.add(file, {"second", text});
    for (const auto& [code, type] : file.sensorTypes)
    {
        if (table.sensorType(code) == nullptr && table.problems().empty())
        {
            std::abort();
        }
        findMessages(table, table.sensorType(code));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    return healthintf::test::tryToRead<EventTableError>(data, size, readAll);
}
