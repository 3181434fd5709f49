// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Results that the data cache's calls share. */

namespace DataAbstraction
{

/** The result of a read of the data cache; every other number is an error of
 *  the platform. */
enum ReadResult : long
{
    readOk = 0,
    /** No record of the kind exists yet. */
    readNoRecords = 256,
};

} // namespace DataAbstraction
