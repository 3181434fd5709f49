// SPDX-License-Identifier: Apache-2.0
#include "peers.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/sdbuspp_support/server.hpp>
#include <sdbusplus/server.hpp>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <tuple>

namespace sdbusplus
{
namespace
{

/** What the callbacks below do with the object that they are given. */
struct Device
{
    std::function<uint32_t(uint32_t)> work;
    uint32_t level = 3;
};

int work(sd_bus_message* m, void* context, sd_bus_error* error)
{
    return sdbuspp::method_callback(
        m, &sdbus_impl, error,
        std::function(
            [device = static_cast<Device*>(context)](uint32_t&& value) {
                return device->work(value);
            }));
}

int two(sd_bus_message* m, void*, sd_bus_error* error)
{
    return sdbuspp::method_callback<true>(
        m, &sdbus_impl, error, std::function([] {
            return std::tuple(uint32_t{1}, uint32_t{2});
        }));
}

int nothing(sd_bus_message* m, void*, sd_bus_error* error)
{
    return sdbuspp::method_callback(m, &sdbus_impl, error,
                                    std::function([] {}));
}

int get(sd_bus*, const char*, const char*, const char*, sd_bus_message* m,
        void* context, sd_bus_error* error)
{
    return sdbuspp::property_callback(
        m, &sdbus_impl, error,
        std::function([device = static_cast<Device*>(context)]() {
            return device->level;
        }));
}

int set(sd_bus*, const char*, const char*, const char*, sd_bus_message* m,
        void* context, sd_bus_error* error)
{
    return sdbuspp::property_callback(
        m, &sdbus_impl, error,
        std::function(
            [device = static_cast<Device*>(context)](uint32_t&& value) {
                device->level = value;
            }));
}

constexpr vtable_t table[] = {
    vtable::start(),
    vtable::method("Work", "u", "u", work, vtable::common_::unprivileged),
    vtable::method("Two", "", "uu", two, vtable::common_::unprivileged),
    vtable::method("Nothing", "", "", nothing, vtable::common_::unprivileged),
    vtable::property("Level", "u", get, set, vtable::property_::emits_change),
    vtable::end(),
};

class ServerSupport : public testing::Test
{
  protected:
    /** Sends a call from the far end and returns the answer. */
    template <typename... Args>
    message_t ask(const char* interface, const char* member,
                  const Args&... args)
    {
        message_t call =
            peers.far.new_method_call(nullptr, "/a", interface, member);
        call.append(args...);
        message_t answer;
        const auto keep = [](sd_bus_message* m, void* context, sd_bus_error*) {
            *static_cast<message_t*>(context) = message_t(m);
            return 0;
        };
        EXPECT_GE(
            sd_bus_call_async(bus::details::bus_friend::get_busp(peers.far),
                              nullptr, call.get(), keep, &answer, 0),
            0);
        peers.settle();
        return answer;
    }

    test::Peers peers;
    Device device;
    server::interface_t registered{peers.near, "/a", "com.example", table,
                                   &device};
};

TEST_F(ServerSupport, RepliesWithTheResultOfAMethod)
{
    device.work = [](uint32_t value) {
        return value + 1;
    };
    EXPECT_EQ(ask("com.example", "Work", uint32_t{4}).unpack<uint32_t>(), 5u);
}

TEST_F(ServerSupport, RepliesWithSeveralResultsOrNone)
{
    EXPECT_STREQ(ask("com.example", "Two").get_signature(), "uu");
    EXPECT_STREQ(ask("com.example", "Nothing").get_signature(), "");
}

TEST_F(ServerSupport, GetsAndSetsAProperty)
{
    constexpr const char* properties = "org.freedesktop.DBus.Properties";
    ask(properties, "Set", "com.example", "Level",
        std::variant<uint32_t>(uint32_t{9}));
    EXPECT_EQ(device.level, 9u);
    EXPECT_EQ(ask(properties, "Get", "com.example", "Level")
                  .unpack<std::variant<uint32_t>>(),
              std::variant<uint32_t>(uint32_t{9}));
}

TEST_F(ServerSupport, AnswersWithTheErrorOfThisLayerThatAMethodThrows)
{
    device.work = [](uint32_t) -> uint32_t {
        throw exception::SdBusError(EEXIST, "made up");
    };
    EXPECT_STREQ(ask("com.example", "Work", uint32_t{1}).get_error()->name,
                 "org.freedesktop.DBus.Error.FileExists");
    device.work = [](uint32_t value) {
        return value;
    };
    EXPECT_EQ(ask("com.example", "Work", uint32_t{6}).unpack<uint32_t>(), 6u);
}

TEST_F(ServerSupport, LetsEveryOtherExceptionOut)
{
    sd_bus_message* call = nullptr;
    ASSERT_GE(sd_bus_message_new_method_call(peers.near.get(), &call, "a.b",
                                             "/a", "a.b", "C"),
              0);
    const message_t held(call, std::false_type{});
    ASSERT_GE(sd_bus_message_seal(call, 1, 0), 0);
    sd_bus_error error = SD_BUS_ERROR_NULL;
    EXPECT_THROW(sdbuspp::property_callback(call, &sdbus_impl, &error,
                                            std::function([]() -> uint32_t {
                                                throw std::bad_alloc();
                                            })),
                 std::bad_alloc);
    EXPECT_THROW(
        sdbuspp::method_callback(call, &sdbus_impl, &error, std::function([] {
                                     throw std::runtime_error("x");
                                 })),
        std::runtime_error);
}

} // namespace
} // namespace sdbusplus
