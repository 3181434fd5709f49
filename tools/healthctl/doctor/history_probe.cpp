// SPDX-License-Identifier: Apache-2.0
#include "history_probe.hpp"

#include "../error.hpp"
#include "../history/history_client.hpp"

namespace healthintf::healthctl
{

HistoryState askHistory()
{
    HistoryState state;
    try
    {
        state.records = HistoryClient().countRecords();
        state.offered = true;
    }
    catch (const Error& e)
    {
        // Without a history nobody has its bus name.
        state.offered = e.code() != ExitCode::unavailable;
        state.failure = e.what();
    }
    return state;
}

} // namespace healthintf::healthctl
