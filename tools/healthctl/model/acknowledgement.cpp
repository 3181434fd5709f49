// SPDX-License-Identifier: Apache-2.0
#include "acknowledgement.hpp"

namespace healthintf::healthctl
{

void noteAcknowledgements(Faults& faults, const Acknowledgements& all)
{
    for (Fault& fault : faults)
    {
        if (const auto found = all.find(fault.path); found != all.end())
        {
            fault.acknowledgement = found->second;
        }
    }
}

} // namespace healthintf::healthctl
