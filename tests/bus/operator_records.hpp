// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Silences and acknowledgements of healthmgr, as a client sees them. */

#include "bus_client.hpp"

#include <sdbusplus/message.hpp>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace healthintf::test
{

/** What a reply or signal says of one of them. */
using Members =
    std::map<std::string,
             std::variant<std::string, uint32_t, uint64_t, int64_t>>;

/** One interface of healthmgr. Keeps the signals that it has sent. */
class RecordInterface
{
  public:
    /** Listens from now on. @param[in] client must outlive this object */
    RecordInterface(BusClient& client, std::string interface) :
        client(client), interface(std::move(interface))
    {
        const std::string rule =
            "type='signal',interface='" + this->interface + "'";
        if (sd_bus_add_match(client.get(), nullptr, rule.c_str(), take, this) <
            0)
        {
            throw std::runtime_error("unable to listen");
        }
    }

    RecordInterface(const RecordInterface&) = delete;
    RecordInterface& operator=(const RecordInterface&) = delete;

    /** Calls a method.
     *
     *  @param[in] arguments appends them
     *  @return the reply
     *  @throws std::runtime_error with the name and text of an error */
    sdbusplus::message_t
    call(const char* member,
         const std::function<void(sdbusplus::message_t&)>& arguments) const
    {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_method_call(
            client.get(), &made, "com.vexa.olvar.healthmgr",
            "/com/vexa/olvar/healthmgr", interface.c_str(), member);
        sdbusplus::message_t request(made, std::false_type());
        arguments(request);
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_message* answer = nullptr;
        if (sd_bus_call(client.get(), request.get(), 0, &error, &answer) < 0)
        {
            const std::string text =
                std::string(error.name) + ": " + error.message;
            sd_bus_error_free(&error);
            throw std::runtime_error(text);
        }
        return {answer, std::false_type()};
    }

    std::vector<Members> list() const
    {
        std::vector<Members> all;
        call("List", [](auto&) {}).read(all);
        return all;
    }

    /** The error of a call; empty when it succeeds. */
    static std::string refusal(const std::function<void()>& call)
    {
        try
        {
            call();
            return "";
        }
        catch (const std::runtime_error& e)
        {
            return e.what();
        }
    }

    /** The signals received, with their names. */
    std::vector<std::pair<std::string, Members>> signals;

  private:
    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* /*error*/)
    {
        Members members;
        sdbusplus::message_t(message).read(members);
        static_cast<RecordInterface*>(context)->signals.emplace_back(
            sd_bus_message_get_member(message), std::move(members));
        return 0;
    }

    BusClient& client;
    std::string interface;
};

} // namespace healthintf::test
