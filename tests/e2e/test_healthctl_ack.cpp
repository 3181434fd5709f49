// SPDX-License-Identifier: Apache-2.0
/** @file healthctl's acknowledgements, on a running tree. */

#include "healthctl.hpp"
#include "installed_policy.hpp"

#include <gmock/gmock.h>

#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

namespace healthintf::test
{
namespace
{

using nlohmann::json;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

using Words = std::vector<std::string>;

class Acknowledging : public HealthctlTest
{
  protected:
    Acknowledging()
    {
        daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 1, 7);
        client.waitForHealth(root, 4);
        entry = toJson({"faults"})["faults"][0]["path"];
        name = entry.substr(entry.rfind('/') + 1);
    }

    static Answer acknowledge(const std::string& fault)
    {
        return healthctl({"ack", fault, "--comment", "Olga sees to it"});
    }

    /** The acknowledgement of the only fault, as JSON. */
    static json acknowledgement()
    {
        return toJson({"faults"})["faults"][0]["acknowledgement"];
    }

    std::string entry;
    std::string name;
};

TEST_F(Acknowledging, TakesThePathItsEndOrTheComponent)
{
    for (const std::string& written :
         {entry, name, std::string("rack/fan"), fan})
    {
        EXPECT_EQ(acknowledge(written).output,
                  "Acknowledged Test.1.0.Slow of rack/fan.\n");
        EXPECT_EQ(acknowledgement()["comment"], "Olga sees to it");
        EXPECT_EQ(healthctl({"ack", written, "--withdraw"}).output,
                  "Withdrew the acknowledgement of Test.1.0.Slow of "
                  "rack/fan.\n");
        EXPECT_EQ(acknowledgement(), nullptr);
    }
}

TEST_F(Acknowledging, HasJson)
{
    const json given = toJson({"ack", name, "--comment", "why"});
    EXPECT_EQ(given["path"], entry);
    EXPECT_EQ(given["component"], fan);
    EXPECT_EQ(given["withdrawn"], false);
    EXPECT_EQ(given["comment"], "why");
    EXPECT_EQ(acknowledgement()["uid"], getuid());
    EXPECT_EQ(toJson({"top"})["faults"][0]["acknowledgement"]["comment"],
              "why");
    EXPECT_EQ(toJson({"ack", name, "--withdraw"})["withdrawn"], true);
}

TEST_F(Acknowledging, IsShownByFaultsTopAndTree)
{
    acknowledge(name);
    const std::string line = "  acknowledged [0-9]{4}-[0-9-]{5} [0-9:]{8} by "
                             "[^\n]+: Olga sees to it\n";
    for (const Words& words : {Words{"faults"}, {"top"}, {"tree", "--faults"}})
    {
        EXPECT_THAT(healthctl(words).output, ContainsRegex(line)) << words[0];
    }
    EXPECT_THAT(healthctl({"tree"}).output,
                HasSubstr("1 fault, 1 acknowledged"));
}

TEST_F(Acknowledging, LeavesTheHealthAsItIs)
{
    acknowledge(name);
    client.catchUp();
    EXPECT_EQ(client.health(daemon.name(), fan), 4U);
}

TEST_F(Acknowledging, GoesWithTheFault)
{
    acknowledge(name);
    daemon.remove(fan, "Test.1.0.Slow", "/sensors/fan");
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 1, 7);
    EXPECT_EQ(acknowledgement(), nullptr);
}

TEST_F(Acknowledging, AsksWhichOfSeveralIsMeant)
{
    daemon.add(fan, "Test.1.0.Hot", "/sensors/heat", 1, 8);
    const Answer answer = acknowledge("rack/fan");
    EXPECT_EQ(answer.status, 2);
    EXPECT_THAT(answer.errors,
                HasSubstr("\"rack/fan\" may be one of 2 faults; give one of "));
    EXPECT_THAT(answer.errors, HasSubstr(name));
    EXPECT_THAT(healthctl({"faults"}).output,
                HasSubstr("  entry " + name + "\n"));
    EXPECT_EQ(acknowledge(name).status, 0);
}

TEST_F(Acknowledging, RequiresACommentOrNone)
{
    for (const auto& [words, error] :
         std::vector<std::pair<Words, std::string>>{
             {{"ack", name}, "--comment is required"},
             {{"ack", name, "--withdraw", "--comment", "why"},
              "--withdraw takes no --comment"},
             {{"ack", name, "--comment", "two\nlines"},
              "a comment must be one line"},
             {{"ack", name, "--comment", "\xFF"},
              "a comment must be one line of printable UTF-8"},
             {{"ack", name, "--comment", std::string(513, 'x')},
              "the comment has 513 bytes, more than 512"},
             {{"ack"}, "FAULT is required"}})
    {
        const Answer answer = healthctl(words);
        EXPECT_EQ(answer.status, 2) << answer.errors;
        EXPECT_THAT(answer.errors, HasSubstr(error));
    }
    EXPECT_EQ(acknowledgement(), nullptr);
}

TEST_F(Acknowledging, HasAnExitStatusForWhatIsNotThere)
{
    const Answer none = acknowledge("rack/psu");
    EXPECT_EQ(none.status, 6);
    EXPECT_EQ(none.errors, "healthctl: there is no fault \"rack/psu\"; "
                           "\"healthctl faults --all\" shows all\n");
    const Answer unacknowledged = healthctl({"ack", name, "--withdraw"});
    EXPECT_EQ(unacknowledged.status, 6);
    EXPECT_THAT(unacknowledged.errors,
                HasSubstr("the fault is not acknowledged"));
}

TEST(AcknowledgingForOthers, IsRefusedInOneLineAndShown)
{
    if (getuid() != 0)
    {
        GTEST_SKIP() << "only root can become another user";
    }
    const std::string fan = "/com/vexa/olvar/health/fan";
    const PrivateBus bus{systemRules +
                         installedRules("com.vexa.olvar.healthmgr")};
    letOthersIn(bus);
    BusClient client;
    const Process healthmgr{{HEALTHMGR}};
    Component daemon(fan, 2);
    daemon.add(fan, "Test.1.0.Slow", "/sensors/fan", 1, 7);
    client.waitForHealth("/com/vexa/olvar/health", 4);
    const auto asOther = [](Words words) {
        words.insert(words.begin(), HEALTHCTL);
        return runProgram(as(Caller::stranger, words));
    };
    const Answer refused = asOther({"ack", "fan", "--comment", "why"});
    EXPECT_EQ(refused.status, 4);
    EXPECT_THAT(refused.errors,
                EndsWith("try again as root or as a member of the group "
                         "healthintf-operators\n"));
    EXPECT_THAT(asOther({"faults"}).output, Not(HasSubstr("acknowledged")));
    EXPECT_EQ(healthctl({"ack", "fan", "--comment", "why"}).status, 0);
    EXPECT_EQ(asOther({"ack", "fan", "--withdraw"}).status, 4);
    const Answer shown = asOther({"faults"});
    EXPECT_THAT(shown.output, HasSubstr(": why\n")) << shown.errors;
}

} // namespace
} // namespace healthintf::test
