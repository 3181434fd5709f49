// SPDX-License-Identifier: Apache-2.0
#include "fault_texts.hpp"

#include <array>
#include <cctype>
#include <cstdio>

namespace healthintf::hostmon
{
namespace
{

// Sensor type codes of IPMI 2.0, table 42-3.
constexpr uint32_t ipmiTemperature = 0x01;
constexpr uint32_t ipmiProcessor = 0x07;
constexpr uint32_t ipmiMemory = 0x0C;
constexpr uint32_t ipmiDriveSlot = 0x0D;

struct FaultTextSelector
{
    FaultTexts operator()(const Filesystem& /*filesystem*/) const
    {
        return {"HostMonitor.1.0.FilesystemFillingUp",
                "HostMonitor.1.0.FilesystemFull", "filesystem", ipmiDriveSlot};
    }
    FaultTexts operator()(const Memory& /*memory*/) const
    {
        return {"HostMonitor.1.0.MemoryLow", "HostMonitor.1.0.MemoryExhausted",
                "memory", ipmiMemory};
    }
    FaultTexts operator()(const Load& /*load*/) const
    {
        return {"HostMonitor.1.0.LoadHigh", "HostMonitor.1.0.LoadCritical",
                "load", ipmiProcessor};
    }
    FaultTexts operator()(const Pressure& pressure) const
    {
        const uint32_t type = pressure.resource == "cpu"      ? ipmiProcessor
                              : pressure.resource == "memory" ? ipmiMemory
                                                              : ipmiDriveSlot;
        return {"HostMonitor.1.0.PressureHigh",
                "HostMonitor.1.0.PressureCritical", "pressure", type};
    }
    FaultTexts operator()(const Temperature& /*temperature*/) const
    {
        return {"HostMonitor.1.0.TemperatureHigh",
                "HostMonitor.1.0.TemperatureCritical", "temperature",
                ipmiTemperature};
    }
    FaultTexts operator()(const ProcessAlive& /*process*/) const
    {
        return {"HostMonitor.1.0.ProcessMissing",
                "HostMonitor.1.0.CriticalProcessMissing", "process",
                ipmiSubsystemHealth};
    }
};

} // namespace

FaultTexts selectFaultTexts(const Subject& subject)
{
    return std::visit(FaultTextSelector(), subject);
}

std::string selectMessageId(const FaultTexts& texts, Level level)
{
    return level == Level::critical ? texts.criticalId : texts.warningId;
}

namespace
{

/** Appends @p text to a path as one escaped part. */
std::string appendPart(std::string path, const std::string& text)
{
    path.push_back('/');
    for (const char c : text)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80 && std::isalnum(byte) != 0)
        {
            path.push_back(c);
            continue;
        }
        std::array<char, 4> code{};
        std::snprintf(code.data(), code.size(), "_%02x",
                      static_cast<unsigned int>(byte));
        path.append(code.data());
    }
    return path;
}

} // namespace

std::string makeSensorPath(const std::string& kind, const std::string& id)
{
    return appendPart("/com/vexa/olvar/sensors/" + kind, id);
}

std::string makeDeviceKey(const std::string& component,
                          const std::string& device)
{
    // A new node takes each node whose key begins with its own for a child. No
    // escaped name has this end within, so no device's key begins another
    // one's.
    return appendPart(component, device) + "__";
}

std::string describeTimeout(std::chrono::microseconds time)
{
    return "no answer within " +
           formatNumber(std::chrono::duration<double>(time).count()) +
           " seconds";
}

std::string formatNumber(double number)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f", number);
    return text.data();
}

} // namespace healthintf::hostmon
