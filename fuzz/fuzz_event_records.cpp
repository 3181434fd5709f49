// SPDX-License-Identifier: Apache-2.0
/** @file Describes any event record and makes a fault of it. */

#include "component_harness.hpp"
#include "fuzz_input.hpp"

#include <lmi_sel_fault.hpp>
#include <platform/event_description.h>

#include <algorithm>
#include <array>
#include <cstdlib>

namespace
{

using namespace healthintf::test;

constexpr std::size_t recordSize = 16;

template <std::size_t size>
bool hasEnd(const std::array<uint8_t, size>& entry, std::size_t begin,
            std::size_t length)
{
    const auto* field = entry.data() + begin;
    return std::find(field, field + length, 0) != field + length;
}

void describe(const std::vector<uint8_t>& bytes)
{
    std::array<uint8_t, recordSize> record{};
    std::copy_n(bytes.begin(), std::min(bytes.size(), recordSize),
                record.begin());
    std::array<uint8_t, JNL_ENTRY_SIZE> entry{};
    std::array<uint8_t, LCD_ENTRY_SIZE> lcd{};
    TransformSELEventToLCD(record.data(), lcd.data());
    if (TransformSELEventToJNLEntry(record.data(), entry.data()) == 0 &&
        (!hasEnd(entry, JNL_ENTRY_MESSAGE_ID_OFFSET,
                 JNL_ENTRY_MESSAGE_ID_SIZE) ||
         entry[JNL_ENTRY_ARGUMENT_COUNT_OFFSET] > JNL_ENTRY_MAX_ARGUMENTS))
    {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static ComponentHarness daemon;
    logmgr_interface::SELAndFault events(daemon.component.get());
    FuzzInput input(data, size);
    while (!input.empty())
    {
        std::vector<uint8_t> record = input.bytes(
            input.coin() ? recordSize : input.below(2 * recordSize));
        describe(record);
        logmgr_interface::SELAndFault::SensorInfo sensor;
        sensor.path = input.text();
        events.findFaultInfoAndAddFault(sensor, record);
    }
    daemon.component->deleteFaultListAll();
    daemon.work();
    return 0;
}
