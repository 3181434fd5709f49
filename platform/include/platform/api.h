// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Attributes of the classes and functions that the platform provides.
 *  The library hides all symbols that do not carry them. */

/** Exports a class or function of the contract. */
#define PLATFORM_API __attribute__((visibility("default")))

/** Marks a function that a platform may lack; its address is null then. */
#define PLATFORM_OPTIONAL __attribute__((weak))
