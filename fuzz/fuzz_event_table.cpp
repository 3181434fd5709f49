// SPDX-License-Identifier: Apache-2.0
/** @file Reads any event table file and adds it to a table. */

#include "event_description/event_table.hpp"
#include "event_description/event_table_file.hpp"
#include "fuzz_input.hpp"

#include <cstdlib>
#include <string_view>

namespace
{

using namespace healthintf::host;

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
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    return healthintf::test::tryToRead<EventTableError>(data, size, readAll);
}
