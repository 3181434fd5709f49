#include "record_owners.hpp"

#include "record_table.hpp"

#include <platform/data_abstraction/results.hpp>

namespace healthintf::host
{
namespace
{

int listOwnersOf(RecordKind kind, RecordOwners& owners)
{
    owners.clear();
    const long result =
        readRecordsInto(owners, RecordQuery::below(kind, {}),
                        [](const ReadRecord&, const ProcessIdentity& owner) {
                            return owner;
                        });
    return result == DataAbstraction::readNoRecords ? 0
                                                    : static_cast<int>(result);
}

} // namespace

int listNodeOwners(RecordOwners& owners)
{
    return listOwnersOf(RecordKind::healthStatus, owners);
}

int listEntryOwners(RecordOwners& owners)
{
    return listOwnersOf(RecordKind::faultEntry, owners);
}

} // namespace healthintf::host
