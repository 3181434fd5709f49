// SPDX-License-Identifier: Apache-2.0
/** @file Overrides the functions of the platform contract: each fails in its
 *  turn, and otherwise calls the host platform. */

#include "failer.hpp"
#include "next_definition.hpp"

#include <platform/config_manager.h>
#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>
#include <platform/data_abstraction/healthmgr.hpp>
#include <platform/data_abstraction/sel.hpp>
#include <platform/event_description.h>
#include <platform/message_registry.h>
#include <platform/notification.h>

#include <cerrno>

using healthintf::test::failer;
using healthintf::test::nextDefinition;
using healthintf::test::Refusal;
using healthintf::test::Seam;

namespace
{

/** Calls the host platform, or returns @p failure in the call's turn.
 *
 *  @param[in] own the override that calls this */
template <typename Result, typename... Parameters, typename... Arguments>
Result passOn(const char* name, Result failure, Result (*own)(Parameters...),
              Arguments&&... arguments)
{
    static_assert(sizeof...(Parameters) == sizeof...(Arguments));
    if (failer().fails(Seam::platform, name))
    {
        return failure;
    }
    return nextDefinition(own)(std::forward<Arguments>(arguments)...);
}

/** Notes a refusal of the data cache. Finding no record is not a refusal. */
int noted(Refusal what, int result)
{
    if (result != 0 && result != ENOENT)
    {
        failer().noteRefusal(what);
    }
    return result;
}

} // namespace

int datacache_faultentry_create(const std::string& path,
                                const FaultEntryPropertyMap& properties)
{
    return noted(Refusal::newFault,
                 passOn("datacache_faultentry_create", EIO,
                        datacache_faultentry_create, path, properties));
}

int datacache_faultentry_set_property(const std::string& path,
                                      const std::string& name,
                                      const FaultEntryPropertyVariant& value)
{
    return passOn("datacache_faultentry_set_property", EIO,
                  datacache_faultentry_set_property, path, name, value);
}

int datacache_faultentry_remove(const std::string& path)
{
    return passOn("datacache_faultentry_remove", EIO,
                  datacache_faultentry_remove, path);
}

int datacache_healthstatus_create(const std::string& path,
                                  const HealthStatusPropertyMap& properties)
{
    return noted(Refusal::newNode,
                 passOn("datacache_healthstatus_create", EIO,
                        datacache_healthstatus_create, path, properties));
}

int datacache_healthstatus_set_property(
    const std::string& path, const std::string& name,
    const HealthStatusPropertyVariant& value)
{
    return noted(Refusal::health,
                 passOn("datacache_healthstatus_set_property", EIO,
                        datacache_healthstatus_set_property, path, name,
                        value));
}

int datacache_healthstatus_remove(const std::string& path)
{
    return noted(Refusal::removalOfNode,
                 passOn("datacache_healthstatus_remove", EIO,
                        datacache_healthstatus_remove, path));
}

long DataAbstraction::FaultEntry::get_map_by_path_prefixes(
    const std::vector<std::string>& services,
    const std::vector<std::string>& prefixes,
    std::map<std::string, FaultEntry_gen>& records)
{
    return passOn("FaultEntry::get_map_by_path_prefixes", long{EIO},
                  DataAbstraction::FaultEntry::get_map_by_path_prefixes,
                  services, prefixes, records);
}

long DataAbstraction::HealthStatus::get_map_by_path_prefixes(
    const std::vector<std::string>& services,
    const std::vector<std::string>& prefixes,
    std::map<std::string, HealthStatus_gen>& records)
{
    return passOn("HealthStatus::get_map_by_path_prefixes", long{EIO},
                  DataAbstraction::HealthStatus::get_map_by_path_prefixes,
                  services, prefixes, records);
}

long DataAbstraction::SELEntry::get_map_by_path_prefixes(
    const std::vector<std::string>& services,
    const std::vector<std::string>& prefixes,
    std::map<std::string, SELEntry_gen>& entries)
{
    return passOn("SELEntry::get_map_by_path_prefixes", long{EIO},
                  DataAbstraction::SELEntry::get_map_by_path_prefixes, services,
                  prefixes, entries);
}

int DataAbstraction::Healthmgr::AddHealthObject(const std::string& service,
                                                const std::string& path,
                                                std::string key)
{
    return passOn("AddHealthObject", EIO,
                  DataAbstraction::Healthmgr::AddHealthObject, service, path,
                  std::move(key));
}

uint32_t DataAbstraction::SEL::AddSEL(const std::string& service,
                                      const std::string& path,
                                      const Sensor& sensor,
                                      const std::vector<uint8_t>& record,
                                      const std::optional<uint32_t>& timestamp)
{
    return passOn("AddSEL", largestRecordId + EIO, DataAbstraction::SEL::AddSEL,
                  service, path, sensor, record, timestamp);
}

extern "C" int MsgRegGetContentWNByMsgID(const char* msgId,
                                         const char* language,
                                         const char* argumentBlock,
                                         void* content)
{
    return passOn("MsgRegGetContentWNByMsgID", EIO, MsgRegGetContentWNByMsgID,
                  msgId, language, argumentBlock, content);
}

extern "C" void* LQOVS_receive_signal(const char* name, LQOVS_callback callback,
                                      void* context)
{
    return passOn<void*>("LQOVS_receive_signal", nullptr, LQOVS_receive_signal,
                         name, callback, context);
}

extern "C" int IPMI_SELCSSDSELAttach(void)
{
    return passOn("IPMI_SELCSSDSELAttach", EIO, IPMI_SELCSSDSELAttach);
}

extern "C" int IPMI_SELCSSDSELDetach(void)
{
    return passOn("IPMI_SELCSSDSELDetach", EIO, IPMI_SELCSSDSELDetach);
}

extern "C" int TransformSELEventToJNLEntry(const uint8_t* record,
                                           void* jnlEntry)
{
    return passOn("TransformSELEventToJNLEntry", EIO,
                  TransformSELEventToJNLEntry, record, jnlEntry);
}

extern "C" int TransformSELEventToLCD(const uint8_t* record, void* lcdEntry)
{
    return passOn("TransformSELEventToLCD", EIO, TransformSELEventToLCD, record,
                  lcdEntry);
}

extern "C" int CfgSetAttributeInt(const char* name, int32_t value, int flags,
                                  const CfgMgrOrigin* origin)
{
    return passOn("CfgSetAttributeInt", EIO, CfgSetAttributeInt, name, value,
                  flags, origin);
}
