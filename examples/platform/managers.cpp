// SPDX-License-Identifier: Apache-2.0
/** @file The ways to the health manager and to the log manager: there are
 *  neither. */

#include <platform/data_abstraction/healthmgr.hpp>
#include <platform/data_abstraction/sel.hpp>

#include <cerrno>

namespace DataAbstraction
{

// The key is handed over by value, for those that keep it.
int Healthmgr::AddHealthObject(
    const std::string& /*service*/, const std::string& /*path*/,
    std::string /*key*/) // NOLINT(performance-unnecessary-value-param)
{
    return ENOSYS;
}

uint32_t SEL::AddSEL(const std::string& /*service*/,
                     const std::string& /*path*/, const Sensor& /*sensor*/,
                     const std::vector<uint8_t>& /*record*/,
                     const std::optional<uint32_t>& /*timestamp*/)
{
    // What is larger than any identifier is an error.
    return SEL::largestRecordId + ENOSYS;
}

} // namespace DataAbstraction
