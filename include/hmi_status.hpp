#pragma once

/** @file What the library's functions answer. */

namespace health_namespace
{

/** Status codes of the library's functions. */
enum Status : int
{
    statusOk = 0,
    statusInvalidArgument = 1,
    /** The fault entry could not be created. */
    statusNotCreated = 4,
    /** The message registry or the data cache could not be read. */
    statusNotRead = 5,
};

} // namespace health_namespace
