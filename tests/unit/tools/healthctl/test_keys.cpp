// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <watch/keys.hpp>

#include <string>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Keys, AreLettersAndSequences)
{
    KeyReader reader;
    EXPECT_THAT(reader.take("kj\nbf gGq"),
                ElementsAre(Key::up, Key::down, Key::down, Key::pageUp,
                            Key::pageDown, Key::pageDown, Key::home, Key::end,
                            Key::quit));
    EXPECT_THAT(reader.take("\033[A\033[B\033[5~\033[6~\033[H\033[F"),
                ElementsAre(Key::up, Key::down, Key::pageUp, Key::pageDown,
                            Key::home, Key::end));
    EXPECT_THAT(reader.take("\033OA\033OB\033OH\033OF\033[1~\033[4~"),
                ElementsAre(Key::up, Key::down, Key::home, Key::end, Key::home,
                            Key::end));
}

TEST(Keys, MayComeInPieces)
{
    KeyReader reader;
    EXPECT_THAT(reader.take("\033"), IsEmpty());
    EXPECT_THAT(reader.take("["), IsEmpty());
    EXPECT_THAT(reader.take("5"), IsEmpty());
    EXPECT_THAT(reader.take("~\033[B"), ElementsAre(Key::pageUp, Key::down));
}

TEST(Keys, IgnoreWhatIsNoKey)
{
    KeyReader reader;
    EXPECT_THAT(reader.take("xyz\x01\xC3\xA4"), IsEmpty());
    // Control and the arrow, and a key that has a letter of ours in it.
    EXPECT_THAT(reader.take("\033[1;5A\033[1;5Fq"), ElementsAre(Key::quit));
    EXPECT_THAT(reader.take("\033xq"), ElementsAre(Key::quit));
}

TEST(Keys, AreFoundAgainBehindASequenceWithoutAnEnd)
{
    KeyReader reader;
    EXPECT_THAT(reader.take("\033[" + std::string(100, '1')), IsEmpty());
    EXPECT_THAT(reader.take("q"), ElementsAre(Key::quit));
}

} // namespace
} // namespace healthintf::healthctl
