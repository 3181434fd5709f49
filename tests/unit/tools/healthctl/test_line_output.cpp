// SPDX-License-Identifier: Apache-2.0
#include "output/line_output.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace healthintf::healthctl
{
namespace
{

class LineOutput : public testing::Test
{
  protected:
    std::ostringstream out;
    Context context{out, Style(false, true), std::nullopt, false, false};
};

TEST_F(LineOutput, IsOneLineWhereThereIsRoom)
{
    writeLine(context, "  No such faults.");
    context.width = 17;
    writeLine(context, "  No such faults.");
    EXPECT_EQ(out.str(), "  No such faults.\n  No such faults.\n");
}

TEST_F(LineOutput, KeepsItsMarginOverSeveralLines)
{
    context.width = 10;
    writeLine(context, "  No such faults.");
    EXPECT_EQ(out.str(), "  No such\n  faults.\n");
}

TEST_F(LineOutput, MayBeEmpty)
{
    writeLine(context, "");
    EXPECT_EQ(out.str(), "\n");
}

TEST_F(LineOutput, PutsValuesBelowEachOther)
{
    writeFields(context, {{"visible", "1"}, {"hidden", "2"}});
    EXPECT_EQ(out.str(), "visible  1\nhidden   2\n");
}

TEST_F(LineOutput, CutsNoNameBesideAValueThatFits)
{
    context.width = 10;
    writeFields(context, {{"visible", "1"}});
    EXPECT_EQ(out.str(), "visible  1\n");
}

TEST_F(LineOutput, PartsValuesFromNamesThatAreCut)
{
    context.width = 6;
    writeFields(context, {{"visible", "1"}, {"hidden", "2"}});
    EXPECT_EQ(out.str(), "visi 1\nhidd 2\n");
}

} // namespace
} // namespace healthintf::healthctl
