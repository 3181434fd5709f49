#pragma once

/** @file Whether the bus lets signals through. */

#include <systemd/sd-bus.h>

#include <memory>

namespace healthintf::healthctl
{

/** Watches the operator's bus while signals are sent. A sender hears nothing of
 *  a signal that the bus's policy stops but an error that nobody waits for;
 *  this does. */
class Refusals
{
  public:
    /** @throws Error when there is no bus */
    Refusals();
    ~Refusals();
    Refusals(const Refusals&) = delete;
    Refusals& operator=(const Refusals&) = delete;

    /** Waits until the bus has passed on what was sent since this was made.
     *
     *  @throws Error when it refused any of it, or does not answer */
    void throwIfAny();

  private:
    struct Unref
    {
        void operator()(sd_bus* bus) const
        {
            sd_bus_unref(bus);
        }
        void operator()(sd_bus_slot* slot) const
        {
            sd_bus_slot_unref(slot);
        }
    };

    static int take(sd_bus_message* message, void* context,
                    sd_bus_error* error);

    std::unique_ptr<sd_bus, Unref> bus;
    std::unique_ptr<sd_bus_slot, Unref> filter;
    bool refused = false;
};

} // namespace healthintf::healthctl
