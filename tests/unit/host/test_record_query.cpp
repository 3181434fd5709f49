// SPDX-License-Identifier: Apache-2.0
#include "data_cache/record_query.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{
namespace
{

constexpr auto fault = RecordKind::faultEntry;
const std::string root = "/com/vexa/olvar/health/";

/** Whether a query selects the record of a path, and also its slot. */
bool wants(const RecordQuery& query, const std::string& path,
           RecordKind kind = fault)
{
    const bool wanted = query.matches(
        {.kind = kind, .live = 0, .created = 0, .path = path, .payload = {}});
    const Slot slot{
        .place = 0, .live = 0, .signature = PathSignature(path).bits};
    EXPECT_TRUE(query.mayMatch(slot) || !wanted) << path;
    return wanted;
}

TEST(RecordQueryTest, WantsAllPathsWithoutAPrefix)
{
    const std::vector<std::string> none;
    EXPECT_TRUE(wants(RecordQuery::below(fault, none), root + "fan"));
    EXPECT_TRUE(wants(RecordQuery::below(fault, none), ""));
}

TEST(RecordQueryTest, WantsThePathsThatBeginWithAnyPrefix)
{
    const std::vector<std::string> prefixes{root + "fan/", root + "psu"};
    const RecordQuery query = RecordQuery::below(fault, prefixes);
    EXPECT_TRUE(wants(query, root + "fan/1"));
    EXPECT_TRUE(wants(query, root + "psu"));
    EXPECT_FALSE(wants(query, root + "fan"));
    EXPECT_FALSE(wants(query, root + "disk"));
}

TEST(RecordQueryTest, WantsPathsWithPrefixesOfDifferentLength)
{
    const std::vector<std::string> prefixes{root + "fan/1/blade", "/", "/com"};
    const RecordQuery query = RecordQuery::below(fault, prefixes);
    EXPECT_TRUE(wants(query, root + "fan/1/blade"));
    EXPECT_TRUE(wants(query, "/x"));
    EXPECT_FALSE(wants(query, "com"));
}

TEST(RecordQueryTest, SkipsSlotsOfOtherPaths)
{
    const std::vector<std::string> prefixes{root + "chassis/fan/",
                                            root + "chassis/psu/"};
    const RecordQuery query = RecordQuery::below(fault, prefixes);
    const auto mayMatch = [&query](const std::string& path) {
        return query.mayMatch(
            {.place = 0, .live = 0, .signature = PathSignature(path).bits});
    };
    EXPECT_TRUE(mayMatch(root + "chassis/fan/1"));
    EXPECT_TRUE(mayMatch(root + "chassis/psu/1"));
    EXPECT_FALSE(mayMatch(root + "storage/disk/1"));
}

TEST(RecordQueryTest, WantsExactlyOnePath)
{
    const std::string path = root + "fan";
    const RecordQuery query = RecordQuery::exactly(fault, path);
    EXPECT_TRUE(wants(query, path));
    EXPECT_FALSE(wants(query, path + "/1"));
    EXPECT_FALSE(wants(query, root));
}

TEST(RecordQueryTest, WantsOneKind)
{
    const std::vector<std::string> none;
    EXPECT_EQ(RecordQuery::below(fault, none).recordKind(), fault);
    EXPECT_FALSE(
        wants(RecordQuery::below(fault, none), root, RecordKind::healthStatus));
}

} // namespace
} // namespace healthintf::host
