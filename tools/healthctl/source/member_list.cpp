// SPDX-License-Identifier: Apache-2.0
#include "member_list.hpp"

#include "../healthmgr_service.hpp"

#include <sdbusplus/exception.hpp>
#include <sdbusplus/message.hpp>

#include <system_error>

namespace healthintf::healthctl
{

std::vector<host::Members> readList(const ServiceMethod& method)
{
    const ServiceClient client(healthmgr);
    const MessagePtr answer = client.reply(method, client.newQuestion(method));
    return client.parse([&answer] {
        try
        {
            std::vector<host::Members> all;
            sdbusplus::message_t(answer.get()).read(all);
            return all;
        }
        catch (const sdbusplus::exception_t& e)
        {
            throw std::system_error(e.get_errno(), std::generic_category(),
                                    e.what());
        }
    });
}

} // namespace healthintf::healthctl
