// SPDX-License-Identifier: Apache-2.0
#include "log_line.hpp"
#include "raw_bus.hpp"

#include <healthmgrintf.h>
#include <hmi_fault_health.hpp>
#include <hmi_health_value.hpp>
#include <hmi_status.hpp>
#include <platform/pipe_signal_blocker.hpp>

#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

using namespace health_namespace;
using namespace health_namespace::details;

thread_local sdbusplus::bus_t gbus(nullptr);

namespace
{

/** Whether gbus holds this thread's connection, which it keeps until the thread
 *  ends. */
thread_local bool bound = false;

/** Throws when a connection has no unique name, because it was lost. sdbusplus
 *  asks for the name, too, but its error does not say why there is none. */
void requireName(sd_bus* bus)
{
    const char* name = nullptr;
    requireDone(sd_bus_get_unique_name(bus, &name), "sd_bus_get_unique_name");
}

/** Puts this thread's first connection into gbus; ignores null and any later
 *  connection.
 *
 *  @return false when the connection cannot be used */
bool bindBus(sd_bus* bus)
{
    if (bound || bus == nullptr)
    {
        return true;
    }
    try
    {
        requireName(bus);
        gbus = sdbusplus::bus_t(bus);
        bound = true;
    }
    catch (const std::exception& e)
    {
        HMI_LOG(log::error, "%s.%d.%s: Unable to use the bus: %s", e.what());
    }
    return bound;
}

/** Writes a pointer to standard output, which may be a pipe whose reader has
 *  ended. What stayed in the buffer would end the process later. */
void print(const void* pointer) noexcept
{
    const healthintf::PipeSignalBlocker blocker;
    try
    {
        std::cout << pointer << std::flush;
    }
    catch (const std::exception&)
    {
        // The stream keeps the failure for its owner, the program.
    }
    if (!std::cout)
    {
        blocker.drop();
    }
}

std::string orEmpty(const char* text)
{
    return text == nullptr ? "" : text;
}

/** Makes a call for a caller in C. An exception, for example when memory runs
 *  out, is logged in the name of @p function.
 *
 *  @return what the call returns, or @p failure after an exception */
template <typename Result, typename Call>
Result callForC(const char* function, Result failure, Call&& call) noexcept
{
    try
    {
        return call();
    }
    catch (const std::exception& e)
    {
        HMI_LOG_AS(function, log::error, "%s.%d.%s: %s", e.what());
        return failure;
    }
}

} // namespace

FaultAndHealth* FaultAndHealth_Initialization(sd_bus* bus,
                                              const char* key) noexcept
{
    constexpr FaultAndHealth* none = nullptr;
    FaultAndHealth* object = callForC(__func__, none, [&] {
        const std::string name = key;
        return bindBus(bus) ? FaultAndHealth::Init(gbus, name, healthOk, false)
                            : none;
    });
    print(object);
    return object;
}

int FaultAndHealth_AddFault(FaultAndHealth* obj, const char* msgId,
                            const char* sensorPath, const char* const* args,
                            int32_t noofArgs, const char* fqdd,
                            const char* subSystem, uint32_t sensorNumber,
                            uint32_t sensorType) noexcept
{
    if (obj == nullptr)
    {
        HMI_LOG(log::error, "%s.%d.%s: obj is NULL");
        return statusInvalidArgument;
    }
    if (msgId == nullptr)
    {
        HMI_LOG(log::error, "%s.%d.%s: msgId is NULL");
        return statusInvalidArgument;
    }
    if (sensorPath == nullptr)
    {
        HMI_LOG(log::error, "%s.%d.%s: sensorPath is NULL");
        return statusInvalidArgument;
    }
    if (fqdd == nullptr)
    {
        HMI_LOG(log::error, "%s.%d.%s: fqdd is NULL");
        return statusInvalidArgument;
    }
    if (subSystem == nullptr)
    {
        HMI_LOG(log::error, "%s.%d.%s: subSystem is NULL");
        return statusInvalidArgument;
    }
    if (args == nullptr && noofArgs != 0)
    {
        HMI_LOG(log::progress, "%s.%d.%s: Args null but noofArgs is %d",
                noofArgs);
        return statusInvalidArgument;
    }
    if (noofArgs < 0)
    {
        HMI_LOG(log::error, "%s.%d.%s: noofArgs is negative: %d", noofArgs);
        return statusInvalidArgument;
    }
    return callForC<int>(__func__, statusNotCreated, [&] {
        std::vector<std::string> arguments(noofArgs);
        std::transform(args, args + noofArgs, arguments.begin(), orEmpty);
        std::string id = msgId;
        std::string sensor = sensorPath;
        std::string component = fqdd;
        std::string part = subSystem;
        return obj->addFault(id, sensor, arguments, component, part,
                             sensorNumber, sensorType);
    });
}

int FaultAndHealth_RemoveFault(FaultAndHealth* obj, const char* msgId,
                               const char* sensorPath) noexcept
{
    return callForC<int>(__func__, statusNotCreated, [&] {
        std::string id = msgId;
        std::string sensor = sensorPath;
        return obj->removeFault(id, sensor);
    });
}

void FaultAndHealth_Destuctor(FaultAndHealth* obj) noexcept
{
    delete obj;
}

int FaultAndHealth_GetVisibleHiddenMsgCount(int32_t* first,
                                            int32_t* second) noexcept
{
    if (first == nullptr || second == nullptr)
    {
        HMI_LOG(log::error, "%s.%d.%s: Args null ");
        return statusInvalidArgument;
    }
    const int status =
        FaultEntry::GetNumberOfHiddenVisibleFaults(*first, *second);
    if (status != statusOk)
    {
        HMI_LOG(log::error,
                "%s.%d.%s: Error in fetching the Hidden Visible Count : %d",
                status);
    }
    return status;
}

int c_wrapper_hide_faults(bool hide, const char* a, const char* b, int32_t n)
{
    return FaultAndHealth::SendHideFaultsSignal(hide, orEmpty(a), orEmpty(b),
                                                n);
}
