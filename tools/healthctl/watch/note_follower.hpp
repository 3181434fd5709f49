// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Keeps the silences and acknowledgements as healthmgr has them. */

#include "../model/acknowledgement.hpp"
#include "../model/silence.hpp"
#include "note_signals.hpp"
#include "paced_action.hpp"

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <functional>

namespace healthintf::healthctl
{

/** Asks healthmgr at the beginning, after its signals, and when it comes. Until
 *  an answer comes, what was known before stays. Without a healthmgr there are
 * neither silences nor acknowledgements. */
class NoteFollower
{
  public:
    /** @param[in] bus must outlive this object
     *  @param[in] loop runs the questions; must outlive this object
     *  @param[in] onAnswer called after each answer
     *  @throws std::system_error when the bus refuses */
    NoteFollower(sd_bus* bus, services::EventLoop& loop,
                 std::function<void()> onAnswer);
    NoteFollower(const NoteFollower&) = delete;
    NoteFollower& operator=(const NoteFollower&) = delete;

    /** Waits for the answers, but only briefly. */
    void await();

    /** Takes changes of the tree: an acknowledgement ends with its fault,
     *  which healthmgr notices when it is asked. */
    void take(const Changes& changes);

    /** Notes in faults who acknowledged them, and what hides them. */
    void note(Faults& faults) const;

    const Silences& silences() const
    {
        return knownSilences;
    }

  private:
    void followOwner();
    void ask();
    SlotPtr ask(const char* interface, const char* method,
                sd_bus_message_handler_t take);
    static int takeSilences(sd_bus_message* answer, void* follower,
                            sd_bus_error* error) noexcept;
    static int takeAcknowledgements(sd_bus_message* answer, void* follower,
                                    sd_bus_error* error) noexcept;

    sd_bus* bus;
    services::EventLoop& loop;
    std::function<void()> onAnswer;
    Silences knownSilences;
    Acknowledgements acknowledgements;
    PacedAction asking;
    NoteSignals signals;
    SlotPtr owner;
    /** The questions that are not answered yet; else nothing. */
    SlotPtr silenceQuestion;
    SlotPtr acknowledgementQuestion;
};

} // namespace healthintf::healthctl
