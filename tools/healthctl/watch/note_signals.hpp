// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Listens to what healthmgr says of silences and acknowledgements. */

#include "../../../services/common/event_loop.hpp"
#include "healthmgr/members.hpp"
#include "watched_tree.hpp"

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <functional>
#include <vector>

namespace healthintf::healthctl
{

/** Listens to the signals of silences and acknowledgements that begin or
 *  end. */
class NoteSignals
{
  public:
    using Handler =
        std::function<void(Change::Kind kind, const host::Members& told)>;

    /** Listens from now on: no later signal is missed.
     *
     *  @param[in] bus must outlive this object
     *  @param[in] loop gets the exceptions of the handler; must outlive this
     *             object
     *  @throws std::system_error when the bus refuses */
    NoteSignals(sd_bus* bus, services::EventLoop& loop, Handler handler);
    NoteSignals(const NoteSignals&) = delete;
    NoteSignals& operator=(const NoteSignals&) = delete;

  private:
    template <Change::Kind kind>
    void match(sd_bus* bus, const char* interface, const char* signal);

    services::EventLoop& loop;
    Handler handler;
    std::vector<SlotPtr> slots;
};

} // namespace healthintf::healthctl
