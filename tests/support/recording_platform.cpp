// SPDX-License-Identifier: Apache-2.0
#include "recording_platform.hpp"

#include "recording_query.hpp"
#include "text.hpp"

#include <platform/config_manager.h>
#include <platform/data_abstraction/healthmgr.hpp>
#include <platform/dlog.h>
#include <platform/message_registry.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace healthintf::test
{

RecordingPlatform& platform()
{
    static RecordingPlatform instance;
    return instance;
}

void resetPlatform()
{
    platform() = {};
    journal().clear();
}

void RecordingPlatform::notify(const std::string& name,
                               const std::vector<uint8_t>& record)
{
    for (const auto& [handle, subscription] : subscriptions)
    {
        if (subscription.name == name)
        {
            subscription.callback("test", name.c_str(), record.data(),
                                  record.size(), subscription.context);
        }
    }
}

namespace
{

/** Creates, changes and removes records of one kind, and records the calls. */
template <typename Records>
struct Cache
{
    std::string prefix;
    Records& records;

    int create(const std::string& path,
               const typename Records::mapped_type& properties)
    {
        const long result =
            journal().called(prefix + "_create", path + " " + text(properties));
        if (result == 0)
        {
            records[path] = properties;
        }
        return static_cast<int>(result);
    }

    template <typename Variant>
    int setProperty(const std::string& path, const std::string& name,
                    const Variant& value)
    {
        const long result = journal().called(
            prefix + "_set_property", path + " " + name + "=" + text(value));
        if (result == 0)
        {
            records[path][name] = value;
        }
        return static_cast<int>(result);
    }

    int remove(const std::string& path)
    {
        const long result = journal().called(prefix + "_remove", path);
        if (result == 0)
        {
            records.erase(path);
        }
        return static_cast<int>(result);
    }
};

Cache<std::map<std::string, HealthStatusPropertyMap>> healthCache()
{
    return {"datacache_healthstatus", platform().healthRecords};
}

Cache<std::map<std::string, FaultEntryPropertyMap>> faultCache()
{
    return {"datacache_faultentry", platform().faultRecords};
}

template <typename T>
T property(const FaultEntryPropertyMap& properties, const char* name)
{
    const auto found = properties.find(name);
    return found == properties.end() ? T{} : std::get<T>(found->second);
}

FaultEntry_gen faultRecord(const FaultEntryPropertyMap& p)
{
    return FaultEntry_gen(FaultEntryProperties{
        .fqdd = property<std::string>(p, "FQDD"),
        .messageID = property<std::string>(p, "MessageID"),
        .message = property<std::string>(p, "Message"),
        .args = property<std::vector<std::string>>(p, "Args"),
        .timestamp = property<uint64_t>(p, "Timestamp"),
        .severity = property<uint32_t>(p, "Severity"),
        .sensorPath = property<std::string>(p, "SensorPath"),
        .sensorNumber = property<uint32_t>(p, "SensorNumber"),
        .sensorType = property<uint32_t>(p, "SensorType"),
        .ledState = property<int32_t>(p, "LedState"),
        .lcdMessage = property<std::string>(p, "LcdMessage"),
        .hidden = property<bool>(p, "Hidden")});
}

HealthStatus_gen healthRecord(const HealthStatusPropertyMap& properties)
{
    return HealthStatus_gen(std::get<uint32_t>(properties.at("HealthStatus")));
}

/** Replaces the placeholders of a message by its arguments. */
std::string filled(std::string message, const char* block)
{
    std::vector<std::string> arguments;
    for (int i = 0; i < MSGREG_MAX_ARGUMENTS; ++i)
    {
        arguments.emplace_back(block);
        block += arguments.back().size() + 1;
    }
    // From the last to the first, because %10 begins with %1.
    for (std::size_t number = arguments.size(); number > 0; --number)
    {
        const std::string placeholder = "%" + std::to_string(number);
        if (const auto at = message.find(placeholder); at != std::string::npos)
        {
            message.replace(at, placeholder.size(), arguments[number - 1]);
        }
    }
    return message;
}

/** Replaces the line number in "file.12.function" by '#', because it changes
 *  with every edit. */
void hideLineNumber(std::string& line)
{
    const auto begin = line.find('.');
    const auto end = line.find_first_not_of("0123456789", begin + 1);
    if (begin != std::string::npos && end != std::string::npos &&
        end > begin + 1 && line[end] == '.')
    {
        line.replace(begin + 1, end - begin - 1, "#");
    }
}

} // namespace
} // namespace healthintf::test

using namespace healthintf::test;

int datacache_healthstatus_create(const std::string& path,
                                  const HealthStatusPropertyMap& properties)
{
    return healthCache().create(path, properties);
}

int datacache_healthstatus_set_property(
    const std::string& path, const std::string& name,
    const HealthStatusPropertyVariant& value)
{
    return healthCache().setProperty(path, name, value);
}

int datacache_healthstatus_remove(const std::string& path)
{
    return healthCache().remove(path);
}

int datacache_faultentry_create(const std::string& path,
                                const FaultEntryPropertyMap& properties)
{
    return faultCache().create(path, properties);
}

int datacache_faultentry_set_property(const std::string& path,
                                      const std::string& name,
                                      const FaultEntryPropertyVariant& value)
{
    return faultCache().setProperty(path, name, value);
}

int datacache_faultentry_remove(const std::string& path)
{
    return faultCache().remove(path);
}

