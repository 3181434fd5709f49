// SPDX-License-Identifier: Apache-2.0
#ifndef HEALTHINTF_HEALTHMGRINTF_H
#define HEALTHINTF_HEALTHMGRINTF_H

/** @file Reports the faults of a component by plain functions, for daemons in
 *  C, and for those that do not use health_namespace::FaultAndHealth.
 *
 *  Every string is NUL-terminated and in UTF-8; the library does not keep the
 *  pointers that it is given. A null string is an error of the caller, unless a
 *  function says otherwise.
 *
 *  All calls on one object come from the thread that created it, and it is
 *  destroyed before that thread ends. Different threads may use different
 *  objects at the same time.
 *
 *  In C++ no exception leaves these functions, except
 *  c_wrapper_hide_faults(). */

#include <com/vexa/olvar/api.hpp>

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
#include <sdbusplus/bus.hpp>

/** Says in C++ that no exception leaves a function. */
#define HEALTHINTF_NOEXCEPT noexcept
namespace health_namespace
{
class FaultAndHealth;
}
/** A component; see health_namespace::FaultAndHealth. */
typedef health_namespace::FaultAndHealth FaultAndHealthObject;
#else
#define HEALTHINTF_NOEXCEPT

/** A component: what the library holds of its faults and its health. Used by
 *  pointer alone; in C++ it is health_namespace::FaultAndHealth. */
typedef struct FaultAndHealthObject FaultAndHealthObject;
#endif

struct sd_bus;

#ifdef __cplusplus
extern "C"
{
#endif

    /** Creates the object of a component, with the health healthOk (2) as long
     *  as it has no fault. Writes the returned pointer to standard output at
     *  once, as C++'s std::cout writes a pointer, without a newline; nothing
     *  happens when nobody reads it.
     *
     *  All objects of a thread use the connection of its first call; the
     *  connection of a later call is ignored. The library takes a reference to
     *  the connection and drops it when the thread ends. The caller must keep
     *  processing its messages on this thread.
     *
     *  @param[in] bus the connection
     *  @param[in] key the component key, a D-Bus object path below
     *             /com/vexa/olvar/health; not null
     *  @return the object, which the caller frees by
     *          FaultAndHealth_Destuctor(); null on any failure, which is
     *          logged */
    HEALTHINTF_API FaultAndHealthObject*
    FaultAndHealth_Initialization(struct sd_bus* bus,
                                  const char* key) HEALTHINTF_NOEXCEPT;

    /** Reports a fault by a message of the registry. The same message for the
     *  same sensor may be reported more than once; each is a fault of its own.
     *
     *  @param[in] obj the component
     *  @param[in] msgId the message's identifier
     *  @param[in] sensorPath the sensor that saw the fault
     *  @param[in] args the message's arguments, in order; a null one among them
     *             is taken as the empty string. May be null when there are
     *             none. In C a char** needs a cast: a type that takes both it
     *             and const char** would take any pointer
     *  @param[in] noofArgs how many arguments there are, 0 or more
     *  @param[in] fqdd identifier of the component
     *  @param[in] subSystem not used, but not null
     *  @param[in] sensorNumber IPMI sensor number
     *  @param[in] sensorType IPMI sensor type
     *  @return - 0: done, also for a message that only informs and makes no
     *            fault
     *          - 1: a pointer that must not be null is null, or noofArgs is
     *            negative; logged
     *          - 4: the fault could not be created or announced, D-Bus
     *            cannot carry a text, or memory has run out
     *          - 5: the registry has no such message */
    HEALTHINTF_API int
    FaultAndHealth_AddFault(FaultAndHealthObject* obj, const char* msgId,
                            const char* sensorPath, const char* const* args,
                            int32_t noofArgs, const char* fqdd,
                            const char* subSystem, uint32_t sensorNumber,
                            uint32_t sensorType) HEALTHINTF_NOEXCEPT;

    /** Takes back every fault of a message and sensor.
     *
     *  @param[in] obj the component; not null
     *  @param[in] msgId the message's identifier; not null
     *  @param[in] sensorPath the sensor; not null
     *  @return - 0: done, whether or not there was one
     *          - 1: a string is empty; logged
     *          - 4: memory has run out, and no fault was taken back; logged */
    HEALTHINTF_API int
    FaultAndHealth_RemoveFault(FaultAndHealthObject* obj, const char* msgId,
                               const char* sensorPath) HEALTHINTF_NOEXCEPT;

    /** Takes back every fault of a component and its health node, and frees the
     *  object. The misspelling is part of the interface.
     *
     *  @param[in] obj the component; nothing happens when it is null */
    HEALTHINTF_API void
    FaultAndHealth_Destuctor(FaultAndHealthObject* obj) HEALTHINTF_NOEXCEPT;

    /** Counts the faults of all components in all processes. Needs no object,
     *  and may be called from any thread.
     *
     *  @param[out] first how many are visible; 0 after an error
     *  @param[out] second how many are hidden; 0 after an error
     *  @return - 0: done
     *          - 1: a pointer is null, and nothing is written to the other;
     *            logged
     *          - 5: the data cache could not be read; logged */
    HEALTHINTF_API int FaultAndHealth_GetVisibleHiddenMsgCount(
        int32_t* first, int32_t* second) HEALTHINTF_NOEXCEPT;

    /** Asks every component in every process to hide faults, or to show them
     *  again. The component with the given key is disabled or enabled. Every
     *  other component compares the sensor path or, if that is empty, the
     *  sensor number. A component of this process obeys when its messages are
     *  processed.
     *
     *  Sends on this thread's default bus, which is the one of
     *  sd_bus_default(); may be called from any thread.
     *
     *  This is the one function that an exception may leave:
     *  sdbusplus::exception::SdBusError when the signal cannot be sent, also
     *  when there is no bus. In a program in C that ends the process.
     *
     *  @param[in] hide whether to hide
     *  @param[in] a a component key, or empty or null for none
     *  @param[in] b a sensor path, or empty or null for none
     *  @param[in] n IPMI sensor number, or 0 for none
     *  @return - 0: sent
     *          - 1: all three are empty, or D-Bus cannot carry a text;
     *            logged */
    HEALTHINTF_API int c_wrapper_hide_faults(bool hide, const char* a,
                                             const char* b, int32_t n);

#ifdef __cplusplus
}

/** The connection of all objects that this thread creates by
 *  FaultAndHealth_Initialization(). The first call sets it; empty until
 *  then. */
extern thread_local HEALTHINTF_API sdbusplus::bus_t gbus;
#endif

#undef HEALTHINTF_NOEXCEPT

#endif
