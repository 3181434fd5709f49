// SPDX-License-Identifier: Apache-2.0
#include "direct_connection.hpp"
#include "message_body.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::test
{
namespace
{

class MessageBody : public testing::Test
{
  protected:
    MessageBody()
    {
        sd_bus* made = nullptr;
        sd_bus_new(&made);
        bus.reset(made);
        // sd-bus creates messages only for a connection that has been started.
        sd_bus_set_address(made, "unix:path=/nonexistent");
        sd_bus_start(made);
    }

    /** The signature of a message after values of @p signature were appended.
     */
    std::string signatureOfMessage(const std::string& signature,
                                   const std::vector<uint8_t>& bytes) const
    {
        sd_bus_message* made = nullptr;
        orThrow(
            sd_bus_message_new(bus.get(), &made, SD_BUS_MESSAGE_METHOD_CALL),
            "message");
        const MessagePtr message(made);
        FuzzInput input(bytes.data(), bytes.size());
        appendValues(made, signature, input);
        return sd_bus_message_get_signature(made, 1);
    }

    std::unique_ptr<sd_bus, Unref> bus;
};

TEST_F(MessageBody, HasTheRequestedSignature)
{
    for (const char* signature :
         {"", "ssu", "bssi", "ay", "say", "(ssyy)ay", "a{s(ux)}", "aav", "ogd"})
    {
        EXPECT_EQ(signatureOfMessage(signature, {}), signature);
    }
}

TEST_F(MessageBody, IsBuiltFromAnyBytes)
{
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp) the same bytes every time
    std::size_t containers = 0;
    for (int round = 0; round < 2000; ++round)
    {
        std::vector<uint8_t> bytes(round % 200);
        std::generate(bytes.begin(), bytes.end(), std::ref(random));
        FuzzInput input(bytes.data(), bytes.size());
        const std::string signature = makeSignature(input);
        EXPECT_EQ(signatureOfMessage(signature, bytes), signature);
        containers += signature.find_first_of("av(") < signature.size() ? 1 : 0;
    }
    EXPECT_GT(containers, 100);
}

TEST_F(MessageBody, RefusesAnInvalidSignature)
{
    EXPECT_THROW(signatureOfMessage("!", {}), std::runtime_error);
}

} // namespace
} // namespace healthintf::test
