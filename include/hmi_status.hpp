#pragma once

/** @file What the library's functions answer. */

namespace health_namespace
{

/** Status codes of the library's functions. */
enum Status : int
{
    statusOk = 0,
    statusInvalidArgument = 1,
    /** The event-description library could not be attached to. */
    statusNotAttached = 2,
    /** The fault entry could not be created, or the log manager did not store
     *  the record. */
    statusNotCreated = 4,
    /** The message registry or the data cache could not be read, or a record
     *  has not the right size. */
    statusNotRead = 5,
    /** The log manager could not be called over D-Bus, or refused. */
    statusBusFailure = 10,
    /** An exception while a record was stored. */
    statusStoreException = 11,
};

} // namespace health_namespace
