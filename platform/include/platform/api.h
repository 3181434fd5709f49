#pragma once

/** @file Marks what the platform provides: the library is built with hidden
 *  symbols, and these are the ones that must be seen across its border. */

/** Stands before a class or function of the contract. */
#define PLATFORM_API __attribute__((visibility("default")))

/** Stands before a function that a platform need not have. Where it is not, its
 *  address is null. */
#define PLATFORM_OPTIONAL __attribute__((weak))
