// SPDX-License-Identifier: Apache-2.0
#include "file_content.hpp"
#include "logmgr/history/journal.hpp"
#include "sample_records.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <set>
#include <sstream>

namespace healthintf::history
{
namespace
{

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/** A socket in the place of the journal's. */
class Receiver
{
  public:
    explicit Receiver(const std::filesystem::path& path)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.native().copy(static_cast<char*>(address.sun_path),
                           sizeof(address.sun_path) - 1);
        const void* const any = &address;
        EXPECT_EQ(bind(socket.get(), static_cast<const sockaddr*>(any),
                       sizeof(address)),
                  0);
    }

    std::string receive() const
    {
        std::array<char, 65536> bytes{};
        const ssize_t size =
            recv(socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        return {bytes.data(), size < 0 ? 0 : static_cast<std::size_t>(size)};
    }

  private:
    host::FileDescriptor socket{
        ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

/** The MESSAGE_ID of a record's kind. */
std::string messageId(Kind kind)
{
    const std::string text = formatForJournal(makeRecord(kind, 1));
    const std::string name = "\nMESSAGE_ID=";
    const std::size_t begin = text.find(name) + name.size();
    return text.substr(begin, text.find('\n', begin) - begin);
}

TEST(Describe, TellsWhatHappenedToWhat)
{
    EXPECT_EQ(describe(makeRecord(Kind::appeared, 1)),
              fan + ": appeared, critical: Fan 1 failed.");
    Record cleared;
    cleared.kind = Kind::logCleared;
    EXPECT_EQ(describe(cleared), "log-cleared");
}

TEST(JournalFormat, HasAFieldForEachPartOfTheRecord)
{
    Record record = makeRecord(Kind::cleared, 1);
    record.sequence = 9;
    record.lasted = 1500;
    record.occurrence = 2;
    record.missed = true;
    const std::string text = formatForJournal(record);
    EXPECT_THAT(text, StartsWith("MESSAGE=" + fan + ": cleared"));
    for (const char* field :
         {"\nPRIORITY=5\n", "\nHEALTH_KIND=cleared\n", "\nHEALTH_SEQUENCE=9\n",
          "\nHEALTH_MESSAGE_ID=FAN.1.0.Failed\n", "\nHEALTH_PROCESS=fand\n",
          "\nHEALTH_SEVERITY=critical\n", "\nHEALTH_LASTED_MS=1500\n",
          "\nHEALTH_OCCURRENCE=2\n", "\nHEALTH_MISSED=1\n"})
    {
        EXPECT_THAT(text, HasSubstr(field));
    }
}

TEST(JournalFormat, GivesABadFaultItsUrgency)
{
    Fault fault = makeFault();
    EXPECT_THAT(formatForJournal(makeRecord(Kind::appeared, 1, fault)),
                HasSubstr("\nPRIORITY=2\n"));
    fault.severity = 3;
    EXPECT_THAT(formatForJournal(makeRecord(Kind::monitorLost, 1, fault)),
                HasSubstr("\nPRIORITY=4\n"));
}

TEST(JournalFormat, LetsNoTextAddAField)
{
    Fault fault = makeFault();
    fault.message = "x\nHEALTH_PROCESS=false";
    const std::string text =
        formatForJournal(makeRecord(Kind::appeared, 1, fault));
    const std::string size("\x16\0\0\0\0\0\0\0", 8);
    EXPECT_THAT(text, HasSubstr("\nHEALTH_MESSAGE\n" + size + fault.message));
}

TEST(JournalFormat, HasAMessageIdOfItsOwnForEachKindThatTheCatalogExplains)
{
    const std::string catalog = test::readContent(CATALOG);
    std::set<std::string> ids;
    for (int number = 1; number <= static_cast<int>(lastKind); ++number)
    {
        const std::string id = messageId(static_cast<Kind>(number));
        EXPECT_EQ(id.size(), 32U);
        EXPECT_THAT(catalog, HasSubstr("\n-- " + id + "\nSubject: "));
        ids.insert(id);
    }
    EXPECT_EQ(ids.size(), static_cast<std::size_t>(lastKind));
}

TEST(Journal, GetsEachRecord)
{
    const test::TemporaryFolder folder;
    const auto path = folder.path() / "socket";
    const Receiver receiver(path);
    const Record record = makeRecord(Kind::appeared, 1);
    Journal(path).write(record);
    EXPECT_EQ(receiver.receive(), formatForJournal(record));
}

TEST(Journal, IsNotWaitedForWhenItReadsNothing)
{
    const test::TemporaryFolder folder;
    const auto path = folder.path() / "socket";
    const Receiver receiver(path);
    const Journal journal(path);
    for (int i = 0; i < 10'000; ++i)
    {
        journal.write(makeRecord(Kind::appeared, 1));
    }
    EXPECT_THAT(receiver.receive(), Not(testing::IsEmpty()));
}

TEST(Journal, MayBeMissing)
{
    Journal("/none/socket").write(makeRecord(Kind::appeared, 1));
    Journal(std::string(200, 'x')).write(makeRecord(Kind::appeared, 1));
}

} // namespace
} // namespace healthintf::history