long DataAbstraction::HealthStatus::get_map_by_path_prefixes(
    const std::vector<std::string>& services,
    const std::vector<std::string>& prefixes,
    std::map<std::string, HealthStatus_gen>& records)
{
    return query("HealthStatus.get_map_by_path_prefixes", services, prefixes,
                 platform().healthRecords, records, healthRecord);
}

long DataAbstraction::FaultEntry::get_map_by_path_prefixes(
    const std::vector<std::string>& services,
    const std::vector<std::string>& prefixes,
    std::map<std::string, FaultEntry_gen>& records)
{
    return query("FaultEntry.get_map_by_path_prefixes", services, prefixes,
                 platform().faultRecords, records, faultRecord);
}

int DataAbstraction::Healthmgr::AddHealthObject(const std::string& service,
                                                const std::string& path,
                                                std::string key)
{
    return static_cast<int>(
        journal().called("AddHealthObject", service + " " + path + " " + key));
}

healthstatus_cluster::healthstatus_cluster(sdbusplus::bus_t& /*bus*/)
{
    journal().called("healthstatus_cluster", "");
}

healthstatus_cluster::~healthstatus_cluster()
{
    journal().note("~healthstatus_cluster");
}

void healthstatus_cluster::PropertyChanged(
    const std::string& path, const std::string& name,
    const HealthStatusPropertyVariant& value)
{
    journal().called("healthstatus_cluster.PropertyChanged",
                     path + " " + name + "=" + text(value));
}

faultentry_cluster::faultentry_cluster(sdbusplus::bus_t& /*bus*/)
{
    journal().called("faultentry_cluster", "");
}

faultentry_cluster::~faultentry_cluster()
{
    journal().note("~faultentry_cluster");
}

void faultentry_cluster::PropertyChanged(const std::string& path,
                                         const std::string& name,
                                         const FaultEntryPropertyVariant& value)
{
    journal().called("faultentry_cluster.PropertyChanged",
                     path + " " + name + "=" + text(value));
}

extern "C"
{
    int dlog_printf(int level, int module, const char* format, ...)
    {
        char* line = nullptr;
        va_list arguments;
        va_start(arguments, format);
        const int length = vasprintf(&line, format, arguments);
        va_end(arguments);
        if (length < 0)
        {
            return length;
        }
        std::string shown = line;
        free(line);
        // The bindings log one fixed module number.
        constexpr int bindings = 128;
        if (module != bindings)
        {
            hideLineNumber(shown);
        }
        return static_cast<int>(
            journal().called("log " + std::to_string(level) + " " +
                                 std::to_string(module) + " " + shown,
                             ""));
    }

    int MsgRegGetContentWNByMsgID(const char* msgId, const char* language,
                                  const char* argumentBlock, void* content)
    {
        auto* record = static_cast<char*>(content);
        const auto zero = [](char byte) {
            return byte == 0;
        };
        const bool zeroed =
            std::all_of(record, record + MSGREG_CONTENT_SIZE, zero);
        const long result = journal().called(
            "MsgRegGetContentWNByMsgID", std::string(msgId) + " " + language +
                                             (zeroed ? " zeroed" : " dirty"));
        const auto found = platform().messages.find(msgId);
        if (result != 0 || found == platform().messages.end())
        {
            return result != 0 ? static_cast<int>(result) : 1;
        }
        const char* end = argumentBlock;
        for (int i = 0; i < MSGREG_MAX_ARGUMENTS; ++i)
        {
            end += std::strlen(end) + 1;
        }
        platform().argumentBlock.assign(argumentBlock, end);

        const std::string message = filled(found->second.text, argumentBlock);
        std::memcpy(record + MSGREG_CONTENT_SEVERITY_OFFSET,
                    &found->second.severity, sizeof(uint32_t));
        std::memcpy(record + MSGREG_CONTENT_TEXT_OFFSET, message.data(),
                    std::min<std::size_t>(message.size(),
                                          MSGREG_CONTENT_SIZE -
                                              MSGREG_CONTENT_TEXT_OFFSET));
        return 0;
    }

    int CfgSetAttributeInt(const char* name, int32_t value, int flags,
                           const CfgMgrOrigin* origin)
    {
        const auto named = [](const char* string) {
            return string == nullptr ? "null" : string;
        };
        return static_cast<int>(journal().called(
            "CfgSetAttributeInt",
            std::string(name) + " " + std::to_string(value) + " " +
                std::to_string(flags) + " " + named(origin->source) + " " +
                named(origin->second) + " " + named(origin->third)));
    }

    void* LQOVS_receive_signal(const char* name, LQOVS_callback callback,
                               void* context)
    {
        static uintptr_t lastHandle = 0;
        if (journal().called("LQOVS_receive_signal", name, 1) == 0)
        {
            return nullptr;
        }
        void* handle = reinterpret_cast<void*>(++lastHandle);
        platform().subscriptions[handle] = {name, callback, context};
        return handle;
    }

    void LQOVS_receive_signal_free(void* handle)
    {
        auto& subscriptions = platform().subscriptions;
        const auto found = subscriptions.find(handle);
        journal().called("LQOVS_receive_signal_free",
                         found == subscriptions.end() ? "unknown"
                                                      : found->second.name);
        if (found != subscriptions.end())
        {
            subscriptions.erase(found);
        }
    }

} // extern "C"
