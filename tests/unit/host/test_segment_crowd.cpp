/** @file Somebody makes more names in the folder of the segments than readers
 *  look at: those of others must be found all the same. */

#include "data_cache/own_records.hpp"
#include "data_cache/segment_folder.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <list>
#include <string>

namespace healthintf::host
{
namespace
{

/** More than the files that are opened of one user. */
constexpr int many = 2500;
/** So many that some stand behind those files in the folder's order. */
constexpr int segments = 12;
constexpr uid_t another = 12345;

/** A segment with names around it, in whatever order the folder has them. */
class SegmentCrowd : public testing::Test
{
  protected:
    std::string name(int number) const
    {
        return folder.path() / ("crowd" + std::to_string(number));
    }

    template <typename Make>
    void surround(const Make& make)
    {
        for (int number = 0; number < many; ++number)
        {
            make(name(number));
        }
        for (int number = 0; number < segments; ++number)
        {
            own.emplace_back(folder.path(), std::size_t{1} << 20);
        }
        for (int number = many; number < 2 * many; ++number)
        {
            make(name(number));
        }
    }

    /** How many segments of living processes are found. */
    int found() const
    {
        int living = 0;
        forEachLivingSegment(folder.path(), [&living](const SegmentReader&) {
            ++living;
        });
        return living;
    }

    test::TemporaryFolder folder;
    std::list<OwnRecords> own;
};

TEST_F(SegmentCrowd, OfFoldersHidesNoSegment)
{
    surround([](const std::string& name) {
        std::filesystem::create_directory(name);
    });
    EXPECT_EQ(found(), segments);
    EXPECT_TRUE(findDeadSegments(folder.path()).empty());
}

TEST_F(SegmentCrowd, OfFilesHidesNoSegmentOfAnotherUser)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs root, to give files away";
    }
    surround([](const std::string& name) {
        std::ofstream(name) << "no segment";
        ASSERT_EQ(chown(name.c_str(), another, another), 0);
    });
    EXPECT_EQ(found(), segments);
}

TEST_F(SegmentCrowd, OfLinksToOneSegmentHidesNoOther)
{
    const OwnRecords linked(folder.path(), std::size_t{1} << 20);
    const std::string first =
        std::filesystem::directory_iterator(folder.path())->path();
    surround([&first](const std::string& name) {
        std::filesystem::create_hard_link(first, name);
    });
    EXPECT_EQ(found(), segments + 1);
}

} // namespace
} // namespace healthintf::host
