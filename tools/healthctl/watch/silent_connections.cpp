// SPDX-License-Identifier: Apache-2.0
#include "silent_connections.hpp"

#include "../source/bus_survey.hpp"

#include <utility>

#include <bus_calls.hpp>

namespace healthintf::healthctl
{

SilentConnections::SilentConnections(sd_bus* bus,
                                     std::function<void()> onAnswer) :
    bus(bus),
    onAnswer(std::move(onAnswer))
{}

void SilentConnections::takeOver(const SilentProcesses& silent)
{
    std::erase_if(questions, [&silent](const auto& question) {
        return !silent.contains(question.first);
    });
    for (const auto& [connection, process] : silent)
    {
        const auto question = questions.find(connection);
        if (question == questions.end() || question->second.slot == nullptr)
        {
            ask(connection);
        }
    }
}

std::set<std::string> SilentConnections::names() const
{
    std::set<std::string> all;
    for (const auto& [connection, question] : questions)
    {
        all.insert(connection);
    }
    return all;
}

int SilentConnections::takeAnswer(sd_bus_message* answer, void* question,
                                  sd_bus_error* /*error*/)
{
    auto* answered = static_cast<Question*>(question);
    if (sd_bus_message_is_method_error(answer, SD_BUS_ERROR_LIMITS_EXCEEDED) !=
        0)
    {
        // The bus waits for too many others. The next reading asks again.
        answered->slot.reset();
        return 0;
    }
    SilentConnections& all = *answered->all;
    // The name is part of what goes.
    const std::string connection = answered->connection;
    all.questions.erase(connection);
    all.onAnswer();
    return 0;
}

void SilentConnections::ask(const std::string& connection)
{
    const MessagePtr call = makeCallForObjects(bus, connection);
    Question& question = questions[connection];
    question.all = this;
    question.connection = connection;
    sd_bus_slot* slot = nullptr;
    host::checkBus("sd_bus_call_async",
                   sd_bus_call_async(bus, &slot, call.get(), takeAnswer,
                                     &question, UINT64_MAX));
    question.slot.reset(slot);
}

} // namespace healthintf::healthctl
