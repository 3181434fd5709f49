// SPDX-License-Identifier: Apache-2.0
#include "note_follower.hpp"

#include "../source/note_members.hpp"

#include <healthmgr/protocol.hpp>
#include <sdbusplus/exception.hpp>
#include <sdbusplus/message.hpp>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{
namespace
{

constexpr std::chrono::milliseconds askingPace{100};
constexpr std::chrono::milliseconds answerPatience{300};

using MemberList = std::vector<host::Members>;

/** What an answer lists: nothing when there is no healthmgr.
 *
 *  @return no list after any other error */
std::optional<MemberList> readAnswer(sd_bus_message* answer)
{
    if (sd_bus_message_is_method_error(answer, nullptr) > 0)
    {
        const bool gone = sd_bus_message_is_method_error(
                              answer, SD_BUS_ERROR_SERVICE_UNKNOWN) > 0 ||
                          sd_bus_message_is_method_error(
                              answer, SD_BUS_ERROR_NAME_HAS_NO_OWNER) > 0;
        return gone ? std::optional(MemberList()) : std::nullopt;
    }
    try
    {
        MemberList all;
        sdbusplus::message_t(answer).read(all);
        return all;
    }
    catch (const sdbusplus::exception_t&)
    {
        // Of a healthmgr that says something else.
        return std::nullopt;
    }
}

} // namespace

NoteFollower::NoteFollower(sd_bus* bus, services::EventLoop& loop,
                           std::function<void()> onAnswer) :
    bus(bus),
    loop(loop), onAnswer(std::move(onAnswer)), asking(loop, askingPace,
                                                      [this] {
                                                          ask();
                                                      }),
    signals(bus, loop,
            [this](Change::Kind /*kind*/, const host::Members& /*told*/) {
                asking.request();
            })
{
    followOwner();
    ask();
}

void NoteFollower::await()
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + answerPatience;
    while (silenceQuestion || acknowledgementQuestion)
    {
        const int result = sd_bus_process(bus, nullptr);
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
            end - Clock::now());
        if (result < 0 || left.count() <= 0 ||
            (result == 0 &&
             sd_bus_wait(bus, static_cast<uint64_t>(left.count())) < 0))
        {
            return;
        }
    }
}

void NoteFollower::take(const Changes& changes)
{
    if (std::ranges::any_of(changes, [this](const Change& change) {
            return change.kind == Change::Kind::faultRemoved &&
                   acknowledgements.contains(change.path);
        }))
    {
        asking.request();
    }
}

void NoteFollower::note(Faults& faults) const
{
    noteAcknowledgements(faults, acknowledgements);
    noteSilences(faults, knownSilences);
}

void NoteFollower::followOwner()
{
    const std::string rule =
        std::string("type='signal',sender='org.freedesktop.DBus',"
                    "interface='org.freedesktop.DBus',"
                    "member='NameOwnerChanged',arg0='") +
        host::healthmgrService + "'";
    sd_bus_slot* slot = nullptr;
    host::checkBus("unable to listen to the bus",
                   sd_bus_add_match(
                       bus, &slot, rule.c_str(),
                       [](sd_bus_message*, void* follower, sd_bus_error*) {
                           auto* self = static_cast<NoteFollower*>(follower);
                           self->loop.perform([self] {
                               self->asking.request();
                           });
                           return 0;
                       },
                       this));
    owner.reset(slot);
}

void NoteFollower::ask()
{
    silenceQuestion =
        ask(host::silencesInterface, host::listSilencesMethod, takeSilences);
    acknowledgementQuestion =
        ask(host::acknowledgementsInterface, host::listAcknowledgementsMethod,
            takeAcknowledgements);
}

SlotPtr NoteFollower::ask(const char* interface, const char* method,
                          sd_bus_message_handler_t take)
{
    sd_bus_message* raw = nullptr;
    host::checkBus(
        "sd_bus_message_new_method_call",
        sd_bus_message_new_method_call(bus, &raw, host::healthmgrService,
                                       host::healthmgrPath, interface, method));
    const MessagePtr call(raw);
    // What nobody keeps is not there.
    sd_bus_message_set_auto_start(raw, 0);
    sd_bus_slot* slot = nullptr;
    // A healthmgr that hangs answers once it continues.
    host::checkBus("sd_bus_call_async",
                   sd_bus_call_async(bus, &slot, raw, take, this, UINT64_MAX));
    return SlotPtr(slot);
}

int NoteFollower::takeSilences(sd_bus_message* answer, void* follower,
                               sd_bus_error* /*error*/) noexcept
{
    auto* self = static_cast<NoteFollower*>(follower);
    self->silenceQuestion.reset();
    self->loop.perform([&] {
        if (const auto list = readAnswer(answer))
        {
            self->knownSilences = makeSilences(*list);
            self->onAnswer();
        }
    });
    return 0;
}

int NoteFollower::takeAcknowledgements(sd_bus_message* answer, void* follower,
                                       sd_bus_error* /*error*/) noexcept
{
    auto* self = static_cast<NoteFollower*>(follower);
    self->acknowledgementQuestion.reset();
    self->loop.perform([&] {
        if (const auto list = readAnswer(answer))
        {
            self->acknowledgements = makeAcknowledgements(*list);
            self->onAnswer();
        }
    });
    return 0;
}

} // namespace healthintf::healthctl
