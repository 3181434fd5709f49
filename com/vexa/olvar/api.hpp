#pragma once

/** @file Marks what the library shows to its users; everything else in it is
 *  hidden. */

/** Stands before a class or function that users may link to. */
#define HEALTHINTF_API __attribute__((visibility("default")))
