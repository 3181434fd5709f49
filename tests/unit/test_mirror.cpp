// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"
#include "text.hpp"

#include <com/vexa/olvar/mirror.hpp>

#include <stdexcept>
#include <variant>

namespace healthintf::binding
{
namespace
{

using namespace healthintf::test;

struct FakeCache
{
    using Variant = std::variant<uint32_t, std::string>;

    static int create(const std::string& path,
                      const std::map<std::string, Variant>& properties)
    {
        return static_cast<int>(
            journal().called("create", path + " " + text(properties)));
    }
    static int setProperty(const std::string& path, const std::string& name,
                           const Variant& value)
    {
        return static_cast<int>(journal().called(
            "setProperty", path + " " + name + "=" + text(value)));
    }
    static int remove(const std::string& path)
    {
        return static_cast<int>(journal().called("remove", path));
    }
};

struct FakeCluster
{
    void PropertyChanged(const std::string& path, const std::string& name,
                         const FakeCache::Variant& value)
    {
        journal().called("PropertyChanged",
                         path + " " + name + "=" + text(value));
    }
};

int number(sd_bus*, const char*, const char*, const char*,
           sd_bus_message* reply, void* context, sd_bus_error*)
{
    return sd_bus_message_append_basic(reply, 'u', context);
}

constexpr sdbusplus::vtable_t table[] = {
    sdbusplus::vtable::start(),
    sdbusplus::vtable::property("Number", "u", number,
                                sdbusplus::vtable::property_::emits_change),
    sdbusplus::vtable::end(),
};

class MirrorTest : public LibraryTest
{
  protected:
    using Map = Mirror<FakeCache>::PropertyMap;

    /** Publishes the object and forgets the calls for that. */
    void publish(const Map& properties = {})
    {
        mirror.publish(properties,
                       [](const std::string&, const FakeCache::Variant&) {});
        journal().take();
    }

    uint32_t set(uint32_t value, bool skipSignal = false)
    {
        return mirror.set(cluster, held, "Number", value, skipSignal);
    }

    uint32_t held = 1;
    FakeCluster cluster;
    Mirror<FakeCache> mirror{bus, "/a/b", "com.example", table, &held};
};

TEST_F(MirrorTest, CreatesTheRecordOnceAndAppliesEachProperty)
{
    journal().take();
    mirror.publish({{"B", "two"}, {"A", uint32_t{1}}},
                   [](const std::string& name, const auto& value) {
                       journal().called("apply", name + "=" + text(value));
                   });
    EXPECT_EQ(journal().take(), (Lines{"create /a/b {A=1, B='two'}",
                                       "apply A=1", "apply B='two'"}));
}

TEST_F(MirrorTest, DoesNotWriteARecordWhileItIsPublished)
{
    journal().take();
    mirror.publish({{"Number", uint32_t{5}}},
                   [this](const std::string&, const auto& value) {
                       set(std::get<uint32_t>(value));
                   });
    EXPECT_EQ(journal().take(),
              (Lines{"create /a/b {Number=5}", "PropertyChanged /a/b Number=5",
                     "PropertiesChanged /a/b Number"}));
}

TEST_F(MirrorTest, WritesTheRecordBeforeItCompares)
{
    publish();
    EXPECT_EQ(set(1), 1u);
    EXPECT_EQ(journal().take(), Lines{"setProperty /a/b Number=1"});
}

TEST_F(MirrorTest, WritesStoresNotifiesAndEmitsInThisOrder)
{
    publish();
    EXPECT_EQ(set(2), 2u);
    EXPECT_EQ(held, 2u);
    EXPECT_EQ(journal().take(), (Lines{"setProperty /a/b Number=2",
                                       "PropertyChanged /a/b Number=2",
                                       "PropertiesChanged /a/b Number"}));
}

TEST_F(MirrorTest, SendsNoSignalWhenToldNotTo)
{
    publish();
    EXPECT_EQ(set(2, true), 2u);
    EXPECT_EQ(journal().take(), (Lines{"setProperty /a/b Number=2",
                                       "PropertyChanged /a/b Number=2"}));
}

TEST_F(MirrorTest, KeepsTheOldValueWhenTheRecordRefusesTheNew)
{
    publish();
    journal().answer("setProperty", 5);
    EXPECT_EQ(set(2), 1u);
    EXPECT_EQ(held, 1u);
    EXPECT_EQ(journal().take(), Lines{"setProperty /a/b Number=2"});
}

TEST_F(MirrorTest, HasNoRecordWithTheMarker)
{
    journal().take();
    mirror.publish({{"meta-NonCached", uint32_t{1}}},
                   [](const std::string& name, const auto&) {
                       journal().called("apply", name);
                   });
    set(2);
    mirror.withdraw();
    EXPECT_EQ(journal().take(),
              (Lines{"apply meta-NonCached", "PropertyChanged /a/b Number=2",
                     "PropertiesChanged /a/b Number"}));
}

TEST_F(MirrorTest, RemovesTheRecordWhenAPropertyCannotBeApplied)
{
    journal().take();
    EXPECT_THROW(mirror.publish({{"Number", "no number"}},
                                [this](const std::string&, const auto& value) {
                                    set(std::get<uint32_t>(value));
                                }),
                 std::bad_variant_access);
    mirror.withdraw();
    EXPECT_EQ(journal().take(),
              (Lines{"create /a/b {Number='no number'}", "remove /a/b"}));
}

TEST_F(MirrorTest, IgnoresTheResultOfCreatingTheRecord)
{
    journal().answer("create", 5);
    publish();
    EXPECT_EQ(set(2), 2u);
    EXPECT_EQ(journal().lines().front(), "setProperty /a/b Number=2");
}

TEST_F(MirrorTest, PassesOnExceptionsOfCreatingTheRecord)
{
    journal().fail("create", [] {
        throw std::runtime_error("broken");
    });
    EXPECT_THROW(publish(), std::runtime_error);
    journal().take();
    mirror.withdraw();
    EXPECT_EQ(journal().take(), Lines{});
}

TEST_F(MirrorTest, RemovesTheRecordWhenWithdrawn)
{
    publish();
    mirror.withdraw();
    EXPECT_EQ(journal().take(), Lines{"remove /a/b"});
}

TEST_F(MirrorTest, CatchesExceptionsOfRemovingTheRecord)
{
    publish();
    journal().fail("remove", [] {
        throw std::runtime_error("broken");
    });
    EXPECT_NO_THROW(mirror.withdraw());
}

TEST_F(MirrorTest, SendsSignalsFromItsPath)
{
    journal().take();
    mirror.signal("Told", uint32_t{1}, std::string("two"));
    EXPECT_EQ(journal().take(),
              Lines{"signal /a/b com.example Told us: 1 'two'"});
}

TEST_F(MirrorTest, NamesTheCallThatFailedToSend)
{
    const auto text = [this] {
        try
        {
            mirror.signal("Told");
        }
        catch (const sdbusplus::exception::SdBusError& e)
        {
            return std::string(e.what());
        }
        return std::string("sent");
    };
    journal().answer("sd_bus_message_new_signal", -ENOMEM);
    EXPECT_EQ(text().substr(0, 25), "sd_bus_message_new_signal");
    journal().answer("sd_bus_send Told", -ENOTCONN);
    EXPECT_EQ(text().substr(0, 12), "sd_bus_send:");
}

} // namespace
} // namespace healthintf::binding
