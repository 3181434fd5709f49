// SPDX-License-Identifier: Apache-2.0
#include "peers.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/bus.hpp>
#include <sdbusplus/sdbus.hpp>

#include <cerrno>
#include <memory>
#include <string>

namespace sdbusplus
{
namespace
{

class Seam : public testing::Test
{
  protected:
    /** A message that ends with its test. */
    struct Unref
    {
        void operator()(sd_bus_message* m) const
        {
            sd_bus_message_unref(m);
        }
    };
    using MessagePtr = std::unique_ptr<sd_bus_message, Unref>;

    static int keep(sd_bus_message* m, void* context, sd_bus_error* /*error*/)
    {
        static_cast<MessagePtr*>(context)->reset(sd_bus_message_ref(m));
        return 0;
    }

    MessagePtr signal()
    {
        sd_bus_message* m = nullptr;
        EXPECT_GE(seam.sd_bus_message_new_signal(near, &m, "/a", "com.example",
                                                 "Told"),
                  0);
        return MessagePtr(m);
    }

    test::Peers peers;
    sd_bus* near = bus::details::bus_friend::get_busp(peers.near);
    sd_bus* far = bus::details::bus_friend::get_busp(peers.far);
    SdBusImpl seam;
};

TEST_F(Seam, WritesSendsHearsAndReadsAMessage)
{
    MessagePtr heard;
    sd_bus_slot* slot = nullptr;
    ASSERT_GE(seam.sd_bus_add_match(far, &slot, "member='Told'", keep, &heard),
              0);

    const MessagePtr sent = signal();
    sd_bus_message* m = sent.get();
    const uint32_t number = 7;
    EXPECT_GE(seam.sd_bus_message_open_container(m, 'a', "u"), 0);
    EXPECT_GE(seam.sd_bus_message_append_basic(m, 'u', &number), 0);
    EXPECT_GE(seam.sd_bus_message_close_container(m), 0);
    EXPECT_GE(seam.sd_bus_message_append_basic(m, 's', "text"), 0);
    EXPECT_GE(seam.sd_bus_send(near, m, nullptr), 0);
    EXPECT_GE(seam.sd_bus_flush(near), 0);
    while (!heard)
    {
        if (seam.sd_bus_process(far, nullptr) == 0)
        {
            ASSERT_GT(seam.sd_bus_wait(far, 20'000'000), 0);
        }
    }
    seam.sd_bus_slot_unref(slot);

    m = heard.get();
    EXPECT_GT(seam.sd_bus_message_is_signal(m, "com.example", "Told"), 0);
    EXPECT_EQ(seam.sd_bus_message_is_method_call(m, "com.example", "Told"), 0);
    EXPECT_EQ(seam.sd_bus_message_is_method_error(m, nullptr), 0);
    EXPECT_STREQ(seam.sd_bus_message_get_path(m), "/a");
    EXPECT_STREQ(seam.sd_bus_message_get_interface(m), "com.example");
    EXPECT_STREQ(seam.sd_bus_message_get_member(m), "Told");
    EXPECT_STREQ(seam.sd_bus_message_get_signature(m, 1), "aus");
    uint32_t read = 0;
    EXPECT_GT(seam.sd_bus_message_verify_type(m, 'a', "u"), 0);
    EXPECT_GT(seam.sd_bus_message_enter_container(m, 'a', "u"), 0);
    EXPECT_EQ(seam.sd_bus_message_at_end(m, 0), 0);
    EXPECT_GT(seam.sd_bus_message_read_basic(m, 'u', &read), 0);
    EXPECT_GT(seam.sd_bus_message_at_end(m, 0), 0);
    EXPECT_GT(seam.sd_bus_message_exit_container(m), 0);
    EXPECT_GT(seam.sd_bus_message_skip(m, "s"), 0);
    EXPECT_GT(seam.sd_bus_message_at_end(m, 1), 0);
    EXPECT_EQ(read, 7u);
}

TEST_F(Seam, AnswersACallThroughAnObject)
{
    struct Object
    {
        static int answer(sd_bus_message* call, void* context, sd_bus_error*)
        {
            SdBusImpl& seam = *static_cast<SdBusImpl*>(context);
            sd_bus_message* reply = nullptr;
            EXPECT_GE(seam.sd_bus_message_new_method_return(call, &reply), 0);
            EXPECT_GE(seam.sd_bus_message_append_basic(reply, 's', "yes"), 0);
            EXPECT_GE(seam.sd_bus_send(nullptr, reply, nullptr), 0);
            seam.sd_bus_message_unref(reply);
            return 1;
        }
    };
    const sd_bus_vtable table[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Ask", "", "s", Object::answer,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
    };
    sd_bus_slot* slot = nullptr;
    ASSERT_GE(seam.sd_bus_add_object_vtable(near, &slot, "/a", "com.example",
                                            table, &seam),
              0);

    sd_bus_message* call = nullptr;
    ASSERT_GE(seam.sd_bus_message_new_method_call(far, &call, nullptr, "/a",
                                                  "com.example", "Ask"),
              0);
    MessagePtr reply;
    ASSERT_GE(sd_bus_call_async(far, nullptr, call, keep, &reply, 0), 0);
    seam.sd_bus_message_unref(call);
    peers.settle();
    seam.sd_bus_slot_unref(slot);

    ASSERT_TRUE(reply);
    EXPECT_EQ(seam.sd_bus_message_get_error(reply.get()), nullptr);
    EXPECT_EQ(seam.sd_bus_message_get_errno(reply.get()), 0);
    const char* text = nullptr;
    EXPECT_GT(seam.sd_bus_message_read_basic(reply.get(), 's', &text), 0);
    EXPECT_STREQ(text, "yes");
}

TEST_F(Seam, GivesLibsystemdsOwnFailures)
{
    EXPECT_EQ(seam.sd_bus_flush(nullptr), -EINVAL);
    EXPECT_EQ(seam.sd_bus_process(nullptr, nullptr), -EINVAL);
    EXPECT_EQ(seam.sd_bus_wait(nullptr, 0), -EINVAL);
    EXPECT_EQ(seam.sd_bus_request_name(near, "no name", 0), -EINVAL);
    EXPECT_EQ(seam.sd_bus_add_match(near, nullptr, "no rule", keep, nullptr),
              -EINVAL);
    EXPECT_EQ(seam.sd_bus_add_object_manager(near, nullptr, "no path"),
              -EINVAL);
    EXPECT_EQ(seam.sd_bus_message_append_basic(signal().get(), 'o', "no path"),
              -EINVAL);
}

TEST_F(Seam, SetsReadsAndFreesErrors)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    EXPECT_LT(seam.sd_bus_error_set(&error, "com.example.Broken", "it broke"),
              0);
    EXPECT_STREQ(error.name, "com.example.Broken");
    EXPECT_STREQ(error.message, "it broke");
    seam.sd_bus_error_free(&error);
    EXPECT_EQ(error.name, nullptr);
    EXPECT_EQ(seam.sd_bus_error_set_errno(&error, EACCES), -EACCES);
    EXPECT_EQ(seam.sd_bus_error_get_errno(&error), EACCES);
    seam.sd_bus_error_free(&error);
}

TEST_F(Seam, CountsReferences)
{
    const MessagePtr m = signal();
    EXPECT_EQ(seam.sd_bus_message_ref(m.get()), m.get());
    EXPECT_EQ(seam.sd_bus_message_unref(m.get()), nullptr);
    EXPECT_EQ(seam.sd_bus_ref(near), near);
    EXPECT_EQ(seam.sd_bus_unref(near), nullptr);
    EXPECT_STREQ(seam.sd_bus_message_get_member(m.get()), "Told");
    EXPECT_GT(seam.sd_bus_is_open(near), 0);
}

TEST_F(Seam, RunsAConnectionInALoopAndClosesIt)
{
    sd_event* event = nullptr;
    ASSERT_GE(sd_event_new(&event), 0);
    EXPECT_GE(seam.sd_bus_attach_event(near, event, SD_EVENT_PRIORITY_NORMAL),
              0);
    EXPECT_EQ(seam.sd_bus_get_event(near), event);
    EXPECT_GE(seam.sd_bus_detach_event(near), 0);
    EXPECT_EQ(seam.sd_bus_get_event(near), nullptr);
    sd_event_unref(event);
    EXPECT_GE(seam.sd_bus_get_fd(near), 0);
    seam.sd_bus_close(near);
    EXPECT_EQ(seam.sd_bus_is_open(near), 0);
}

TEST_F(Seam, LetsATestMakeACallFail)
{
    struct Broken : test::Named
    {
        int calls = 0;

        int sd_bus_message_new_signal(sd_bus*, sd_bus_message**, const char*,
                                      const char*, const char*) override
        {
            ++calls;
            return -ENOMEM;
        }
    } broken;
    bus_t over(near, &broken);
    EXPECT_THROW(over.new_signal("/a", "com.example", "Told"),
                 exception::SdBusError);
    EXPECT_EQ(broken.calls, 1);
    EXPECT_NO_THROW(peers.near.new_signal("/a", "com.example", "Told"));
}

} // namespace
} // namespace sdbusplus
