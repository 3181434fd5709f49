// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The status codes of the library. */

namespace health_namespace
{

/** What the library's functions return. */
enum Status : int
{
    statusOk = 0,
    statusInvalidArgument = 1,
    /** The event-description library could not be attached to. */
    statusNotAttached = 2,
    /** The fault entry could not be created, or logmgr did not store the
     *  record. */
    statusNotCreated = 4,
    /** The message registry or the data cache could not be read, or a record
     *  has the wrong size. */
    statusNotRead = 5,
    /** logmgr could not be called over D-Bus, or refused. */
    statusBusFailure = 10,
    /** An exception while a record was stored. */
    statusStoreException = 11,
};

} // namespace health_namespace
