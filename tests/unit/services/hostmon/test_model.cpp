// SPDX-License-Identifier: Apache-2.0
#include "address_sanitizer.hpp"
#include "library_test.hpp"
#include "watch.hpp"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace healthintf::hostmon
{
namespace
{

using namespace healthintf::test;
using health_namespace::FaultAndHealth;

const std::string root = "/com/vexa/olvar/health";
constexpr double warningLimit = 80;
constexpr double criticalLimit = 90;
constexpr double slack = 5;

/** The model of one source, independent of hostmon's code. */
struct ModelSource
{
    bool isThere = false;
    bool isUnreadable = false;
    /** 0 ok, 1 warning, 2 critical. */
    int level = 0;
    /** The rounds in which the current level, and the failure to read, began.
     */
    int levelSince = 0;
    int unreadableSince = 0;

    void take(double value, int now)
    {
        isUnreadable = false;
        const double critical = criticalLimit - (level == 2 ? slack : 0);
        const double warning = warningLimit - (level >= 1 ? slack : 0);
        const int next = value >= critical ? 2 : value >= warning ? 1 : 0;
        levelSince = next == level ? levelSince : now;
        level = next;
    }

    void fail(int now)
    {
        unreadableSince = isUnreadable ? unreadableSince : now;
        isUnreadable = true;
    }
};

/** Sources of two components; one component has more faults than it can show.
 */
class HostmonAndItsModel : public LibraryTest
{
  protected:
    static constexpr int sources = 30;

    HostmonAndItsModel()
    {
        const FaultTexts texts = selectFaultTexts(Temperature{});
        platform().messages[texts.warningId] = {2, "%1"};
        platform().messages[texts.criticalId] = {1, "%1!"};
        platform().messages[unreadableId] = {2, "%1?"};
        platform().messages[stillUnreadableId] = {2, "%1?"};
        platform().messages[moreFaultsId] = {2, "more %2"};
        platform().messages[moreCriticalFaultsId] = {1, "more %2!"};
        haveHealthRecord(root, 2);
        for (int i = 0; i < 2; ++i)
        {
            const std::string key = root + "/" + std::to_string(i);
            components[i].reset(FaultAndHealth::Init(bus, key, 2, false));
            faults[i].emplace(key, *components[i]);
        }
    }

    /** Sources from 24 on belong to the second component. */
    static int getComponent(int source)
    {
        return source < 24 ? 0 : 1;
    }

    void come(int source)
    {
        model[source] = {.isThere = true};
        const std::string name = std::to_string(source);
        watches[source].emplace(WatchConfig{Temperature{},
                                            {.direction = Direction::above,
                                             .warning = warningLimit,
                                             .critical = criticalLimit,
                                             .hysteresis = slack},
                                            ""},
                                Source{name, name, {}}, 1,
                                *faults[getComponent(source)]);
    }

    void go(int source)
    {
        model[source] = {};
        watches[source]->removeFaults();
        watches[source].reset();
    }

    void step(int now)
    {
        const int source = upTo(sources - 1);
        const int what = upTo(99);
        if (!model[source].isThere)
        {
            come(source);
        }
        else if (what < 3)
        {
            go(source);
        }
        else if (what < 12)
        {
            model[source].fail(now);
            watches[source]->take({std::nullopt, "broken"});
        }
        else
        {
            // Hot and cool periods, so that a component has too many faults and
            // then fewer again.
            const bool isHot = now / 500 % 2 == 0;
            const double value = isHot ? 70 + upTo(30) : 50 + upTo(35);
            model[source].take(value, now);
            watches[source]->take({value, {}});
        }
        faults[0]->report();
        faults[1]->report();
    }

    /** The faults that a component must show. */
    std::set<std::string> expected(int component) const
    {
        struct Fault
        {
            int severity;
            int since;
            std::string text;
        };
        std::vector<Fault> all;
        for (int i = 0; i < sources; ++i)
        {
            const ModelSource& each = model[i];
            if (getComponent(i) == component && each.level > 0)
            {
                all.push_back(
                    {each.level, each.levelSince,
                     std::to_string(i) + (each.level == 2 ? "!" : "")});
            }
            if (getComponent(i) == component && each.isUnreadable)
            {
                all.push_back(
                    {1, each.unreadableSince, std::to_string(i) + "?"});
            }
        }
        std::ranges::sort(all, [](const Fault& one, const Fault& other) {
            return std::pair(-one.severity, one.since) <
                   std::pair(-other.severity, other.since);
        });
        std::set<std::string> texts;
        const std::size_t shown = all.size() > 10 ? 9 : all.size();
        for (std::size_t i = 0; i < shown; ++i)
        {
            texts.insert(all[i].text);
        }
        if (shown < all.size())
        {
            texts.insert("more " + std::to_string(all.size() - shown) +
                         (all[shown].severity == 2 ? "!" : ""));
        }
        return texts;
    }

    static std::set<std::string> shown(int component)
    {
        const std::string start = root + "/" + std::to_string(component) + "/";
        std::set<std::string> texts;
        for (const auto& [path, record] : platform().faultRecords)
        {
            if (path.starts_with(start))
            {
                texts.insert(std::get<std::string>(record.at("Message")));
            }
        }
        return texts;
    }

    int upTo(int most)
    {
        return static_cast<int>(random() % static_cast<unsigned>(most + 1));
    }

    std::mt19937 random{20261122};
    std::unique_ptr<FaultAndHealth> components[2];
    std::optional<ComponentFaults> faults[2];
    std::optional<Watch> watches[sources];
    ModelSource model[sources];
};

TEST_F(HostmonAndItsModel, ShowTheSameAfterEachStep)
{
    // AddressSanitizer makes a step ten times slower.
    constexpr int steps = isAddressSanitized ? 20'000 : 100'000;
    int crowded = 0;
    for (int now = 1; now <= steps; ++now)
    {
        step(now);
        const auto first = expected(0);
        crowded += std::ranges::any_of(first, [](const std::string& text) {
            return text.starts_with("more");
        });
        ASSERT_EQ(shown(0), first) << "step " << now;
        ASSERT_EQ(shown(1), expected(1)) << "step " << now;
        ASSERT_LE(platform().faultRecords.size(),
                  shown(0).size() + shown(1).size());
        journal().clear();
        if (now % 50 == 0)
        {
            connection.settle();
        }
    }
    // Rounds with and without too many faults both occurred.
    EXPECT_GT(crowded, steps / 10);
    EXPECT_LT(crowded, steps / 10 * 9);
}

} // namespace
} // namespace healthintf::hostmon
