#include "log_reader.hpp"

#include "log_service.hpp"

#include <lmi_sel_fault.hpp>

#include <algorithm>
#include <map>
#include <string>
#include <utility>

namespace healthintf::healthctl
{
namespace
{

constexpr uint16_t firstId = 1;
constexpr uint16_t lastId = 65534;

/** The entries in the data cache; none when it is not to be had. */
std::vector<SELEntry_gen> mirroredLog()
{
    std::map<std::string, SELEntry_gen> found;
    logmgr_interface::SELAndFault queries;
    if (queries.GetSELDatacacheEntries(found) != health_namespace::statusOk)
    {
        return {};
    }
    std::vector<SELEntry_gen> entries;
    entries.reserve(found.size());
    for (auto& [path, entry] : found)
    {
        entries.push_back(std::move(entry));
    }
    return inLogOrder(std::move(entries));
}

} // namespace

std::vector<SELEntry_gen> inLogOrder(std::vector<SELEntry_gen> entries)
{
    if (entries.empty() || entries.front().recordId() != firstId ||
        entries.back().recordId() != lastId)
    {
        return entries;
    }
    // The oldest entry is the one behind the identifiers that are not in use.
    auto oldest = entries.begin();
    int widest = 1;
    for (auto entry = entries.begin() + 1; entry != entries.end(); ++entry)
    {
        const int gap = entry->recordId() - (entry - 1)->recordId();
        if (gap > widest)
        {
            widest = gap;
            oldest = entry;
        }
    }
    std::rotate(entries.begin(), oldest, entries.end());
    return entries;
}

std::vector<SELEntry_gen> readLog()
{
    auto entries = mirroredLog();
    return entries.empty() ? LogService().entries() : entries;
}

} // namespace healthintf::healthctl
