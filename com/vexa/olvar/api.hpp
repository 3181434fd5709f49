// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Marks the symbols that the library exports; all others are hidden. */

/** Stands before a class or function that users may link to. */
#define HEALTHINTF_API __attribute__((visibility("default")))

/** Stands before a member of such a class that is not in the library's binary
 *  interface: a private one, or one whose body is in the header. */
#define HEALTHINTF_LOCAL __attribute__((visibility("hidden")))
