// SPDX-License-Identifier: Apache-2.0
#include "open_metrics.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace healthintf::exporter
{
namespace
{

/** The number in the rendered sample of a gauge. */
std::string numberIn(double value)
{
    const std::string text =
        render({{"n", Kind::gauge, "", "H.", {{{}, value}}}});
    const std::string before = "# TYPE n gauge\n# HELP n H.\nn ";
    const std::string after = "\n# EOF\n";
    EXPECT_TRUE(text.starts_with(before) && text.ends_with(after)) << text;
    return text.substr(before.size(),
                       text.size() - before.size() - after.size());
}

TEST(OpenMetrics, WithoutFamiliesAreTheEndMark)
{
    EXPECT_EQ(render({}), "# EOF\n");
}

TEST(OpenMetrics, GiveTypeUnitAndHelpBeforeTheSamples)
{
    EXPECT_EQ(render({{"size_bytes",
                       Kind::gauge,
                       "bytes",
                       "How large.",
                       {{{{"of", "a"}, {"in", "b"}}, 1}, {{{"of", "c"}}, 2}}}}),
              "# TYPE size_bytes gauge\n"
              "# UNIT size_bytes bytes\n"
              "# HELP size_bytes How large.\n"
              "size_bytes{of=\"a\",in=\"b\"} 1\n"
              "size_bytes{of=\"c\"} 2\n"
              "# EOF\n");
}

TEST(OpenMetrics, NameSamplesByTheirKind)
{
    EXPECT_EQ(render({{"done", Kind::counter, "", "Done.", {{{}, 3}}},
                      {"build", Kind::info, "", "What.", {{{{"v", "1"}}, 1}}}}),
              "# TYPE done counter\n"
              "# HELP done Done.\n"
              "done_total 3\n"
              "# TYPE build info\n"
              "# HELP build What.\n"
              "build_info{v=\"1\"} 1\n"
              "# EOF\n");
}

TEST(OpenMetrics, KeepAFamilyWithoutSamples)
{
    EXPECT_EQ(render({{"none", Kind::gauge, "", "No.", {}}}),
              "# TYPE none gauge\n# HELP none No.\n# EOF\n");
}

TEST(OpenMetrics, WriteWholeNumbersWithoutExponent)
{
    EXPECT_EQ(numberIn(0), "0");
    EXPECT_EQ(numberIn(-7), "-7");
    EXPECT_EQ(numberIn(1795285756), "1795285756");
    EXPECT_EQ(numberIn(268435456), "268435456");
    EXPECT_EQ(numberIn(9007199254740992), "9007199254740992");
}

TEST(OpenMetrics, WriteOtherNumbersWithoutLoss)
{
    for (const double number : {0.1, 1.0 / 3, 2.5e-9, 1.5e300, 87.5})
    {
        EXPECT_EQ(std::stod(numberIn(number)), number);
    }
}

TEST(OpenMetrics, HaveWordsForNanAndInfinity)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(numberIn(infinity), "+Inf");
    EXPECT_EQ(numberIn(-infinity), "-Inf");
    EXPECT_EQ(numberIn(std::numeric_limits<double>::quiet_NaN()), "NaN");
}

TEST(OpenMetrics, EscapeLabelsAndHelp)
{
    EXPECT_EQ(render({{"n",
                       Kind::gauge,
                       "",
                       "One\nline.",
                       {{{{"l", "a\"b\\c\nd"}}, 1}}}}),
              "# TYPE n gauge\n"
              "# HELP n One\\nline.\n"
              "n{l=\"a\\\"b\\\\c\\nd\"} 1\n"
              "# EOF\n");
}

TEST(Escaped, KeepsUtf8)
{
    EXPECT_EQ(escaped("gr\xC3\xBC\xC3\x9F\x65 \xF0\x9F\x98\x80"),
              "gr\xC3\xBC\xC3\x9F\x65 \xF0\x9F\x98\x80");
}

TEST(Escaped, ReplacesEachInvalidByte)
{
    EXPECT_EQ(escaped("a\xFF\xC3(b\xE2\x82"),
              "a\xEF\xBF\xBD\xEF\xBF\xBD(b\xEF\xBF\xBD\xEF\xBF\xBD");
}

} // namespace
} // namespace healthintf::exporter
