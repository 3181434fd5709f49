// SPDX-License-Identifier: Apache-2.0
#include "data_cache/refused_records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <stdexcept>
#include <vector>

namespace healthintf::host
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto fault = RecordKind::faultEntry;
constexpr auto health = RecordKind::healthStatus;

class Refused : public testing::Test
{
  protected:
    void keep(RecordKind kind, const std::string& path,
              const std::string& payload = "", uint32_t live = 0)
    {
        refused.keep(
            {.kind = kind, .path = path, .payload = payload, .live = live});
    }

    /** Retries the refused records, with room for so many.
     *
     *  @return the records that were tried */
    std::vector<std::string> tryAgain(std::size_t room = 100)
    {
        std::vector<std::string> tried;
        refused.tryAgain([&](const NewRecord& record) {
            tried.push_back(std::string(record.path) + " " +
                            std::string(record.payload) + " " +
                            std::to_string(record.live));
            if (tried.size() > room)
            {
                throw std::runtime_error("full");
            }
        });
        return tried;
    }

    RefusedRecords refused;
};

TEST_F(Refused, RecordsAreTriedAgainUntilTheySucceed)
{
    EXPECT_THAT(tryAgain(), IsEmpty());
    keep(fault, "/a", "text", 1);
    keep(health, "/b", "", 2);
    EXPECT_THAT(tryAgain(0), ElementsAre("/b  2")) << "nodes first";
    EXPECT_THAT(tryAgain(1), ElementsAre("/b  2", "/a text 1"));
    EXPECT_THAT(tryAgain(), ElementsAre("/a text 1"));
    EXPECT_THAT(tryAgain(), IsEmpty());
}

TEST_F(Refused, RecordsAreChangedAsLongAsTheyAreKept)
{
    const auto change = [](std::string& payload, uint32_t& live) {
        payload += "!";
        live = 4;
        return 0;
    };
    const auto fail = [](std::string& payload, uint32_t&) {
        payload = "half";
        return EINVAL;
    };
    EXPECT_EQ(refused.edit(health, "/a", change), ENOENT);
    keep(health, "/a", "text", 2);
    EXPECT_EQ(refused.edit(fault, "/a", change), ENOENT);
    EXPECT_EQ(refused.edit(health, "/a", change), 0);
    EXPECT_EQ(refused.edit(health, "/a", fail), EINVAL);
    EXPECT_THAT(tryAgain(), ElementsAre("/a text! 4"));
    EXPECT_EQ(refused.edit(health, "/a", change), ENOENT);
}

TEST_F(Refused, RecordsAreNotChangedBeyondTheRoomForThem)
{
    keep(fault, "/a", "text");
    const auto fill = [](std::size_t size) {
        return [size](std::string& payload, uint32_t&) {
            payload.assign(size, 'x');
            return 0;
        };
    };
    EXPECT_EQ(refused.edit(fault, "/a", fill(RefusedRecords::most - 1)),
              EDQUOT);
    EXPECT_EQ(refused.edit(fault, "/a", fill(RefusedRecords::most - 2)), 0);
    EXPECT_EQ(refused.edit(fault, "/a", fill(4)), 0);
    EXPECT_THAT(tryAgain(), ElementsAre("/a xxxx 0"));
}

TEST_F(Refused, RecordsAreForgottenWhenTheyCannotBeChangedAsTheOnesTheyReplace)
{
    const auto change = [](std::string& payload, uint32_t& live) {
        payload += "!";
        live = 4;
        return 0;
    };
    refused.editOrForget(health, "/a", change);
    keep(health, "/a", "text", 2);
    refused.editOrForget(health, "/a", change);
    EXPECT_THAT(tryAgain(0), ElementsAre("/a text! 4"));
    refused.editOrForget(health, "/a",
                         [](std::string& payload, uint32_t&) -> int {
                             payload += "?";
                             throw std::bad_alloc();
                         });
    EXPECT_THAT(tryAgain(), IsEmpty());
    keep(health, "/a", "text", 2);
    refused.editOrForget(health, "/a", [](std::string& payload, uint32_t&) {
        payload.assign(RefusedRecords::most, 'x');
        return 0;
    });
    EXPECT_THAT(tryAgain(), IsEmpty());
}

TEST_F(Refused, RecordsOfOneKindAndPathReplaceEachOther)
{
    keep(health, "/a", "", 2);
    keep(fault, "/a", "old");
    keep(fault, "/a", "new");
    EXPECT_THAT(tryAgain(), ElementsAre("/a  2", "/a new 0"));
}

TEST_F(Refused, RecordsMayBeForgotten)
{
    refused.forget(health, "/a");
    keep(health, "/a");
    keep(fault, "/a");
    refused.forget(health, "/a");
    refused.forget(health, "/b");
    EXPECT_THAT(tryAgain(), ElementsAre("/a  0"));
}

TEST_F(Refused, RecordsAreKeptUpToALimit)
{
    const std::string half(RefusedRecords::most / 2 - 2, 'x');
    keep(fault, "/a", half);
    keep(fault, "/b", half);
    keep(fault, "c");
    EXPECT_THAT(tryAgain(0).size(), 1U);
    refused.forget(fault, "/a");
    keep(fault, "c");
    EXPECT_THAT(tryAgain().size(), 2U);
    keep(fault, "/a", half);
    keep(fault, "/b", half);
    EXPECT_THAT(tryAgain().size(), 2U)
        << "records that were made count no more";
}

} // namespace
} // namespace healthintf::host
