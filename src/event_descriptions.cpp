// SPDX-License-Identifier: Apache-2.0
// Log readers know these lines by the file of the class that reports events.
#define HMI_LOG_FILE "lmi_sel_fault"

#include "event_descriptions.hpp"

#include "log_line.hpp"

#include <hmi_status.hpp>
#include <platform/sel_interface.hpp>

#include <algorithm>
#include <array>
#include <cstddef>

namespace health_namespace::details
{
namespace
{

/** The record with exactly recordSize bytes, zeros added: the event-description
 *  library always reads that many. */
std::array<uint8_t, SELInterface::recordSize>
wholeRecord(const std::vector<unsigned char>& record)
{
    std::array<uint8_t, SELInterface::recordSize> whole{};
    std::copy_n(record.begin(), std::min(record.size(), whole.size()),
                whole.begin());
    return whole;
}

} // namespace

CSSDInfoFetcher::CSSDInfoFetcher()
{
    HMI_LOG(log::progress, "%s.%d.%s: Constructor called");
    const int status = IPMI_SELCSSDSELAttach();
    initialised = status == 0;
    if (!initialised)
    {
        HMI_LOG(log::error, "%s.%d.%s: Error in CSSD Attach %d", status);
    }
}

CSSDInfoFetcher::~CSSDInfoFetcher()
{
    IPMI_SELCSSDSELDetach();
    HMI_LOG(log::progress, "%s.%d.%s: Destructor called");
}

bool CSSDInfoFetcher::isAttached(const char* function) const
{
    if (!initialised)
    {
        HMI_LOG_AS(function, log::error,
                   "%s.%d.%s: Transform cannot be done, init failed");
    }
    return initialised;
}

int CSSDInfoFetcher::FetchJNLEntryFromSELEvent(
    const std::vector<unsigned char>& record, JnlEntry& entry) const
{
    entry = {};
    if (!isAttached(__func__))
    {
        return statusNotAttached;
    }
    HMI_LOG(log::progress,
            "%s.%d.%s: before calling the CSSD Function vector Size:%zd",
            record.size());
    return TransformSELEventToJNLEntry(wholeRecord(record).data(),
                                       entry.bytes.data());
}

int CSSDInfoFetcher::FetchLCDEntryFromSELEvent(
    const std::vector<unsigned char>& record, LcdEntry& entry) const
{
    entry = {};
    if (!isAttached(__func__))
    {
        return statusNotAttached;
    }
    HMI_LOG(log::progress, "%s.%d.%s: Before fetching CSSD LCD Information");
    return TransformSELEventToLCD(wholeRecord(record).data(),
                                  entry.bytes.data());
}

} // namespace health_namespace::details
