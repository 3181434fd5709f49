// SPDX-License-Identifier: Apache-2.0
#include "history/summary_output.hpp"
#include "history_records.hpp"
#include "output/text.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <optional>
#include <sstream>
#include <string>

namespace healthintf::healthctl
{
namespace
{

const FaultSummary flapping{.fault = makeRecord("appeared", 0, "fan"),
                            .occurrences = 6,
                            .total = 90'000,
                            .lasts = true,
                            .flapping = true};
const FaultSummary once{.fault = makeRecord("appeared", 0, "psu", 3),
                        .occurrences = 1,
                        .total = 1000};

std::string print(const std::vector<FaultSummary>& summaries,
                  std::optional<std::size_t> width = {})
{
    std::ostringstream out;
    const Context context{
        .out = out, .style = Style(false, true), .width = width};
    printSummaries(context, summaries);
    return out.str();
}

TEST(SummaryOutput, IsARowAndAMessageEach)
{
    EXPECT_EQ(print({flapping, once}),
              "• critical  6 times  1m 30s  mean 15s  lasts, flapping  fan  "
              "Fan.1.0.Stopped\n"
              "  The fan has stopped.\n"
              "• warning   1 time   1s                ended            psu  "
              "Fan.1.0.Stopped\n"
              "  The psu has stopped.\n");
}

TEST(SummaryOutput, FitsTerminals)
{
    FaultSummary summary = flapping;
    summary.fault.component = std::string(100, 'k');
    summary.fault.messageId = std::string(100, 'm');
    summary.fault.message = std::string(300, 't');
    for (const std::size_t width : {20U, 40U, 80U, 200U})
    {
        std::istringstream lines(print({summary, once}, width));
        for (std::string line; std::getline(lines, line);)
        {
            EXPECT_LE(countColumns(line), width) << line;
        }
    }
}

TEST(SummaryOutput, HasAllNumbersForPrograms)
{
    const auto json = toJson(flapping);
    EXPECT_EQ(json["component"], "/com/vexa/olvar/health/fan");
    EXPECT_EQ(json["severity"], "critical");
    EXPECT_EQ(json["messageId"], "Fan.1.0.Stopped");
    EXPECT_EQ(json["occurrences"], 6);
    EXPECT_EQ(json["totalMs"], 90'000);
    EXPECT_EQ(json["meanMs"], 15'000);
    EXPECT_EQ(json["lasts"], true);
    EXPECT_EQ(json["flapping"], true);
    EXPECT_EQ(toJson(once)["flapping"], false);
}

} // namespace
} // namespace healthintf::healthctl
