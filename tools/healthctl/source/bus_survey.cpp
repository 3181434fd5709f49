// SPDX-License-Identifier: Apache-2.0
#include "bus_survey.hpp"

#include "../error.hpp"

#include <com/vexa/olvar/healthmgr/HealthStatus/common.hpp>
#include <com/vexa/olvar/healthmgr/names.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <list>
#include <memory>
#include <utility>
#include <vector>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

constexpr uint64_t patienceMicroseconds = 3'000'000;
namespace common = sdbusplus::common::com::vexa::olvar::healthmgr;

struct Free
{
    void operator()(char** names) const
    {
        for (char** each = names; each != nullptr && *each != nullptr; ++each)
        {
            std::free(*each);
        }
        std::free(names);
    }
};

std::vector<std::string> listOtherConnections(sd_bus* bus)
{
    char** list = nullptr;
    expectAnswer(sd_bus_list_names(bus, &list, nullptr));
    const std::unique_ptr<char*, Free> names(list);
    const char* own = nullptr;
    expectAnswer(sd_bus_get_unique_name(bus, &own));
    std::vector<std::string> others;
    for (char** each = list; *each != nullptr; ++each)
    {
        if (**each == ':' && std::strcmp(*each, own) != 0)
        {
            others.emplace_back(*each);
        }
    }
    return others;
}

/** Calls that wait for their replies. */
class PendingCalls
{
  public:
    using Take = std::function<void(sd_bus_message* reply)>;

    /** @param[out] survey gets the names of those who do not answer */
    PendingCalls(sd_bus* bus, Survey& survey) : bus(bus), survey(survey)
    {}

    /** Sends a call; @p take gets the reply unless it is an error. */
    void ask(const std::string& peer, sd_bus_message* call, Take take)
    {
        PendingCall& pending = calls.emplace_back(
            PendingCall{this, peer, std::move(take), nullptr});
        sd_bus_slot* slot = nullptr;
        expectAnswer(sd_bus_call_async(bus, &slot, call, takeReply, &pending,
                                       patienceMicroseconds));
        pending.slot.reset(slot);
        ++open;
    }

    /** @param[in] whileWaiting called after each turn; may be null */
    void waitForAll(const std::function<void()>& whileWaiting)
    {
        constexpr uint64_t turn = 100'000;
        while (open > 0)
        {
            const int result = sd_bus_process(bus, nullptr);
            expectAnswer(result);
            // The end of a call's time is not counted as processed.
            if (result == 0 && open > 0)
            {
                expectAnswer(
                    sd_bus_wait(bus, whileWaiting ? turn : UINT64_MAX));
            }
            if (whileWaiting)
            {
                whileWaiting();
            }
        }
    }

  private:
    struct PendingCall
    {
        PendingCalls* all;
        std::string peer;
        Take take;
        SlotPtr slot;
    };

    static int takeReply(sd_bus_message* reply, void* context,
                         sd_bus_error* /*error*/)
    {
        auto* pending = static_cast<PendingCall*>(context);
        --pending->all->open;
        try
        {
            if (sd_bus_message_is_method_error(reply, nullptr) == 0)
            {
                pending->take(reply);
            }
            else if (sd_bus_message_is_method_error(reply,
                                                    SD_BUS_ERROR_NO_REPLY) != 0)
            {
                pending->all->survey.silent.insert(pending->peer);
            }
            else if (sd_bus_message_is_method_error(
                         reply, SD_BUS_ERROR_LIMITS_EXCEEDED) != 0)
            {
                pending->all->survey.refused.insert(pending->peer);
            }
        }
        catch (const std::exception&)
        {
            // One malformed reply must not cost the others.
        }
        return 0;
    }

    sd_bus* bus;
    Survey& survey;
    std::list<PendingCall> calls;
    std::size_t open = 0;
};

MessagePtr makeCall(sd_bus* bus, const std::string& peer, const char* interface,
                    const char* member)
{
    sd_bus_message* call = nullptr;
    expectAnswer(sd_bus_message_new_method_call(
        bus, &call, peer.c_str(), names::root, interface, member));
    MessagePtr owned(call);
    // No service is started for this.
    expectAnswer(sd_bus_message_set_auto_start(call, 0));
    return owned;
}

void askFor(PendingCalls& pendingCalls, sd_bus* bus, const std::string& peer,
            std::map<std::string, Shown, ByAge>& shown)
{
    const auto objects = makeCallForObjects(bus, peer);
    pendingCalls.ask(peer, objects.get(),
                     [&shown, peer](sd_bus_message* reply) {
                         shown[peer].objects = readManagedObjects(reply);
                     });
    const auto root =
        makeCall(bus, peer, "org.freedesktop.DBus.Properties", "Get");
    expectAnswer(sd_bus_message_append(
        root.get(), "ss", common::HealthStatus::interface, "HealthStatus"));
    pendingCalls.ask(peer, root.get(), [&shown, peer](sd_bus_message* reply) {
        shown[peer].rootHealth = std::get<uint32_t>(readVariant(reply));
    });
}

} // namespace

void expectAnswer(int result)
{
    if (result < 0)
    {
        throw Error(ExitCode::unavailable,
                    std::string("the bus does not answer: ") +
                        std::strerror(-result) + "; see its log");
    }
}

void expectConnected(sd_bus* bus)
{
    if (sd_bus_is_open(bus) <= 0)
    {
        expectAnswer(-ENOTCONN);
    }
}

MessagePtr makeCallForObjects(sd_bus* bus, const std::string& connection)
{
    return makeCall(bus, connection, "org.freedesktop.DBus.ObjectManager",
                    "GetManagedObjects");
}

Survey surveyConnections(sd_bus* bus,
                         const std::vector<std::string>& connections,
                         const std::function<void()>& whileWaiting)
{
    Survey survey;
    PendingCalls pendingCalls(bus, survey);
    for (const std::string& connection : connections)
    {
        askFor(pendingCalls, bus, connection, survey.shown);
    }
    pendingCalls.waitForAll(whileWaiting);
    // The calls that are open when the bus ends fail as if nobody answered.
    expectConnected(bus);
    return survey;
}

Survey surveyBus(sd_bus* bus, const RepeatedReading& reading)
{
    // The bus itself may hang, and keeps nobody waiting for longer than a
    // process that does.
    expectAnswer(sd_bus_set_method_call_timeout(bus, patienceMicroseconds));
    std::vector<std::string> asked = listOtherConnections(bus);
    std::set<std::string> unasked;
    std::erase_if(asked, [&](const std::string& connection) {
        return reading.silent.contains(connection) &&
               unasked.insert(connection).second;
    });
    Survey survey = surveyConnections(bus, asked, reading.whileWaiting);
    survey.silent.merge(unasked);
    return survey;
}

} // namespace healthintf::healthctl
