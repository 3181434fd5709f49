// SPDX-License-Identifier: Apache-2.0
/** @file Gives healthctl any answer of the history. What it takes for a record
 *  is written without characters that a terminal would obey, and as JSON that
 *  can be read. */

#include "history/history_record.hpp"
#include "history/record_output.hpp"
#include "history_members.hpp"
#include "local_messages.hpp"
#include "logmgr/history_protocol.hpp"
#include "surroundings.hpp"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>
#include <string>
#include <system_error>

namespace
{

using namespace healthintf;
using test::FuzzInput;
namespace member = host::history;

const std::array<const char*, 8> texts{
    member::kind,       member::component, member::entry,   member::messageId,
    member::sensorPath, member::process,   member::message, member::comment};
const std::array<const char*, 5> smallNumbers{
    member::severity, member::sensorNumber, member::sensorType,
    member::processId, member::user};
const std::array<const char*, 4> largeNumbers{
    member::sequence, member::occurrence, member::time, member::lasted};
const std::array<const char*, 3> others{member::args, member::missed, "Colour"};

void require(bool holds)
{
    if (!holds)
    {
        std::abort();
    }
}

/** A text that D-Bus can carry, with characters of all kinds below 0x80. */
std::string anyAscii(FuzzInput& input)
{
    std::string text = input.text();
    for (char& each : text)
    {
        each = static_cast<char>(static_cast<unsigned char>(each) % 0x7F + 1);
    }
    return text;
}

void appendOne(sd_bus_message* message, FuzzInput& input)
{
    const auto choose = [&input](const auto& names) {
        return names.at(input.below(names.size()));
    };
    switch (input.below(5))
    {
        case 0:
            return test::appendMember(message, choose(texts), "s",
                                      anyAscii(input).c_str());
        case 1:
            return test::appendMember(message, choose(smallNumbers), "u",
                                      input.number<uint32_t>());
        case 2:
            return test::appendMember(message, choose(largeNumbers),
                                      input.coin() ? "t" : "x",
                                      input.number<uint64_t>());
        case 3:
            return test::appendAnyMember(message, choose(others), input);
        default:
            return test::appendAnyMember(message, choose(texts), input);
    }
}

void checkOutput(const healthctl::HistoryRecord& record, std::size_t width)
{
    std::ostringstream out;
    const healthctl::Context context{
        .out = out, .style = healthctl::Style(false, true), .width = width};
    healthctl::printRecords(context, {record});
    healthctl::printRecord(context, record);
    require(std::ranges::none_of(out.str(), [](unsigned char each) {
        return (each < ' ' && each != '\n') || each == 0x7F;
    }));
    const auto json = healthctl::toJson(record);
    require(nlohmann::ordered_json::parse(healthctl::jsonText(json)) == json);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    test::haveShippedData();
    static const test::LocalMessages local;
    FuzzInput input(data, size);
    const std::size_t width = 40 + input.below(200);
    const auto message = local.make();
    test::orThrow(sd_bus_message_open_container(message.get(), 'a', "{sv}"),
                  "record");
    while (!input.empty())
    {
        appendOne(message.get(), input);
    }
    test::orThrow(sd_bus_message_close_container(message.get()),
                  "record's end");
    test::LocalMessages::seal(message);
    try
    {
        checkOutput(healthctl::readHistoryRecord(message.get()), width);
    }
    catch (const std::system_error&)
    {}
    return 0;
}
