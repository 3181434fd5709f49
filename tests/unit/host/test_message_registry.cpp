// SPDX-License-Identifier: Apache-2.0
#include "address_sanitizer.hpp"
#include "child.hpp"
#include "message_registry/known_message.hpp"
#include "no_more_descriptors.hpp"
#include "temporary_folder.hpp"

#include <platform/message_registry.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using healthintf::test::inChild;

/** Each process reads the registry's folders once, so each test uses a process
 *  of its own. */
class MessageRegistry : public testing::Test
{
  protected:
    MessageRegistry()
    {
        folder.write("one/fan.json", R"({
"RegistryPrefix": "Fan", "RegistryVersion": "1.0.0", "Language": "en",
"Messages": {
"Failed": {"Message": "Fan %1 in %2 failed.", "MessageSeverity": "Critical",
           "NumberOfArgs": 2},
"Long": {"Message": "%1", "MessageSeverity": "Warning", "NumberOfArgs": 1},
"Fine": {"Message": "Fine.", "MessageSeverity": "OK", "NumberOfArgs": 0}}})");
        setenv("HEALTHINTF_REGISTRY_PATH",
               (":" + (folder.path() / "missing").string() +
                "::" + (folder.path() / "one").string())
                   .c_str(),
               1);
    }

    static int get(const char* id, std::string arguments,
                   std::vector<char>& content)
    {
        arguments.append(MSGREG_MAX_ARGUMENTS, '\0');
        content.assign(MSGREG_CONTENT_SIZE, '\0');
        return MsgRegGetContentWNByMsgID(id, "en", arguments.c_str(),
                                         content.data());
    }

    static uint32_t severity(const std::vector<char>& content)
    {
        uint32_t value = 0;
        std::memcpy(&value, content.data() + MSGREG_CONTENT_SEVERITY_OFFSET,
                    sizeof(value));
        return value;
    }

    static std::string text(const std::vector<char>& content)
    {
        return content.data() + MSGREG_CONTENT_TEXT_OFFSET;
    }

    healthintf::test::TemporaryFolder folder;
};

TEST_F(MessageRegistry, GivesSeverityAndTextWithItsArguments)
{
    EXPECT_EQ(inChild([] {
                  std::vector<char> content;
                  using namespace std::string_literals;
                  return get("Fan.1.0.Failed", "7\0rear\0"s, content) == 0 &&
                                 severity(content) == 1 &&
                                 text(content) == "Fan 7 in rear failed."
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(MessageRegistry, NumbersTheSeverities)
{
    EXPECT_EQ(inChild([] {
                  std::vector<char> content;
                  int sum = 0;
                  for (const char* id : {"Failed", "Long", "Fine"})
                  {
                      get(id, "", content);
                      sum = sum * 10 + static_cast<int>(severity(content));
                  }
                  return sum;
              }),
              123);
}

TEST_F(MessageRegistry, ReadsMissingArgumentsAsEmpty)
{
    EXPECT_EQ(inChild([] {
                  std::vector<char> content;
                  return get("Failed", "", content) == 0 &&
                                 text(content) == "Fan  in  failed."
                             ? 0
                             : 1;
              }),
              0);
}

/** The number of occurrences of a text in another. */
int count(const std::string& text, const std::string& part)
{
    int found = 0;
    for (auto at = text.find(part); at != std::string::npos;
         at = text.find(part, at + 1))
    {
        ++found;
    }
    return found;
}

TEST_F(MessageRegistry, LogsMissingArgumentsOnceForEachMessage)
{
    using namespace std::string_literals;
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      std::vector<char> content;
                      get("Failed", "7\0"s, content);
                      get("Fan.Failed", "", content);
                      get("Long", "", content);
                      get("Failed", "7\0rear\0"s, content);
                      return get("Fine", "", content);
                  },
                  &errors),
              0);
    EXPECT_EQ(count(errors, "takes"), 2) << errors;
    EXPECT_THAT(errors, testing::HasSubstr("the message Failed takes 2 "
                                           "arguments, of which only the "
                                           "first 1 have a text"));
    EXPECT_THAT(errors, testing::HasSubstr("the message Long takes 1 "));
}

TEST_F(MessageRegistry, NamesAFolderThatDoesNotExistOnce)
{
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      std::vector<char> content;
                      get("Fine", "", content);
                      return get("Fine", "", content);
                  },
                  &errors),
              0);
    EXPECT_EQ(count(errors, "HEALTHINTF_REGISTRY_PATH names the folder " +
                                (folder.path() / "missing").string() +
                                ", which does not exist"),
              1)
        << errors;
}

TEST_F(MessageRegistry, CutsALongTextToTheRecord)
{
    EXPECT_EQ(inChild([] {
                  std::vector<char> content;
                  constexpr std::size_t room =
                      MSGREG_CONTENT_SIZE - MSGREG_CONTENT_TEXT_OFFSET - 1;
                  std::string argument(room - 1, 'x');
                  argument += "\xE2\x82\xAC";
                  return get("Long", argument, content) == 0 &&
                                 text(content) == argument.substr(0, room - 1)
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(MessageRegistry, ReportsAnUnknownMessage)
{
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      std::vector<char> content;
                      return get("Other", "", content);
                  },
                  &errors),
              ENOENT);
    EXPECT_THAT(errors, testing::HasSubstr("no message Other in any registry "
                                           "of language en"));
}

TEST_F(MessageRegistry, IsReadAgainAfterAShortageOfDescriptors)
{
    if (healthintf::test::isAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs files to look at objects";
    }
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      std::vector<char> content;
                      for (int i = 0; i < 2; ++i)
                      {
                          const healthintf::test::NoMoreDescriptors none;
                          if (get("Fine", "", content) != EMFILE)
                          {
                              return 1;
                          }
                      }
                      return get("Fine", "", content);
                  },
                  &errors),
              0);
    EXPECT_EQ(count(errors, "unable to read the message registries: " +
                                (folder.path() / "missing").string() +
                                ": Too many open files"),
              1)
        << errors;
}

TEST_F(MessageRegistry, RefusesNullArguments)
{
    std::vector<char> content(MSGREG_CONTENT_SIZE);
    EXPECT_EQ(MsgRegGetContentWNByMsgID(nullptr, "en", "", content.data()),
              EINVAL);
    EXPECT_EQ(MsgRegGetContentWNByMsgID("a", nullptr, "", content.data()),
              EINVAL);
    EXPECT_EQ(MsgRegGetContentWNByMsgID("a", "en", nullptr, content.data()),
              EINVAL);
    EXPECT_EQ(MsgRegGetContentWNByMsgID("a", "en", "", nullptr), EINVAL);
}

TEST_F(MessageRegistry, LooksInTheSystemsFoldersWhenNoOthersAreNamed)
{
    unsetenv("HEALTHINTF_REGISTRY_PATH");
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      std::vector<char> content;
                      return get("Fan.Failed", "", content);
                  },
                  &errors),
              ENOENT);
}

TEST_F(MessageRegistry, TellsOfAMessageWhatItTakesAndHowBadItIs)
{
    EXPECT_TRUE(inChild([] {
        using namespace healthintf::host;
        const auto failed = findMessage("Fan.1.0.Failed");
        const auto fine = findMessage("Fine");
        return failed && failed->arguments == 2 &&
               failed->severity == MessageSeverity::critical && fine &&
               fine->arguments == 0 && fine->severity == MessageSeverity::ok &&
               !findMessage("Fan.1.0.Unheard");
    }));
}

} // namespace
