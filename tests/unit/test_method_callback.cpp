// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"
#include "text.hpp"

#include <com/vexa/olvar/method_callback.hpp>

#include <sdbusplus/server/interface.hpp>
#include <sdbusplus/vtable.hpp>

#include <array>
#include <stdexcept>

namespace healthintf::binding
{
namespace
{

using namespace healthintf::test;

struct Object
{
    virtual ~Object() = default;

    sdbusplus::bus_t& bus()
    {
        return *connection;
    }
    virtual int32_t take(uint32_t number, std::string word)
    {
        taken = word + std::to_string(number);
        return -5;
    }
    std::string give()
    {
        return taken;
    }

    sdbusplus::bus_t* connection = nullptr;
    std::string taken;
};

/** An object whose method throws. */
struct Throwing : Object
{
    int32_t take(uint32_t number, std::string /*word*/) override
    {
        if (number == 0)
        {
            throw number;
        }
        throw std::runtime_error("broken");
    }
};

constexpr std::array table{
    sdbusplus::vtable::start(),
    sdbusplus::vtable::method("Take", "us", "i", methodCallback<&Object::take>,
                              sdbusplus::vtable::common_::unprivileged),
    sdbusplus::vtable::method("Give", "", "s", methodCallback<&Object::give>,
                              sdbusplus::vtable::common_::unprivileged),
    sdbusplus::vtable::end()};

class MethodCallback : public LibraryTest
{
  protected:
    void put(Object& object)
    {
        object.connection = &bus;
        registered = std::make_unique<sdbusplus::server::interface_t>(
            bus, "/a", "com.example", table.data(), &object);
    }

    MessagePtr take(uint32_t number, const char* word)
    {
        return connection.call("/a", "com.example", "Take", "us", number, word);
    }

    std::unique_ptr<sdbusplus::server::interface_t> registered;
};

TEST_F(MethodCallback, CallsTheFunctionAndAnswersWithItsResult)
{
    Object object;
    put(object);
    EXPECT_EQ(arguments(take(7, "seven").get()), "-5");
    EXPECT_EQ(object.taken, "seven7");
    const MessagePtr reply = connection.call("/a", "com.example", "Give", "");
    EXPECT_EQ(arguments(reply.get()), "'seven7'");
    registered.reset();
}

TEST_F(MethodCallback, RepliesWithAnErrorForEveryException)
{
    Throwing object;
    put(object);
    EXPECT_TRUE(sd_bus_message_is_method_error(take(0, "").get(), nullptr));
    EXPECT_TRUE(sd_bus_message_is_method_error(
        take(1, "").get(), "org.freedesktop.DBus.Error.Failed"));
    registered.reset();
}

TEST_F(MethodCallback, IsNotReachedWithOtherArguments)
{
    Object object;
    put(object);
    const MessagePtr reply =
        connection.call("/a", "com.example", "Take", "s", "x");
    EXPECT_TRUE(sd_bus_message_is_method_error(
        reply.get(), "org.freedesktop.DBus.Error.InvalidArgs"));
    EXPECT_EQ(object.taken, "");
    registered.reset();
}

} // namespace
} // namespace healthintf::binding
