// SPDX-License-Identifier: Apache-2.0
#include "log_question.hpp"

#include <com/vexa/olvar/logmgr/names.hpp>

#include <system_error>

namespace healthintf::exporter
{
LogQuestion::LogQuestion() :
    call({.service = names::logmgrService,
          .path = names::selPath,
          .interface = "org.freedesktop.DBus.Properties",
          .member = "GetAll",
          .argument = names::selInterface})
{}

std::optional<services::LogStatus> LogQuestion::ask(sd_bus* bus)
{
    const MessagePtr answer = call.make(bus);
    if (answer == nullptr)
    {
        return std::nullopt;
    }
    try
    {
        return services::readLogStatus(answer.get());
    }
    catch (const std::system_error&)
    {
        return std::nullopt;
    }
}

} // namespace healthintf::exporter
