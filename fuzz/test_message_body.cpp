// SPDX-License-Identifier: Apache-2.0
#include "local_messages.hpp"
#include "message_body.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
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
    /** The signature of a message after values of @p signature were appended.
     */
    std::string signatureOfMessage(const std::string& signature,
                                   const std::vector<uint8_t>& bytes) const
    {
        const MessagePtr message = messages.make();
        FuzzInput input(bytes.data(), bytes.size());
        appendValues(message.get(), signature, input);
        return sd_bus_message_get_signature(message.get(), 1);
    }

    LocalMessages messages;
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
