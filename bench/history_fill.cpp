// SPDX-License-Identifier: Apache-2.0
/** @file Fills a history of faults, that of a month that ends now: faults of
 *  200 components that come and go.
 *
 *  Usage: history-fill FOLDER RECORDS */

#include "history/history_store.hpp"
#include "history/now.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace
{

using namespace healthintf::history;

constexpr uint64_t components = 200;
constexpr int64_t month = int64_t{30} * 24 * 3'600'000;
constexpr uint64_t mebibyte = 1UL << 20;

/** What a fault of such a component usually says. */
Fault makeFault(uint64_t component)
{
    const std::string name = std::to_string(component);
    const std::string key =
        "/com/vexa/olvar/health/chassis" + name + "/fan" + name;
    return {.component = key,
            .entry = key + "/entry/FanFailed_sensors_fan" + name,
            .messageId = "HostMonitor.1.0.TemperatureCritical",
            .args = {"fan " + name, "rear"},
            .message = "The fan " + name + " in the rear is too slow.",
            .severity = component % 2 == 0 ? 4U : 3U,
            .sensorPath = "/com/vexa/olvar/sensors/fan" + name,
            .sensorNumber = static_cast<uint32_t>(component),
            .sensorType = 4,
            .process = "fand",
            .pid = 170,
            .user = 1000};
}

/** Each fault appears, and is cleared with the next round. */
Record makeRecord(uint64_t number, int64_t time)
{
    const bool ends = number / components % 2 == 1;
    Record record;
    record.time = time;
    record.kind = ends ? Kind::cleared : Kind::appeared;
    record.fault = makeFault(number % components);
    if (ends)
    {
        record.lasted = 60'000;
        record.occurrence = number / components / 2 + 1;
    }
    return record;
}

void fill(const char* folder, uint64_t count)
{
    HistoryStore store(folder, {.records = count, .bytes = 1024 * mebibyte});
    const int64_t now = Now::read().wall;
    constexpr uint64_t group = 256;
    for (uint64_t i = 0; i < count; ++i)
    {
        const auto age = static_cast<int64_t>(count - i);
        Record record =
            makeRecord(i, now - month / static_cast<int64_t>(count) * age);
        store.add(record);
        if (i % group == group - 1)
        {
            store.commit();
            store.sync();
        }
    }
    store.commit();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: history-fill FOLDER RECORDS\n");
        return 2;
    }
    try
    {
        fill(argv[1], std::strtoul(argv[2], nullptr, 10));
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "history-fill: %s\n", e.what());
        return 1;
    }
    return 0;
}
