// SPDX-License-Identifier: Apache-2.0
#include "output/json_list.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>
#include <string>
#include <vector>

namespace healthintf::healthctl
{
namespace
{

using Json = nlohmann::ordered_json;

/** What JsonList and writeJson() make of the same list. */
void expectSameDocument(const std::vector<Json>& items)
{
    std::ostringstream parts;
    const Context partly{.out = parts, .width = {}, .json = true};
    JsonList list(partly, "healthctl.test/1", "items");
    for (const Json& item : items)
    {
        list.add(item);
    }
    list.end();
    std::ostringstream whole;
    const Context wholly{.out = whole, .width = {}, .json = true};
    writeJson(wholly, "healthctl.test/1", {{"items", Json(items)}});
    EXPECT_EQ(parts.str(), whole.str());
}

TEST(JsonList, IsTheDocumentThatIsWrittenAtOnce)
{
    expectSameDocument({{{"a", 1}}});
    expectSameDocument({{{"a", 1}, {"b", {1, 2}}}, {{"a", Json(nullptr)}}});
}

TEST(JsonList, MayBeEmpty)
{
    std::ostringstream out;
    const Context context{.out = out, .width = {}, .json = true};
    JsonList(context, "healthctl.test/1", "items").end();
    EXPECT_EQ(Json::parse(out.str())["items"], Json::array());
}

TEST(JsonList, EscapesWhatMisleads)
{
    expectSameDocument({{{"text", "line\nend \x1b[31m \xE2\x80\xAE \xff"}}});
}

TEST(JsonList, IsNoDocumentBeforeItsEnd)
{
    std::ostringstream out;
    const Context context{.out = out, .width = {}, .json = true};
    JsonList list(context, "healthctl.test/1", "items");
    list.add({{"a", 1}});
    EXPECT_FALSE(Json::accept(out.str()));
}

} // namespace
} // namespace healthintf::healthctl
