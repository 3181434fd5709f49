// SPDX-License-Identifier: Apache-2.0
#include "health_node_test.hpp"
#include "owner_callback.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace health_namespace::details
{
namespace
{

using Callback = std::function<std::string(const std::string&)>;

TEST(OwnerCallback, MayDestroyTheVariableThatHoldsIt)
{
    auto variable = std::make_unique<Callback>();
    *variable = [&variable,
                 kept = std::string(100, 'x')](const std::string& given) {
        variable.reset();
        return given + kept;
    };
    EXPECT_EQ(callOwnerCallback(*variable, "a"), "a" + std::string(100, 'x'));
}

TEST(OwnerCallback, IsTheSameInEachCallAndInCopies)
{
    Callback variable = [calls = 0](const std::string& given) mutable {
        return given + std::to_string(++calls);
    };
    EXPECT_EQ(callOwnerCallback(variable, "a"), "a1");
    EXPECT_EQ(callOwnerCallback(variable, "b"), "b2");
    Callback copy = variable;
    EXPECT_EQ(callOwnerCallback(copy, "c"), "c3");
    EXPECT_EQ(variable("d"), "d4");
}

TEST(DestructionWatch, NoticesOnlyItsOwnObject)
{
    const int object = 0;
    const int other = 0;
    const DestructionWatch outer(&object);
    {
        const DestructionWatch inner(&other);
        DestructionWatch::markDestroyed(&other);
        EXPECT_TRUE(inner.isDestroyed());
    }
    EXPECT_FALSE(outer.isDestroyed());
    DestructionWatch::markDestroyed(&object);
    EXPECT_TRUE(outer.isDestroyed());
    DestructionWatch::markDestroyed(&other);
}

} // namespace
} // namespace health_namespace::details

namespace health_namespace
{
namespace
{

using namespace healthintf::test;

/** Callbacks of a node's owner that destroy or replace the object that calls
 *  them. Each then reads a captured variable, so that AddressSanitizer notices
 *  if the callback itself was destroyed. */
class OwnersCallable : public HealthNodeTest
{
  protected:
    /** Makes the node calculate its health in one of several ways. */
    void calculate(int way)
    {
        HealthStatus& called = *node;
        std::string child = key + "/b";
        switch (way)
        {
            case 0:
                EXPECT_EQ(called.updateHealthStatus(4), 4);
                break;
            case 1:
                EXPECT_EQ(called.healthStatusInternalCallbackHandler(child, 4),
                          0);
                break;
            case 2:
                haveHealthRecord(child, 4);
                EXPECT_EQ(called.GetImmediateChildsAndUpdate(), 0);
                break;
            default:
                childReports(key, child, 4);
        }
    }

    static constexpr int ways = 4;
    const std::string key = "/com/vexa/olvar/health/a";
    const std::string captured = std::string(100, 'x');
    std::unique_ptr<HealthStatus> node = make(key, 0);
    std::string seen;
};

TEST_F(OwnersCallable, MayEndItsNodeWhenTheHealthHasChanged)
{
    for (int way = 0; way < ways; ++way)
    {
        node.reset();
        node = make(key, 0);
        node->healthChangedCallback = [this, copy = captured](unsigned int) {
            node.reset();
            seen += copy;
        };
        calculate(way);
        EXPECT_EQ(node, nullptr) << way;
        platform().healthRecords.clear();
    }
    EXPECT_EQ(seen.size(), ways * captured.size());
}

TEST_F(OwnersCallable, MayEndItsNodeWhileItCalculates)
{
    for (int way = 0; way < ways; ++way)
    {
        node.reset();
        node = make(key, 0);
        node->healthCalculator =
            [this, copy = captured](const std::string&,
                                    const HealthStatus::ChildMap&) {
                node.reset();
                journal().take();
                seen += copy;
                return 4U;
            };
        calculate(way);
        EXPECT_EQ(node, nullptr) << way;
        EXPECT_EQ(journal().take("signal"), Lines{})
            << "of a node that is gone";
        platform().healthRecords.clear();
    }
    EXPECT_EQ(seen.size(), ways * captured.size());
}

TEST_F(OwnersCallable, MayReplaceItselfWhenTheHealthHasChanged)
{
    node->healthChangedCallback = [this, copy = captured](unsigned int) {
        node->healthChangedCallback = [this](unsigned int health) {
            seen += std::to_string(health);
            node->healthChangedCallback = nullptr;
        };
        seen = copy;
    };
    node->updateHealthStatus(2);
    EXPECT_EQ(seen, captured);
    node->updateHealthStatus(3);
    node->updateHealthStatus(4);
    EXPECT_EQ(seen, captured + "3");
}

TEST_F(OwnersCallable, MayReplaceItselfWhileItCalculates)
{
    node->healthCalculator = [this,
                              copy = captured](const std::string&,
                                               const HealthStatus::ChildMap&) {
        node->healthCalculator = nullptr;
        seen = copy;
        return 1U;
    };
    EXPECT_EQ(node->updateHealthStatus(2), 1);
    EXPECT_EQ(node->updateHealthStatus(3), 3);
    EXPECT_EQ(seen, captured);
}

TEST_F(OwnersCallable, KeepsItsStateFromCallToCall)
{
    node->healthChangedCallback = [this, calls = 0](unsigned int) mutable {
        seen += std::to_string(++calls);
    };
    node->updateHealthStatus(2);
    node->updateHealthStatus(3);
    auto copy = node->healthChangedCallback;
    copy(0);
    EXPECT_EQ(seen, "123");
}

TEST_F(OwnersCallable, MayEndANodeFurtherUpTheCallStack)
{
    node->healthChangedCallback = [this, copy = captured](unsigned int health) {
        if (health == 2)
        {
            node->updateHealthStatus(3);
            seen += copy;
        }
        else
        {
            node.reset();
        }
    };
    node->updateHealthStatus(2);
    EXPECT_EQ(node, nullptr);
    EXPECT_EQ(seen, captured);
}

TEST_F(OwnersCallable, MayEndAnotherNode)
{
    auto other = make("/com/vexa/olvar/health/other", 0);
    node->healthCalculator = [&other](const std::string&,
                                      const HealthStatus::ChildMap&) {
        other.reset();
        return 3U;
    };
    EXPECT_EQ(node->updateHealthStatus(2), 3);
    EXPECT_EQ(node->healthStatus(), 3U);
}

} // namespace
} // namespace health_namespace
